// A traced application that the tests about files start: one case per run, named by the first
// argument. The second argument is a folder.

#include "tests/integration/filechild.h"

#include <tolvane/tolvane.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <thread>

namespace filechild {

namespace {

constexpr unsigned int longestWait = 20000; // milliseconds

/// The folder of the file is removed, and made again.
int vanishingFolder(const std::string& folder)
{
    const std::filesystem::path inner = std::filesystem::path(folder) / "inner";
    const std::string path = (inner / "trace.log").string();
    std::filesystem::create_directory(inner);
    trace::output(filetracestream(path.c_str())).setLevel(tl_info);
    traceLines(0, 10);
    sayLines("before", path);
    std::filesystem::remove_all(inner);
    traceLines(10, 10);
    sayLost("lost");
    std::filesystem::create_directory(inner);
    traceLines(20, 10);
    sayLost("lost in all");
    sayLines("behind", path);
    return 0;
}

/// Somebody renames the file again and again.
int renamedFile(const std::string& folder)
{
    const std::filesystem::path path = std::filesystem::path(folder) / "trace.log";
    trace::output(filetracestream(path.string().c_str())).setLevel(tl_info);
    std::atomic<bool> ends{false};
    int renamed = 0;
    std::thread renaming([&] {
        while (!ends) {
            std::error_code failed;
            std::filesystem::rename(path, path.string() + "." + std::to_string(renamed), failed);
            renamed += failed ? 0 : 1;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 100; ++i) {
        traceLines(i * 20, 20);
    }
    ends = true;
    renaming.join();
    std::ofstream whole(folder + "/whole.log", std::ios::binary);
    for (int i = 0; i < renamed; ++i) {
        whole << read(path.string() + "." + std::to_string(i));
    }
    whole << read(path.string());
    whole.close();
    say("renamed more than once", renamed > 1 ? 1 : 0);
    sayLines("whole", folder + "/whole.log");
    sayLost("lost");
    return 0;
}

/// Somebody deletes the file again and again.
int deletedFile(const std::string& folder)
{
    const std::filesystem::path path = std::filesystem::path(folder) / "trace.log";
    trace::output(filetracestream(path.string().c_str())).setLevel(tl_info);
    std::atomic<bool> ends{false};
    std::thread deleting([&] {
        while (!ends) {
            std::error_code ignored;
            std::filesystem::remove(path, ignored);
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    for (int i = 0; i < 100; ++i) {
        traceLines(i * 20, 20);
    }
    ends = true;
    deleting.join();
    std::filesystem::remove(path);
    traceLines(2000, 10);
    sayLines("behind", path.string());
    return 0;
}

} // namespace

void traceLines(int first, int count, std::size_t bodyLength)
{
    TOLVANE_SCOPE(log);
    for (int i = first; i < first + count; ++i) {
        std::string body = std::to_string(i);
        body.resize(bodyLength, '.');
        TOLVANE_LOG(log, tl_info) << body.c_str();
    }
    if (!trace::sync(longestWait)) {
        std::printf("lines still wait\n");
    }
}

void say(const char* name, unsigned long long number)
{
    std::printf("%s: %llu\n", name, number);
    std::fflush(stdout);
}

void sayLost(const char* name)
{
    say(name, trace::lost(trace::destination));
}

std::string read(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void sayLines(const char* name, const std::string& path)
{
    const std::string bytes = read(path);
    const std::string before = "filechild::traceLines : ";
    unsigned long long lines = 0;
    int last = -1;
    bool isTorn = false;
    for (std::size_t start = 0; start < bytes.size(); ++lines) {
        const std::size_t end = bytes.find("\r\n", start);
        const std::size_t body = bytes.find(before, start);
        isTorn = isTorn || end == std::string::npos || bytes[start] != '[' || body > end ||
                 bytes[end - 1] != '.';
        if (isTorn) {
            break;
        }
        const int number = std::stoi(bytes.substr(body + before.size()));
        isTorn = number <= last;
        last = number;
        start = end + 2;
    }
    if (isTorn) {
        std::printf("%s: torn behind %llu lines\n", name, lines);
    } else {
        say(name, lines);
    }
}

} // namespace filechild

int main(int count, char** arguments)
{
    constexpr int unknownCase = 2;
    std::map<std::string, filechild::case_t> cases = filechild::platformCases();
    cases["vanishingFolder"] = filechild::vanishingFolder;
    cases["renamedFile"] = filechild::renamedFile;
    cases["deletedFile"] = filechild::deletedFile;
    const auto found = cases.find(count > 2 ? arguments[1] : "");
    return found == cases.end() ? unknownCase : found->second(arguments[2]);
}
