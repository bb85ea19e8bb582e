#include "support/posix/zonewatch.h"

#include "tests/helpers/posix/zonefilebytes.h"
#include "tests/helpers/posix/zoneguard.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <time.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using tolvane::ZoneWatch;

namespace {

constexpr long long second = 1700000000;

/// A folder with the file of a time zone, in which the process is.
class watchedzone
{
public:
    watchedzone()
    {
        write("zone", 3600);
        zoneguard::enter((":" + m_folder.file("zone")).c_str());
    }

    void write(const std::string& name, long offset) const
    {
        std::ofstream(m_folder.file(name), std::ios::binary)
            << zonefilebytes{offset, offset, {}, "", 0}.write();
    }

    /// As packages are installed.
    void replace(long offset) const
    {
        write("new", offset);
        std::filesystem::rename(m_folder.file("new"), m_folder.file("zone"));
    }

    const temporaryfolder& folder() const { return m_folder; }

private:
    zoneguard m_guard;
    temporaryfolder m_folder;
};

/// As the watch and the C library together tell it.
long offsetBy(ZoneWatch& watch)
{
    long offset = 0;
    if (watch.look(second, offset)) {
        return offset;
    }
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    return local.tm_gmtoff;
}

} // namespace

TEST_CASE("as long as a zone's file stays, the C library knows the zone", "[support][clock]")
{
    const watchedzone zone;
    ZoneWatch watch;
    long offset = 0;

    CHECK_FALSE(watch.look(second, offset));
    CHECK_FALSE(watch.look(second + 1, offset));
    CHECK(offsetBy(watch) == 3600);
}

TEST_CASE("a zone whose file is replaced has its new rules with the next look", "[support][clock]")
{
    const watchedzone zone;
    ZoneWatch watch;
    CHECK(offsetBy(watch) == 3600);

    zone.replace(7200);
    CHECK(offsetBy(watch) == 7200);
    CHECK(offsetBy(watch) == 7200);

    zone.replace(-1800);
    CHECK(offsetBy(watch) == -1800);
}

TEST_CASE("a zone whose file is written anew in place has its new rules", "[support][clock]")
{
    const watchedzone zone;
    ZoneWatch watch;
    offsetBy(watch);

    std::filesystem::last_write_time(
        zone.folder().file("zone"),
        std::filesystem::file_time_type()); // whatever the clock's steps
    zone.write("zone", 7200);

    CHECK(offsetBy(watch) == 7200);
}

TEST_CASE("a link to a zone's file may lead to another one", "[support][clock]")
{
    const watchedzone zone;
    zone.write("other", 7200);
    std::filesystem::create_symlink("zone", zone.folder().file("link"));
    zoneguard::enter((":" + zone.folder().file("link")).c_str());
    ZoneWatch watch;
    CHECK(offsetBy(watch) == 3600);

    std::filesystem::create_symlink("other", zone.folder().file("new"));
    std::filesystem::rename(zone.folder().file("new"), zone.folder().file("link"));

    CHECK(offsetBy(watch) == 7200);
}

TEST_CASE("while a zone's file is gone, or is none, its rules stay", "[support][clock]")
{
    const watchedzone zone;
    ZoneWatch watch;
    offsetBy(watch);
    zone.replace(7200);
    CHECK(offsetBy(watch) == 7200);

    std::filesystem::remove(zone.folder().file("zone"));
    CHECK(offsetBy(watch) == 7200);
    std::ofstream(zone.folder().file("zone")) << "half of a fi";
    CHECK(offsetBy(watch) == 7200);
    zone.replace(10800);
    CHECK(offsetBy(watch) == 10800);
}

TEST_CASE("a zone that the program sets itself holds, whatever became of the one before",
          "[support][clock]")
{
    const watchedzone zone;
    ZoneWatch watch;
    offsetBy(watch);
    zone.replace(7200);
    CHECK(offsetBy(watch) == 7200);

    zoneguard::enter("ABC-5");
    CHECK(offsetBy(watch) == 18000);

    zone.replace(10800);
    CHECK(offsetBy(watch) == 18000);
}

TEST_CASE("a zone by its name lies in the folder of zones", "[support][clock]")
{
    const watchedzone zone;
    ::setenv("TZDIR", zone.folder().path().c_str(), 1);
    zoneguard::enter("zone");
    ZoneWatch watch;
    CHECK(offsetBy(watch) == 3600);

    zone.replace(7200);
    CHECK(offsetBy(watch) == 7200);
    ::unsetenv("TZDIR");
}

TEST_CASE("in a forked process the watch knows the zone by its file", "[support][clock][fork]")
{
    const watchedzone zone;
    ZoneWatch watch;
    const bool hasLooked = GENERATE(true, false);
    if (hasLooked) {
        offsetBy(watch);
    }
    long offset = 0;

    watch.afterFork();
    CHECK(watch.look(second, offset));
    CHECK(offset == 3600);

    zone.replace(7200);
    CHECK(watch.look(second, offset));
    CHECK(offset == 7200);

    ::setenv("TZ", "ABC-5", 1);
    CHECK(watch.look(second, offset));
    CHECK(offset == 18000);
}

TEST_CASE("in a forked process the watch knows a zone that is a rule", "[support][clock][fork]")
{
    constexpr long long summer = 1689000000;
    const zoneguard guard;
    zoneguard::enter("ABC5DEF,M3.2.0,M11.1.0");
    ZoneWatch watch;
    watch.afterFork();
    long offset = 0;

    CHECK(watch.look(second, offset));
    CHECK(offset == -18000);
    CHECK(watch.look(summer, offset));
    CHECK(offset == -14400);
}

TEST_CASE("in a forked process a zone whose rules are not understood keeps its last offset",
          "[support][clock][fork]")
{
    const zoneguard guard;
    zoneguard::enter("no such zone");
    ZoneWatch watch;
    long offset = 0;
    CHECK_FALSE(watch.look(second, offset));
    watch.remember(5400);

    watch.afterFork();

    CHECK(watch.look(second, offset));
    CHECK(offset == 5400);
    CHECK(watch.look(second + 1, offset));
    CHECK(offset == 5400);
}

TEST_CASE("in a forked process the system's zone is known by its file", "[support][clock][fork]")
{
    const zoneguard guard;
    ::unsetenv("TZ");
    ::tzset();
    const time_t time = second;
    tm local = {};
    localtime_r(&time, &local);
    ZoneWatch watch;
    watch.afterFork();
    long offset = 1;

    CHECK(watch.look(second, offset));
    CHECK(offset == local.tm_gmtoff);
}

TEST_CASE("threads that look at a zone at the same time get its offset of before or of now",
          "[support][clock]")
{
    const watchedzone zone;
    ZoneWatch watch;
    offsetBy(watch);
    zone.replace(7200);
    CHECK(offsetBy(watch) == 7200);
    std::atomic<int> others{0};
    std::atomic<bool> ends{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            while (!ends) {
                const long offset = offsetBy(watch);
                others += offset == 7200 || offset == 10800 ? 0 : 1;
            }
        });
    }

    for (int i = 0; i < 50; ++i) {
        zone.replace(i % 2 == 0 ? 10800 : 7200);
    }
    ends = true;
    for (std::thread& thread : threads) {
        thread.join();
    }

    CHECK(others == 0);
    CHECK(offsetBy(watch) == 7200);
}
