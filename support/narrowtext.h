#pragma once

#include <tolvane/string.h>

#include <cstddef>

/// Narrow text of the application: in the current locale (LC_CTYPE) of the process, or UTF-8 once
/// the application has said so.
namespace tolvane::narrowtext {

/// From now on narrow text is UTF-8, for all threads.
void setUtf8(bool isUtf8) noexcept;

bool isUtf8() noexcept;

/// The wide text of the first characters, up to a NUL. Each byte with which no character begins is
/// a "?", and so is what is left of a character at the end; in UTF-8 see appendWide().
string widened(const char* text, std::size_t length);

} // namespace tolvane::narrowtext
