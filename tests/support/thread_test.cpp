#include "support/thread.h"

#include "support/threadid.h"
#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <cerrno>
#include <functional>
#include <future>
#include <new>
#include <thread>
#include <type_traits>

using tolvane::Thread;
using tolvane::ThreadControl;

namespace {

static_assert(std::is_abstract_v<Thread> && std::has_virtual_destructor_v<Thread>);
static_assert(!std::is_copy_constructible_v<ThreadControl>);

/// Runs a function and counts its own end.
class task : public Thread
{
public:
    task(std::function<void()> action, std::atomic<int>* destroyed = nullptr)
        : m_action(std::move(action)), m_destroyed(destroyed)
    {}

    ~task() override
    {
        if (m_destroyed) {
            ++*m_destroyed;
        }
    }

    unsigned int run() override
    {
        const std::function<void()> action = m_action;
        action();
        return 0;
    }

private:
    std::function<void()> m_action;
    std::atomic<int>* m_destroyed;
};

void waitForEnd(const ThreadControl& control)
{
    while (!control.ended()) {
        std::this_thread::yield();
    }
}

} // namespace

TEST_CASE("a started thread runs its runnable, on a thread of its own", "[support]")
{
    std::promise<unsigned int> id;
    ThreadControl control(new task([&] { id.set_value(tolvane::currentThreadId()); }));
    CHECK_FALSE(control.started());
    CHECK_FALSE(control.ended());

    control.start();

    CHECK(control.started());
    CHECK(control.startError() == 0);
    CHECK(id.get_future().get() != tolvane::currentThreadId());
    waitForEnd(control);
}

TEST_CASE("a thread is started once, also when it has ended", "[support]")
{
    std::atomic<int> runs{0};
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    ThreadControl control(new task([&] {
        ++runs;
        released.wait();
    }));

    control.start();
    control.start();
    release.set_value();
    waitForEnd(control);
    control.start();

    CHECK(control.started());
    CHECK(control.ended());
    CHECK(runs == 1);
}

TEST_CASE("a thread has not ended while it runs", "[support]")
{
    std::promise<void> release;
    ThreadControl control(new task([&] { release.get_future().wait(); }));
    control.start();

    CHECK_FALSE(control.ended());

    release.set_value();
    waitForEnd(control);
    CHECK(control.ended());
    CHECK(control.ended()); // asking again changes nothing
}

TEST_CASE("a thread that could not be started may be started again", "[support]")
{
    std::atomic<int> runs{0};
    ThreadControl control(new task([&] { ++runs; }));
    {
        const allocations::failure failure(1); // enough for the controller, not for the platform
        control.start();
    }

    CHECK_FALSE(control.started());
    CHECK_FALSE(control.ended());
    CHECK(control.startError() == ENOMEM);
    control.start();
    CHECK(control.started());
    CHECK(control.startError() == 0);
    waitForEnd(control);
    CHECK(runs == 1);
}

TEST_CASE("starting a thread without memory throws, and it may be started again", "[support]")
{
    std::atomic<int> runs{0};
    ThreadControl control(new task([&] { ++runs; }));
    bool thrown = false;
    try {
        const allocations::failure failure;
        control.start();
    } catch (const std::bad_alloc&) {
        thrown = true;
    }

    CHECK(thrown);
    CHECK_FALSE(control.started());
    control.start();
    waitForEnd(control);
    CHECK(runs == 1);
}

TEST_CASE("a controller frees its runnable, started or not", "[support]")
{
    std::atomic<int> destroyed{0};
    {
        const ThreadControl control(new task([] {}, &destroyed));
    }
    CHECK(destroyed == 1);
    {
        ThreadControl control(new task([] {}, &destroyed));
        control.start();
        waitForEnd(control);
        CHECK(destroyed == 1);
    }
    CHECK(destroyed == 2);
    CHECK_NOTHROW(ThreadControl(nullptr));
}

TEST_CASE("a controller does not wait for its thread", "[support]")
{
    std::atomic<int> destroyed{0};
    std::promise<void> entered;
    std::promise<void> release;
    std::promise<void> left;
    {
        ThreadControl control(new task(
            [&] {
                entered.set_value();
                release.get_future().wait();
                left.set_value();
            },
            &destroyed));
        control.start();
        entered.get_future().wait();
    }

    CHECK(destroyed == 1); // the runnable is gone, the thread is still inside
    release.set_value();
    left.get_future().wait();
}

TEST_CASE("a closed controller cannot tell any more whether its thread has ended", "[support]")
{
    ThreadControl control(new task([] {}));
    control.start();
    waitForEnd(control);

    control.close();
    control.close();

    CHECK_FALSE(control.ended());
    CHECK(control.started());
}

TEST_CASE("a controller that deletes itself takes the runnable with it at the thread's end",
          "[support]")
{
    std::atomic<int> destroyed{0};
    std::promise<void> release;
    auto* const control =
        new ThreadControl(new task([&] { release.get_future().wait(); }, &destroyed), true);

    control->start();
    CHECK(destroyed == 0);
    release.set_value();
    while (destroyed == 0) {
        std::this_thread::yield();
    }

    CHECK(destroyed == 1);
}

TEST_CASE("a controller that would delete itself is its maker's while it was not started",
          "[support]")
{
    std::atomic<int> destroyed{0};
    delete new ThreadControl(new task([] {}, &destroyed), true);

    CHECK(destroyed == 1);
}
