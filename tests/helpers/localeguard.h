#pragma once

#include <clocale>
#include <locale>
#include <string>

/// Puts back the global C++ locale and the C library's locale as they were.
class localeguard
{
public:
    localeguard() : m_cplusplus(), m_c(std::setlocale(LC_ALL, nullptr)) {}

    /// Makes a locale the global one meanwhile.
    explicit localeguard(const std::locale& locale) : localeguard() { std::locale::global(locale); }

    ~localeguard()
    {
        std::locale::global(m_cplusplus);
        std::setlocale(LC_ALL, m_c.c_str());
    }

    localeguard(const localeguard&) = delete;
    localeguard& operator=(const localeguard&) = delete;

private:
    std::locale m_cplusplus;
    std::string m_c;
};
