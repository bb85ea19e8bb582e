#pragma once

#include <cstddef>

/// How much memory the C library has given for what malloc returned.
std::size_t allocatedSize(void* memory) noexcept;
