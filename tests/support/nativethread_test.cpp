#include "support/nativethread.h"

#include "support/threadid.h"
#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <cerrno>
#include <thread>

namespace nativethread = tolvane::nativethread;

namespace {

struct report
{
    std::atomic<unsigned int> id{0};
    std::atomic<bool> leave{false};
};

unsigned int runReport(void* argument)
{
    auto* const told = static_cast<report*>(argument);
    told->id = tolvane::currentThreadId();
    while (!told->leave) {
        std::this_thread::yield();
    }
    return 0;
}

void waitForEnd(void* handle)
{
    while (!nativethread::ended(handle)) {
        std::this_thread::yield();
    }
}

} // namespace

TEST_CASE("a native thread gets its argument, and its starter the thread's number", "[support]")
{
    report told;
    unsigned int id = 0;
    int error = 0;

    void* const handle = nativethread::start(runReport, &told, id, error);

    REQUIRE(handle != nullptr);
    CHECK(error == 0);
    CHECK_FALSE(nativethread::ended(handle));
    told.leave = true;
    waitForEnd(handle);
    CHECK(told.id == id);
    CHECK(nativethread::ended(handle));
    nativethread::close(handle);
}

TEST_CASE("a native thread lives on when its handle is closed", "[support]")
{
    static report told; // nobody can tell when the first thread leaves it
    unsigned int id = 0;
    int error = 0;
    void* const handle = nativethread::start(runReport, &told, id, error);
    while (told.id == 0) {
        std::this_thread::yield();
    }
    void* const second = nativethread::start(runReport, &told, id, error);

    nativethread::close(handle);
    CHECK_FALSE(nativethread::ended(second));
    told.leave = true;
    waitForEnd(second);
    nativethread::close(second);
}

TEST_CASE("a native thread that cannot be started leaves an error", "[support]")
{
    report told;
    unsigned int id = 0;
    int error = 0;
    void* handle = &told;
    {
        const allocations::failure failure;
        handle = nativethread::start(runReport, &told, id, error);
    }

    CHECK(handle == nullptr);
    CHECK(error == ENOMEM);
    CHECK(told.id == 0);
}

TEST_CASE("other threads are not stopped while the process runs", "[support]")
{
    CHECK_FALSE(nativethread::othersAreStopped());
}
