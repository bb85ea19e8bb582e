#pragma once

#include <tolvane/lineend.h>

#include <string_view>

namespace tolvane {

inline std::string_view bytesOf(lineend end) noexcept
{
    return end == lineend::crlf ? "\r\n" : "\n";
}

} // namespace tolvane
