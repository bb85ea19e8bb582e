#pragma once

#include <clocale>
#include <cstdlib>
#include <stdexcept>
#include <string>

/// Puts a locale in use in which a character takes several bytes: UTF-8, or Japanese in two bytes,
/// whichever the platform has. Use it behind a localeguard, which puts the old one back.
class multibytelocale
{
public:
    multibytelocale()
    {
        for (const char* const name : {"C.UTF-8", "Japanese_Japan.932", ".932", ".UTF-8"}) {
            char converted[16] = {};
            if (std::setlocale(LC_CTYPE, name) &&
                std::wcstombs(converted, character, sizeof converted) + 1 > 2) {
                bytes = converted;
                return;
            }
        }
        throw std::runtime_error("the platform has no multibyte locale");
    }

    /// Hiragana A.
    static constexpr const wchar_t* character = L"\u3042";

    /// The character in the locale's encoding.
    std::string bytes;
};
