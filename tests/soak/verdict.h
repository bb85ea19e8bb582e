#pragma once

#include <mutex>
#include <string>

/// What any thread has found to be wrong.
class verdict
{
public:
    static void check(bool isRight, const std::string& what)
    {
        if (!isRight) {
            const std::lock_guard<std::mutex> lock(mutex());
            if (complaints()++ == 0) {
                first() = what;
            }
        }
    }

    static bool isRight()
    {
        const std::lock_guard<std::mutex> lock(mutex());
        return complaints() == 0;
    }

    /// "ok", or the first thing that was wrong.
    static std::string text()
    {
        const std::lock_guard<std::mutex> lock(mutex());
        if (complaints() == 0) {
            return "ok";
        }
        return "WRONG: " + first() +
               (complaints() == 1 ? "" : " (and " + std::to_string(complaints() - 1) + " more)");
    }

private:
    static std::mutex& mutex()
    {
        static std::mutex the;
        return the;
    }

    static unsigned long long& complaints()
    {
        static unsigned long long the = 0;
        return the;
    }

    static std::string& first()
    {
        static std::string the;
        return the;
    }
};
