#include "tests/integration/filechild.h"

#include <tolvane/tolvane.h>

#include "tests/helpers/posix/zonefilebytes.h"

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace filechild {

namespace {

using clock = std::chrono::steady_clock;

filetracestream& attach(const std::string& path)
{
    auto& sink = static_cast<filetracestream&>(trace::output(filetracestream(path.c_str())));
    sink.setLevel(tl_info);
    return sink;
}

bool writeText(const char* path, const std::string& text)
{
    const int file = ::open(path, O_WRONLY | O_CLOEXEC);
    const bool written =
        file >= 0 && ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (file >= 0) {
        ::close(file);
    }
    return written;
}

/// Leaves for mounts of its own, which need no rights outside. Nothing of the library may run yet.
/// \return false when the system does not allow it.
bool enterOwnMounts()
{
    const std::string user = std::to_string(::geteuid());
    const std::string group = std::to_string(::getegid());
    if (::unshare(CLONE_NEWNS) != 0 && (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
                                        !writeText("/proc/self/setgroups", "deny") ||
                                        !writeText("/proc/self/uid_map", "0 " + user + " 1") ||
                                        !writeText("/proc/self/gid_map", "0 " + group + " 1"))) {
        return false;
    }
    return ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

int refused()
{
    std::printf("refused\n");
    return 0;
}

/// Root is refused nothing. Nothing of the library may run yet.
bool becomeNobody()
{
    constexpr uid_t nobody = 65534;
    return ::geteuid() != 0 ||
           (::setgroups(0, nullptr) == 0 && ::setgid(nobody) == 0 && ::setuid(nobody) == 0);
}

/// A disk of 64 KiB, half of which another file takes at first.
int fullDisk(const std::string& folder)
{
    const std::string disk = folder + "/disk";
    const std::string path = disk + "/trace.log";
    std::filesystem::create_directory(disk);
    if (!enterOwnMounts() || ::mount("tolvane-test", disk.c_str(), "tmpfs", 0, "size=64k") != 0) {
        return refused();
    }
    std::ofstream(disk + "/other", std::ios::binary) << std::string(30000, 'x');
    attach(path);
    traceLines(0, 1000);
    const unsigned long long lostAtFirst = trace::lost(trace::destination);
    sayLines("whole while full", path);
    say("lost while full", lostAtFirst);
    std::filesystem::remove(disk + "/other");
    traceLines(1000, 50);
    say("lost with room again", trace::lost(trace::destination) - lostAtFirst);
    sayLines("whole with room again", path);
    return 0;
}

/// The process may write 20,000 bytes into a file, and then more.
int sizeLimit(const std::string& folder)
{
    const std::string path = folder + "/trace.log";
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit lower = {20000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lower);
    attach(path);
    traceLines(0, 1000);
    sayLines("whole at the limit", path);
    sayLost("lost at the limit");
    setrlimit(RLIMIT_FSIZE, &limit);
    traceLines(1000, 50);
    sayLost("lost in all");
    sayLines("whole in all", path);
    return 0;
}

int fullDevice(const std::string&)
{
    attach("/dev/full");
    traceLines(0, 100);
    sayLost("lost");
    return 0;
}

/// Another sink's lines are nobody's loss while one has a pipe.
int unreadPipe(const std::string& folder)
{
    const std::string pipe = folder + "/pipe";
    const std::string path = folder + "/trace.log";
    if (::mkfifo(pipe.c_str(), 0600) != 0) {
        return 1;
    }
    attach(pipe);
    attach(path);
    const clock::time_point start = clock::now();
    traceLines(0, 100);
    say("nobody waited", clock::now() - start < std::chrono::seconds(1) ? 1 : 0);
    sayLost("lost without a reader");
    sayLines("beside it", path);

    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    traceLines(100, 5);
    sayLost("lost with a reader");
    traceLines(105, 1500); // more than a pipe holds
    say("lost by a reader who stopped", trace::lost(trace::destination) > 100 ? 1 : 0);
    say("lost by others", trace::lost() - trace::lost(trace::destination));
    sayLines("beside it", path);
    ::close(reader);
    return 0;
}

/// The file may not be written.
int readOnlyFile(const std::string& folder)
{
    const std::string path = folder + "/trace.log";
    std::ofstream(path).close();
    ::chmod(path.c_str(), 0444);
    if (!becomeNobody()) {
        return 1;
    }
    attach(path);
    traceLines(0, 10);
    sayLost("lost");
    sayLines("in the file", path);
    return 0;
}

/// The file may be written, and its folder may not. It is more than a day old by the clock.
int readOnlyFolder(const std::string& folder)
{
    const std::string path = folder + "/trace.log";
    std::ofstream(path).close();
    ::chmod(path.c_str(), 0666);
    ::chmod(folder.c_str(), 0555);
    if (!becomeNobody()) {
        return 1;
    }
    auto& sink = trace::output(rotatingfilestracestream(path.c_str(), 3, 1000, 1));
    sink.setLevel(tl_info);
    attach(folder + "/new.log");
    traceLines(0, 10);
    sayLost("lost, all for the new file");
    sayLines("in the old file", path);
    return 0;
}

/// Files come and go in the folder, which nobody may list.
int unlistableFolder(const std::string& folder)
{
    const std::string path = folder + "/trace.log";
    for (int number = 0; number < 100; ++number) {
        std::ofstream(path + "." + std::to_string(number)) << number;
    }
    ::chmod(folder.c_str(), 0333);
    if (!becomeNobody()) {
        return 1;
    }
    auto& sink = trace::output(rotatingfilestracestream(path.c_str(), 1000000000, 0, 0));
    sink.setLevel(tl_info);
    traceLines(0, 1);
    return 0;
}

/// Seconds by which a line is stamped ahead of UTC, to the half hour. It must be in the file.
long stampedAhead(const std::string& path)
{
    const std::string bytes = read(path);
    const std::size_t lastLine = bytes.rfind("\r\n[", bytes.size() - 3);
    const std::size_t stamp = lastLine == std::string::npos ? 1 : lastLine + 3;
    tm local = {};
    ::strptime(bytes.substr(stamp, 19).c_str(), "%Y-%m-%d %H:%M:%S", &local);
    const long ahead = static_cast<long>(::timegm(&local) - ::time(nullptr));
    return (ahead + (ahead < 0 ? -900 : 900)) / 1800 * 1800;
}

/// Traces until the stamps are as far ahead, but for three seconds at most.
void sayWhenStampsAre(long ahead, const std::string& path)
{
    const clock::time_point start = clock::now();
    int number = 0;
    do {
        traceLines(number++, 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    } while (stampedAhead(path) != ahead && clock::now() - start < std::chrono::seconds(3));
    std::printf("stamps are ahead by %ld\n", stampedAhead(path));
}

void writeZone(const std::string& path, long ahead)
{
    std::ofstream(path + ".new", std::ios::binary)
        << zonefilebytes{ahead, ahead, {}, "", 0}.write();
    std::filesystem::rename(path + ".new", path);
}

/// The file that TZ names is replaced: it is "zone" in the folder.
int changingZone(const std::string& folder)
{
    writeZone(folder + "/zone", 3600);
    ::setenv("TZ", (":" + folder + "/zone").c_str(), 1);
    const std::string path = folder + "/trace.log";
    attach(path);
    sayWhenStampsAre(3600, path);
    writeZone(folder + "/zone", -7200);
    sayWhenStampsAre(-7200, path);
    return 0;
}

/// The system's zone is replaced, without any variable.
int changingSystemsZone(const std::string& folder)
{
    const char* const systemsZone = "/etc/localtime";
    ::unsetenv("TZ");
    for (const long ahead : {3600L, -7200L}) {
        writeZone(folder + "/zone" + std::to_string(ahead), ahead);
    }
    if (!enterOwnMounts() ||
        ::mount((folder + "/zone3600").c_str(), systemsZone, nullptr, MS_BIND, nullptr) != 0) {
        return refused();
    }
    const std::string path = folder + "/trace.log";
    attach(path);
    sayWhenStampsAre(3600, path);
    if (::mount((folder + "/zone-7200").c_str(), systemsZone, nullptr, MS_BIND, nullptr) != 0) {
        return refused();
    }
    sayWhenStampsAre(-7200, path);
    return 0;
}

} // namespace

const std::map<std::string, case_t>& platformCases()
{
    static const std::map<std::string, case_t> cases = {
        {"fullDisk", fullDisk},
        {"sizeLimit", sizeLimit},
        {"fullDevice", fullDevice},
        {"unreadPipe", unreadPipe},
        {"readOnlyFile", readOnlyFile},
        {"readOnlyFolder", readOnlyFolder},
        {"unlistableFolder", unlistableFolder},
        {"changingZone", changingZone},
        {"changingSystemsZone", changingSystemsZone},
    };
    return cases;
}

} // namespace filechild
