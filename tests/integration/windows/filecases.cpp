#include "tests/integration/filechild.h"

#include <tolvane/tolvane.h>

#include "support/windows/platform.h"
#include "tests/helpers/childprocess.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace filechild {

namespace {

constexpr std::chrono::seconds longestHold{30};

bool waitFor(const std::string& path)
{
    const auto end = std::chrono::steady_clock::now() + longestHold;
    while (!std::filesystem::exists(path) && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return std::filesystem::exists(path);
}

/// Holds the folder's trace file open until it is told to release it.
int hold(const std::string& folder, DWORD shared)
{
    const HANDLE file = CreateFileA((folder + "/trace.log").c_str(), GENERIC_READ, shared, nullptr,
                                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    std::ofstream(folder + "/held").close();
    const bool isReleased = waitFor(folder + "/release");
    CloseHandle(file);
    return file != INVALID_HANDLE_VALUE && isReleased ? 0 : 1;
}

int holdAlone(const std::string& folder)
{
    return hold(folder, 0);
}

int holdAgainstDeletion(const std::string& folder)
{
    return hold(folder, FILE_SHARE_READ | FILE_SHARE_WRITE);
}

/// Another process that holds the trace file.
class holder
{
public:
    holder(const char* how, const std::string& folder)
        : m_folder(folder), m_running([how, folder] {
              childprocess::run(childprocess::beside("tolvane_file_child"), {how, folder});
          })
    {
        say("held", waitFor(folder + "/held") ? 1 : 0);
    }

    ~holder()
    {
        std::ofstream(m_folder + "/release").close();
        m_running.join();
    }

    holder(const holder&) = delete;
    holder& operator=(const holder&) = delete;

private:
    std::string m_folder;
    std::thread m_running;
};

/// Another process has the file for itself, and then gives it back.
int lockedFile(const std::string& folder)
{
    const std::string path = folder + "/trace.log";
    trace::output(filetracestream(path.c_str())).setLevel(tl_info);
    {
        const holder other("holdAlone", folder);
        traceLines(0, 10);
        sayLost("lost");
    }
    traceLines(10, 10);
    sayLost("lost in all");
    sayLines("in the file", path);
    return 0;
}

/// Another process has the file open and does not let it be deleted or renamed when it is to
/// rotate.
int heldAtRotation(const std::string& folder)
{
    const std::string path = folder + "/trace.log";
    trace::output(rotatingfilestracestream(path.c_str(), 3, 0, 0)).setLevel(tl_info);
    {
        const holder other("holdAgainstDeletion", folder);
        traceLines(0, 2);
        sayLost("not written");
        sayLines("in the file", path);
        say("older files", std::filesystem::exists(path + ".0") ? 1 : 0);
    }
    traceLines(2, 2);
    sayLines("in the newest old file", path + ".0");
    sayLines("in the one before", path + ".1");
    return 0;
}

} // namespace

const std::map<std::string, case_t>& platformCases()
{
    static const std::map<std::string, case_t> cases = {
        {"holdAlone", holdAlone},
        {"holdAgainstDeletion", holdAgainstDeletion},
        {"lockedFile", lockedFile},
        {"heldAtRotation", heldAtRotation},
    };
    return cases;
}

} // namespace filechild
