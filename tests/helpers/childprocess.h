#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// What became of a program that a test started.
struct childresult
{
    int exitCode = -1;     ///< as the platform gives it; 128 + number for one that a signal ended
    bool timedOut = false; ///< it was killed at the end of its time
    std::string output;    ///< its standard output, bytes as they came
    std::string error;     ///< its standard error

    /// From the last byte that it wrote until it was gone.
    std::chrono::milliseconds endTook{0};
};

namespace childprocess {

constexpr std::chrono::seconds defaultLimit{60};

/// Runs a program to its end and collects what it writes. Nothing of it is left behind: it is
/// killed when its time is up.
///
/// \param environment  added to this process's own, or replacing what is there.
/// \return exitCode -1 when it could not be started.
childresult run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                const std::map<std::string, std::string>& environment = {},
                std::chrono::milliseconds limit = defaultLimit);

/// The path of a program that lies in the folder of the running one.
/// \param name  without the platform's ending.
std::filesystem::path beside(const std::string& name);

/// Whether threads go on while the destructors of static objects run. On Windows the system stops
/// all but one before.
bool threadsRunDuringExit();

/// How many threads this process has.
int threadCount();

} // namespace childprocess
