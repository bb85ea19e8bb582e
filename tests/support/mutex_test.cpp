#include "support/mutex.h"

#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/scriptedclock.h"

#include <catch2/catch.hpp>

#include <memory>
#include <new>
#include <stdexcept>
#include <type_traits>

using tolvane::Auto_Lock;
using tolvane::Auto_Mutex;
using tolvane::Auto_TimedMutex;
using tolvane::Mutex;

namespace {

using noncopyable = tolvane::noncopyable_::noncopyable;
using nonassignable = tolvane::nonassignable_::nonassignable;

static_assert(std::is_base_of_v<noncopyable, Mutex> && std::is_convertible_v<Mutex*, noncopyable*>);
static_assert(std::has_virtual_destructor_v<Mutex>);
static_assert(std::is_abstract_v<Mutex::MutexImpl>);
static_assert(std::has_virtual_destructor_v<Mutex::MutexImpl>);
static_assert(std::is_base_of_v<Mutex::MutexImpl, Mutex::Impl>);
static_assert(std::is_base_of_v<noncopyable, Auto_Lock<Mutex>>);
static_assert(!std::is_convertible_v<Auto_Lock<Mutex>*, noncopyable*>);
static_assert(std::is_convertible_v<Auto_Mutex*, Auto_Lock<Mutex>*>);
static_assert(std::is_convertible_v<mutex*, Mutex*> && sizeof(mutex) == sizeof(Mutex));
static_assert(std::is_base_of_v<nonassignable, lockobject>);
static_assert(!std::is_convertible_v<lockobject*, nonassignable*>);
static_assert(!std::is_copy_constructible_v<Mutex> && !std::is_copy_assignable_v<Mutex>);
static_assert(!std::is_copy_constructible_v<lockobject> && !std::is_copy_assignable_v<lockobject>);
static_assert(!std::is_copy_constructible_v<Auto_Mutex> && !std::is_copy_assignable_v<Auto_Mutex>);
static_assert(std::is_nothrow_destructible_v<Auto_Mutex>);
static_assert(std::is_nothrow_destructible_v<lockobject>);

/// A mutex whose life a test ends by hand.
class mortalmutex
{
public:
    mortalmutex() : m_mutex(new (m_room) Mutex) {}

    Mutex& get() { return *m_mutex; }
    void destroy() { m_mutex->~Mutex(); }

private:
    alignas(Mutex) unsigned char m_room[sizeof(Mutex)];
    Mutex* m_mutex;
};

/// Counts what it is asked for.
struct countinglock
{
    int locked = 0;
    int unlocked = 0;

    void lock() { ++locked; }
    void unlock() { ++unlocked; }
};

} // namespace

TEST_CASE("a mutex that is held is not to be had by another thread", "[support]")
{
    Mutex mutex;
    CHECK(isFree(mutex));
    {
        const Auto_Mutex lock(mutex);
        CHECK_FALSE(isFree(mutex));
    }
    CHECK(isFree(mutex));
}

TEST_CASE("a thread may take a mutex again and must release it as often", "[support]")
{
    Mutex mutex;

    mutex.impl()->lock();
    mutex.impl()->lock();
    CHECK(mutex.impl()->timedLock(0));
    mutex.impl()->unlock();
    mutex.impl()->unlock();
    CHECK_FALSE(isFree(mutex));
    mutex.impl()->unlock();
    CHECK(isFree(mutex));
}

TEST_CASE("locking waits until the mutex is released", "[support]")
{
    Mutex mutex;
    int value = 0;
    std::thread other;
    {
        const Auto_Mutex lock(mutex);
        other = std::thread([&] {
            const Auto_Mutex inner(mutex);
            value *= 10;
        });
        value = 7;
    }
    other.join();

    CHECK(value == 70);
}

TEST_CASE("a free mutex is taken in time at once, without a look at the clock", "[support]")
{
    Mutex mutex;
    const scriptedclock clock;

    CHECK(mutex.impl()->timedLock(0));
    mutex.impl()->unlock();

    CHECK(clock.readings() == 0);
    CHECK(clock.sleeps() == 0);
}

TEST_CASE("without time a held mutex is given up after one pause", "[support]")
{
    Mutex mutex;
    const heldelsewhere holder(mutex);
    const scriptedclock clock;

    CHECK_FALSE(mutex.impl()->timedLock(0));

    CHECK(clock.readings() == 2);
    CHECK(clock.sleeps() == 1);
    CHECK(clock.sleptMilliseconds() == 1);
}

TEST_CASE("a mutex that becomes free in the last pause is given up all the same", "[support]")
{
    Mutex mutex;
    heldelsewhere holder(mutex);
    scriptedclock clock;
    clock.whenSleeping([&holder] { holder.release(); });

    CHECK_FALSE(mutex.impl()->timedLock(0));

    CHECK(clock.sleeps() == 1);
    CHECK(isFree(mutex));
}

TEST_CASE("a mutex that becomes free in a pause is taken by the next try", "[support]")
{
    Mutex mutex;
    heldelsewhere holder(mutex);
    scriptedclock clock;
    clock.setTicksPerSleep(100);
    clock.whenSleeping([&] {
        if (clock.sleeps() == 3) {
            holder.release();
        }
    });

    CHECK(mutex.impl()->timedLock(500));
    mutex.impl()->unlock();

    CHECK(clock.sleeps() == 3);
    CHECK(clock.readings() == 4);
}

TEST_CASE("the waiting ends with the first pass whose reading is at or beyond the time",
          "[support]")
{
    Mutex mutex;
    const heldelsewhere holder(mutex);
    const struct
    {
        unsigned long long timeout;
        unsigned long long perSleep;
        int sleeps;
    } table[] = {
        {500, 10000, 2}, // a pause of a millisecond is 20 times as long: 50 microseconds, not half
                         // a second
        {500, 500, 2},
        {500, 499, 3},
        {500, 250, 3},
        {500, 100, 6},
        {1, 1, 2},
    };

    for (const auto& line : table) {
        scriptedclock clock;
        clock.setTicks(1000000);
        clock.setTicksPerSleep(line.perSleep);

        CHECK_FALSE(mutex.impl()->timedLock(line.timeout));

        CAPTURE(line.timeout, line.perSleep);
        CHECK(clock.sleeps() == line.sleeps);
        CHECK(clock.readings() == line.sleeps + 1);
        CHECK(clock.sleptMilliseconds() == static_cast<unsigned long long>(line.sleeps));
    }
}

TEST_CASE("the time is read before the pause, not behind it", "[support]")
{
    Mutex mutex;
    const heldelsewhere holder(mutex);
    scriptedclock clock;
    clock.setTicksPerReading(500);

    CHECK_FALSE(mutex.impl()->timedLock(500)); // the start, then a reading of 500

    CHECK(clock.sleeps() == 1);
}

TEST_CASE("a scoped lock with a time tells whether it has the mutex", "[support]")
{
    Mutex mutex;
    {
        const Auto_TimedMutex lock(mutex, 0);
        CHECK(lock.owns());
        CHECK_FALSE(isFree(mutex));
    }
    CHECK(isFree(mutex));

    heldelsewhere holder(mutex);
    {
        const Auto_TimedMutex lock(mutex, 0);
        CHECK_FALSE(lock.owns());
    }
    holder.release();
    CHECK(isFree(mutex));
}

TEST_CASE("a scoped lock on nothing does nothing", "[support]")
{
    CHECK_NOTHROW(Auto_Lock<Mutex>(nullptr));
    CHECK_NOTHROW(Auto_Lock<countinglock>(nullptr));
}

TEST_CASE("a scoped lock calls lock and unlock once each", "[support]")
{
    countinglock counting;
    {
        const Auto_Lock<countinglock> lock(&counting);
        CHECK(counting.locked == 1);
        CHECK(counting.unlocked == 0);
    }

    CHECK(counting.locked == 1);
    CHECK(counting.unlocked == 1);
}

TEST_CASE("a destroyed mutex has nothing to lock", "[support][destroyed]")
{
    mortalmutex mortal;
    CHECK(mortal.get().impl() != nullptr);

    mortal.destroy();

    CHECK(mortal.get().impl() == nullptr);
}

TEST_CASE("scoped locks on a destroyed mutex do nothing", "[support][destroyed]")
{
    mortalmutex mortal;
    mortal.destroy();

    const Auto_Lock<Mutex> first(&mortal.get());
    const Auto_Mutex second(mortal.get());
    const lockobject third(mortal.get());
    const Auto_TimedMutex fourth(mortal.get(), 0);

    CHECK_FALSE(fourth.owns());
}

TEST_CASE("a mutex may be destroyed beneath its scoped locks", "[support][destroyed]")
{
    mortalmutex mortal;
    {
        const Auto_Mutex first(mortal.get());
        const lockobject second(mortal.get());
        mortal.get().impl()->unlock();
        mortal.get().impl()->unlock();
        mortal.destroy();
    }

    CHECK(mortal.get().impl() == nullptr);
}

TEST_CASE("the dispatcher's scoped lock holds the mutex for its block", "[support]")
{
    mutex own;
    {
        const lockobject lock(own);
        CHECK_FALSE(isFree(own));
        const lockobject again(own);
        CHECK_FALSE(isFree(own));
    }
    CHECK(isFree(own));
}

TEST_CASE("scoped locks release while an exception passes", "[support]")
{
    mutex own;
    try {
        const lockobject first(own);
        const Auto_Mutex second(own);
        const Auto_TimedMutex third(own, 0);
        throw std::runtime_error("passing");
    } catch (const std::runtime_error&) {
    }

    CHECK(isFree(own));
}
