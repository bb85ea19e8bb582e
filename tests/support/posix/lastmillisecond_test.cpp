#include "support/posix/lastmillisecond.h"

#include <catch2/catch.hpp>

#include <signal.h>

#include <functional>

using tolvane::lastmillisecond;

namespace {

constexpr time_t second = 1700000000;
constexpr long millisecond = 1000000;            ///< nanoseconds
constexpr unsigned long long start = 5000000000; ///< cycles
constexpr unsigned long long shown = 4711;

constexpr timespec tick{second, 45 * millisecond}; ///< the last one, and none comes

/// Read 0.6 milliseconds after the beginning of the 45th.
lastmillisecond readInTheMiddle()
{
    lastmillisecond last;
    last.remember(start, {second, 45 * millisecond + 600000}, shown);
    return last;
}

/// Does an action in single steps of the processor, and another thing after each of them.
class singlestep
{
public:
    static void run(const std::function<void()>& action, const std::function<void()>& afterStep)
    {
        s_afterStep = &afterStep;
        struct sigaction before = {};
        struct sigaction stepping = {};
        stepping.sa_handler = [](int) { (*s_afterStep)(); };
        sigaction(SIGTRAP, &stepping, &before);
        setTrapFlag(true);
        action();
        setTrapFlag(false);
        sigaction(SIGTRAP, &before, nullptr);
    }

private:
    static void setTrapFlag(bool on)
    {
        constexpr unsigned long long trapFlag = 0x100;
        const unsigned long long flags = __builtin_ia32_readeflags_u64();
        __builtin_ia32_writeeflags_u64(on ? flags | trapFlag : flags & ~trapFlag);
    }

    static inline const std::function<void()>* s_afterStep = nullptr;
};

} // namespace

TEST_CASE("no millisecond lasts before one was read", "[support][clock]")
{
    CHECK_FALSE(lastmillisecond().lasts(0, {0, 0}));
    CHECK_FALSE(lastmillisecond().lasts(start, tick));
}

TEST_CASE("a millisecond lasts for as many cycles as the slowest processor counts until its end",
          "[support][clock]")
{
    const lastmillisecond last = readInTheMiddle();

    CHECK(last.shown() == shown);
    CHECK(last.lasts(start, tick));
    CHECK(last.lasts(start + 199999, tick)); // of 0.4 milliseconds, at 0.5 GHz
    CHECK_FALSE(last.lasts(start + 200000, tick));
}

TEST_CASE("a millisecond has ended when the cycles are counted anew", "[support][clock]")
{
    const lastmillisecond last = readInTheMiddle();

    CHECK_FALSE(last.lasts(start - 1, tick));
    CHECK_FALSE(last.lasts(0, tick));
}

TEST_CASE("a millisecond has ended when a tick says so, whatever the cycles say",
          "[support][clock]")
{
    const lastmillisecond last = readInTheMiddle();

    CHECK(last.lasts(start, {second, 46 * millisecond - 1}));
    CHECK_FALSE(last.lasts(start, {second, 46 * millisecond}));
    CHECK_FALSE(last.lasts(start, {second + 1, 0}));
    CHECK(last.lasts(start, {second, 25 * millisecond}));
    CHECK_FALSE(last.lasts(start, {second, 25 * millisecond - 1})); // the clock was set back
    CHECK_FALSE(last.lasts(start, {second - 3600, 0}));
}

TEST_CASE("the last millisecond of a second ends with the second", "[support][clock]")
{
    lastmillisecond last;
    last.remember(start, {second, 1000 * millisecond - 10}, shown);

    CHECK(last.lasts(start + 4, {second, 999 * millisecond}));
    CHECK_FALSE(last.lasts(start + 5, {second, 999 * millisecond}));
    CHECK_FALSE(last.lasts(start, {second + 1, 0}));
}

TEST_CASE("a signal handler never gets a millisecond that is being replaced",
          "[support][clock][singlestep]")
{
    constexpr unsigned long long later = start + 10000000000;
    constexpr timespec laterTick{second + 2, 0};
    lastmillisecond last;
    last.remember(start, tick, 1);
    int steps = 0;
    int wrong = 0;

    singlestep::run(
        [&] {
            last.remember(later, {second + 2, 300000}, 2);
        },
        [&] {
            ++steps;
            wrong += last.lasts(later, laterTick) && last.shown() != 2 ? 1 : 0;
        });

    CHECK(steps > 10);
    CHECK(wrong == 0);
    CHECK(last.lasts(later, laterTick));
    CHECK(last.shown() == 2);
}

TEST_CASE("what a signal handler remembers is not mixed with what it interrupts",
          "[support][clock][singlestep]")
{
    constexpr unsigned long long later = start + 10000000000;
    constexpr timespec laterTick{second + 2, 0};
    int steps = 1;
    int wrong = 0;
    for (int interrupted = 0; interrupted < steps; ++interrupted) {
        lastmillisecond last;
        steps = 0;

        singlestep::run([&] { last.remember(start, tick, 1); },
                        [&] {
                            if (steps++ == interrupted) {
                                last.remember(later, {second + 2, 300000}, 2);
                            }
                        });

        wrong += last.lasts(later, laterTick) && last.shown() != 2 ? 1 : 0;
    }

    CHECK(steps > 10);
    CHECK(wrong == 0);
}
