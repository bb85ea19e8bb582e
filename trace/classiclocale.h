#pragma once

#include <locale>

/// The locale that programs begin with. To ask the standard for it takes a call each time.
inline const std::locale& classicLocale()
{
    static const std::locale& known = std::locale::classic();
    return known;
}
