#include <tolvane/string.h>

#include "support/hexdigits.h"

namespace tolvane {

namespace {

constexpr wchar_t backslash = L'\\';
constexpr string::size_type controlLength = 4; ///< of "\x1b"

/// Of the first and the second set of control characters, and the one between them.
bool isControl(wchar_t character) noexcept
{
    const auto code = static_cast<unsigned long>(character);
    return code < 0x20 || (code >= 0x7f && code <= 0x9f);
}

string::size_type escapedLength(wchar_t character) noexcept
{
    return isControl(character) ? controlLength : character == backslash ? 2 : 1;
}

wchar_t* writeControl(wchar_t* to, wchar_t character) noexcept
{
    const auto code = static_cast<unsigned int>(character);
    *to++ = backslash;
    *to++ = L'x';
    *to++ = static_cast<wchar_t>(hexDigit(code >> 4));
    *to++ = static_cast<wchar_t>(hexDigit(code));
    return to;
}

} // namespace

string escaped(const string& text)
{
    const wchar_t* const end = text.c_str() + text.length();
    string::size_type length = 0;
    for (const wchar_t* from = text.c_str(); from != end; ++from) {
        length += escapedLength(*from);
    }
    string safe;
    wchar_t* to = safe.overwrite(length);
    for (const wchar_t* from = text.c_str(); from != end; ++from) {
        if (isControl(*from)) {
            to = writeControl(to, *from);
            continue;
        }
        if (*from == backslash) {
            *to++ = backslash;
        }
        *to++ = *from;
    }
    return safe;
}

} // namespace tolvane
