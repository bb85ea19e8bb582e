#pragma once

#include <time.h>

#include <cstdlib>
#include <string>

/// Puts the process into a time zone meanwhile.
class zoneguard
{
public:
    zoneguard() : m_isSet(std::getenv("TZ") != nullptr), m_before(m_isSet ? std::getenv("TZ") : "")
    {}

    ~zoneguard()
    {
        if (m_isSet) {
            enter(m_before.c_str());
        } else {
            unsetenv("TZ");
            tzset();
        }
    }

    zoneguard(const zoneguard&) = delete;
    zoneguard& operator=(const zoneguard&) = delete;

    static void enter(const char* zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }

private:
    bool m_isSet;
    std::string m_before;
};
