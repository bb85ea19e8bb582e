#include "support/criticalsection.h"

#include <catch2/catch.hpp>

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <cerrno>
#include <thread>

TEST_CASE("a signal neither ends the wait for a critical section nor changes errno", "[support]")
{
    constexpr int callersErrno = 4711;
    struct sigaction before = {};
    struct sigaction interrupting = {}; // without a restart of what it interrupts
    interrupting.sa_handler = [](int) {};
    REQUIRE(sigaction(SIGUSR1, &interrupting, &before) == 0);
    tolvane::CriticalSection section;
    std::atomic<bool> waits{false};
    std::atomic<bool> entered{false};
    int errnoAfterwards = 0;

    section.enter();
    std::thread waiter([&] {
        errno = callersErrno;
        waits = true;
        section.enter();
        errnoAfterwards = errno;
        entered = true;
        section.leave();
    });
    while (!waits) {
        std::this_thread::yield();
    }
    for (int signal = 0; signal < 1000; ++signal) { // it sleeps when most of them arrive
        pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    const bool enteredTooEarly = entered;
    section.leave();
    waiter.join();
    sigaction(SIGUSR1, &before, nullptr);

    CHECK_FALSE(enteredTooEarly);
    CHECK(errnoAfterwards == callersErrno);
}
