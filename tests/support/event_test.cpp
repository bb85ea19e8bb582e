#include "support/event.h"

#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/scriptedclock.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <future>
#include <type_traits>
#include <vector>

namespace tolvane {

/// Looks into an event, and puts it into states that otherwise only a race brings about.
struct eventtest
{
    static UntypedEvent::Impl& impl(const UntypedEvent& event)
    {
        return static_cast<UntypedEvent::Impl&>(*event.impl());
    }

    static unsigned long long waiting(const UntypedEvent& event) { return impl(event).m_waiting; }
    static unsigned long long pending(const UntypedEvent& event) { return impl(event).m_pending; }

    static void setWaiting(const UntypedEvent& event, unsigned long long count)
    {
        impl(event).m_waiting = count;
    }
    static void setPending(const UntypedEvent& event, unsigned long long count)
    {
        impl(event).m_pending = count;
    }

    static Mutex& mutex(const UntypedEvent& event) { return impl(event).m_mutex; }
};

} // namespace tolvane

using tolvane::Event;
using tolvane::eventtest;
using tolvane::UntypedEvent;

namespace {

using eventlock = tolvane::Auto_Lock<UntypedEvent::UntypedEventImpl>;

static_assert(std::has_virtual_destructor_v<UntypedEvent>);
static_assert(std::is_base_of_v<UntypedEvent, Event<bool>>);
static_assert(std::is_abstract_v<UntypedEvent::UntypedEventImpl>);
static_assert(std::has_virtual_destructor_v<UntypedEvent::UntypedEventImpl>);
static_assert(sizeof(UntypedEvent) == 2 * sizeof(void*));

constexpr unsigned int longEnough = 30000; ///< milliseconds; only a failing test waits for it

/// Waits with the lock that a wait needs.
bool timesOut(const UntypedEvent& event, unsigned int milliseconds)
{
    const eventlock lock(event.impl());
    bool timedOut = false;
    event.impl()->wait(true, &timedOut, milliseconds);
    return timedOut;
}

} // namespace

TEST_CASE("a new event has no signal and no waiter, and its value is empty", "[support]")
{
    const Event<bool> event;

    CHECK(eventtest::waiting(event) == 0);
    CHECK(eventtest::pending(event) == 0);
    CHECK_FALSE(event.value);
}

TEST_CASE("a signal that nobody waits for is kept for the next wait", "[support]")
{
    const UntypedEvent event;

    event.impl()->signal();
    CHECK(eventtest::pending(event) == 1);

    CHECK_FALSE(timesOut(event, longEnough));
    CHECK(eventtest::pending(event) == 0);
    CHECK(eventtest::waiting(event) == 0);
}

TEST_CASE("a wait without limit takes a kept signal", "[support]")
{
    const UntypedEvent event;
    event.impl()->signal();
    bool timedOut = true;

    {
        const eventlock lock(event.impl());
        event.impl()->wait(false, &timedOut, 0);
    }

    CHECK_FALSE(timedOut);
    CHECK(eventtest::pending(event) == 0);
}

TEST_CASE("two kept signals let two waits through, and no third", "[support]")
{
    const UntypedEvent event;
    event.impl()->signal();
    event.impl()->signal();
    CHECK(eventtest::pending(event) == 2);

    CHECK_FALSE(timesOut(event, longEnough));
    CHECK(eventtest::pending(event) == 1);
    CHECK_FALSE(timesOut(event, longEnough));
    CHECK(eventtest::pending(event) == 0);
    CHECK(timesOut(event, 1));
}

TEST_CASE("a wait without a signal ends with its time and leaves the counts", "[support]")
{
    const UntypedEvent event;
    const auto start = std::chrono::steady_clock::now();

    CHECK(timesOut(event, 20));

    CHECK(std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(15));
    CHECK(eventtest::waiting(event) == 0);
    CHECK(eventtest::pending(event) == 0);
}

TEST_CASE("a wait that timed out uses a pending signal up as well", "[support]")
{
    const UntypedEvent event;
    eventtest::setPending(event, 1); // counted, but the event is not set yet

    CHECK(timesOut(event, 1));

    CHECK(eventtest::pending(event) == 0);
}

TEST_CASE("a wait that leaves signals pending sets the event for the next waiter", "[support]")
{
    const UntypedEvent event;
    eventtest::setPending(event, 2);

    CHECK(timesOut(event, 1));
    CHECK(eventtest::pending(event) == 1);

    CHECK_FALSE(timesOut(event, longEnough));
    CHECK(eventtest::pending(event) == 0);
}

TEST_CASE("a wait holds the lock when it returns", "[support]")
{
    const UntypedEvent event;
    const eventlock lock(event.impl());
    bool timedOut = false;

    event.impl()->wait(true, &timedOut, 1);

    CHECK_FALSE(isFree(eventtest::mutex(event)));
}

TEST_CASE("a wait releases the lock meanwhile, and a signal wakes it", "[support]")
{
    Event<bool> event;
    bool seen = false;
    bool timedOut = true;
    std::thread waiter([&] {
        const eventlock lock(event.impl());
        event.impl()->wait(true, &timedOut, longEnough);
        seen = event.value;
    });
    while (eventtest::waiting(event) == 0) {
        std::this_thread::yield();
    }

    {
        const eventlock lock(event.impl());
        event.value = true;
        event.impl()->signalLocked();
    }
    waiter.join();

    CHECK(seen);
    CHECK_FALSE(timedOut);
    CHECK(eventtest::pending(event) == 0);
    CHECK(eventtest::waiting(event) == 0);
}

TEST_CASE("a signal from within the lock is counted, and the lock is held behind it", "[support]")
{
    const UntypedEvent event;
    {
        const eventlock lock(event.impl());

        event.impl()->signalLocked();

        CHECK(eventtest::pending(event) == 1);
        CHECK_FALSE(isFree(eventtest::mutex(event)));
    }

    CHECK(isFree(eventtest::mutex(event)));
    CHECK_FALSE(timesOut(event, longEnough));
}

TEST_CASE("locking yields while a waiter has a signal to use up", "[support]")
{
    const UntypedEvent event;
    eventtest::setWaiting(event, 1);
    eventtest::setPending(event, 1);
    scriptedclock clock;

    SECTION("until no signal is pending")
    {
        clock.whenSleeping([&] { eventtest::setPending(event, clock.sleeps() == 3 ? 0 : 1); });
    }
    SECTION("until nobody waits")
    {
        clock.whenSleeping([&] { eventtest::setWaiting(event, clock.sleeps() == 3 ? 0 : 1); });
    }
    event.impl()->lock();

    CHECK(clock.sleeps() == 3);
    CHECK(clock.sleptMilliseconds() == 3);
    CHECK_FALSE(isFree(eventtest::mutex(event)));
    event.impl()->unlock();
}

TEST_CASE("locking does not yield for a waiter alone, nor for a signal alone", "[support]")
{
    const UntypedEvent event;
    const scriptedclock clock;

    eventtest::setWaiting(event, 1);
    event.impl()->lock();
    event.impl()->unlock();
    eventtest::setWaiting(event, 0);
    eventtest::setPending(event, 1);
    event.impl()->lock();
    event.impl()->unlock();

    CHECK(clock.sleeps() == 0);
}

TEST_CASE("the lock of an event is recursive", "[support]")
{
    const UntypedEvent event;
    const eventlock outer(event.impl());
    const eventlock inner(event.impl());

    CHECK_FALSE(isFree(eventtest::mutex(event)));
}

TEST_CASE("every signal of many threads lets one wait through", "[support]")
{
    const UntypedEvent event;
    constexpr int perThread = 50;
    std::vector<std::thread> signallers;
    for (int i = 0; i < 4; ++i) {
        signallers.emplace_back([&] {
            for (int n = 0; n < perThread; ++n) {
                event.impl()->signal();
            }
        });
    }
    const auto takeAll = [&] {
        int taken = 0;
        for (int n = 0; n < 2 * perThread; ++n) {
            taken += timesOut(event, longEnough) ? 0 : 1;
        }
        return taken;
    };

    auto first = std::async(std::launch::async, takeAll);
    const int taken = takeAll();
    CHECK(taken + first.get() == 4 * perThread);
    for (std::thread& signaller : signallers) {
        signaller.join();
    }

    // a signal that comes late may have let one wait more through: then its own is left
    while (eventtest::pending(event) != 0) {
        REQUIRE_FALSE(timesOut(event, longEnough));
    }
    CHECK(eventtest::waiting(event) == 0);
}

TEST_CASE("an event that does not say otherwise signals the same way with the lock held",
          "[support]")
{
    class counting : public UntypedEvent::UntypedEventImpl
    {
    public:
        void wait(bool, bool*, unsigned int) override {}
        void lock() override {}
        void unlock() override {}
        void signal() override { ++signals; }

        int signals = 0;
    };
    counting event;

    event.signalLocked();

    CHECK(event.signals == 1);
}

TEST_CASE("an event's handle is appended to those that it is given", "[support]")
{
    const UntypedEvent first;
    const UntypedEvent second;
    std::vector<void*> handles;

    eventtest::impl(first).addHandle(handles);
    eventtest::impl(second).addHandle(handles);

    REQUIRE(handles.size() == 2);
    CHECK(handles[0] != nullptr);
    CHECK(handles[0] != handles[1]);
}
