#include "support/zoneoffset.h"

#include "tests/helpers/posix/zoneguard.h"

#include <catch2/catch.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr time_t second = 1700000000;

} // namespace

TEST_CASE("the zone's offset follows daylight saving time to the second", "[support][clock]")
{
    constexpr time_t springForward = 1710054000; // 2024-03-10 02:00 in New York
    constexpr time_t fallBack = 1730613600;      // 2024-11-03 02:00 there
    const zoneguard guard;
    zoneguard::enter("EST5EDT,M3.2.0,M11.1.0");

    CHECK(tolvane::zoneOffset(springForward - 1) == -18000);
    CHECK(tolvane::zoneOffset(springForward) == -14400);
    CHECK(tolvane::zoneOffset(fallBack - 1) == -14400);
    CHECK(tolvane::zoneOffset(fallBack) == -18000);
}

TEST_CASE("zones beyond the dateline and half hours off have their offset", "[support][clock]")
{
    const zoneguard guard;
    for (const auto& [zone, offset] :
         {std::pair("ABC-24:59:59", 89999L), std::pair("ABC+24", -86400L), std::pair("UTC0", 0L),
          std::pair("ABC-5:30", 19800L), std::pair("ABC0:00:01", -1L)}) {
        zoneguard::enter(zone);
        CHECK(tolvane::zoneOffset(second) == offset);
    }
}

TEST_CASE("a process that is forked while others ask for the zone's offset can ask, too",
          "[support][clock][fork]")
{
    constexpr unsigned int longestLife = 5;      // seconds, of a child that hangs
    const bool isDirect = GENERATE(false, true); // the application asks the C library
    std::atomic<bool> isEnough{false};
    std::vector<std::thread> askers;
    for (int asker = 0; asker < 3; ++asker) {
        askers.emplace_back([&isEnough, isDirect] {
            for (time_t time = second; !isEnough; ++time) {
                tm local = {};
                isDirect ? static_cast<void>(localtime_r(&time, &local))
                         : static_cast<void>(tolvane::zoneOffset(time));
            }
        });
    }
    int ended = 0;
    constexpr int forks = 40;
    for (int round = 0; round < forks && ended == round; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(longestLife);
            tolvane::zoneOffset(second);
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        ended += status == 0 ? 1 : 0;
    }
    isEnough = true;
    for (std::thread& asker : askers) {
        asker.join();
    }

    CHECK(ended == forks);
}
