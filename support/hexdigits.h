#pragma once

namespace tolvane {

/// The digit of the lowest four bits.
inline char hexDigit(unsigned long long number) noexcept
{
    return "0123456789abcdef"[number & 0xF];
}

} // namespace tolvane
