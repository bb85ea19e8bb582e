#pragma once

#include <codecvt>
#include <locale>
#include <type_traits>

/// Converts wide characters to UTF-8, surrogate pairs included where wide characters have 16 bits.
using utf8facet = std::conditional_t<sizeof(wchar_t) == 2, std::codecvt_utf8_utf16<wchar_t>,
                                     std::codecvt_utf8<wchar_t>>;

/// The classic locale with that facet.
inline std::locale utf8locale()
{
    return std::locale(std::locale::classic(), new utf8facet);
}

/// The classic locale with a facet that converts to UTF-8 what takes one or two bytes there, and
/// nothing else.
inline std::locale limitedlocale()
{
    constexpr unsigned long lastOfTwoBytes = 0x7FF;
    return std::locale(std::locale::classic(), new std::codecvt_utf8<wchar_t, lastOfTwoBytes>);
}
