#include "support/threadslot.h"

#include "tests/helpers/childprocess.h"
#include "tests/helpers/toldends.h"
#include "tests/helpers/wholethread.h"

#include <catch2/catch.hpp>

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace threadslot = tolvane::threadslot;

using threadslot::callStack;
using threadslot::lineStage;

namespace {

int value = 0;

constexpr int asExpected = 7; ///< the exit code of a forked child that found what it should

int exitCodeOf(pid_t child)
{
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Traces again, as it were, after the end has been told, from a destructor of another key.
void* lateValue = nullptr;

void comeLate(void*)
{
    if (void* const late = lateValue) {
        lateValue = nullptr;
        threadslot::set(callStack, late);
    }
}

} // namespace

TEST_CASE("the one thread of a forked process has the values of the thread that forked",
          "[support]")
{
    int code = -1;

    wholethread([&code] {
        threadslot::set(lineStage, &value);
        const pid_t child = fork();
        if (child == 0) {
            const bool has = threadslot::get(lineStage) == &value && !threadslot::get(callStack);
            _exit(has ? asExpected : 0);
        }
        code = exitCodeOf(child);
    }).join();

    CHECK(code == asExpected);
}

TEST_CASE("a thread that is ended by the bare system call is not told of", "[support][rawexit]")
{
    const toldends told;

    wholethread([] {
        threadslot::set(callStack, &value);
        syscall(SYS_exit, 0);
    }).join();

    CHECK(told.count() == 0);
}

TEST_CASE("a thread that is ended by pthread_exit is told of", "[support]")
{
    const toldends told;

    wholethread([] {
        threadslot::set(callStack, &value);
        pthread_exit(nullptr);
    }).join();

    CHECK(told.count(callStack, &value) == 1);
}

TEST_CASE("a value that another key's destructor puts in late is told of, too", "[support]")
{
    const toldends told; // so that the key of the slots is older, and comes first
    wholethread([] { threadslot::set(callStack, &value); }).join();
    pthread_key_t key = 0;
    REQUIRE(pthread_key_create(&key, comeLate) == 0);
    int late = 0;
    lateValue = &late;

    wholethread([&key] {
        threadslot::set(callStack, &value);
        pthread_setspecific(key, &value);
    }).join();

    pthread_key_delete(key);
    CHECK(told.count(callStack, &late) == 1);
    CHECK(told.count(callStack, &value) == 2);
}

TEST_CASE("slots keep their values where no key is left to notice ends with", "[support]")
{
    const childresult child =
        childprocess::run(childprocess::beside("tolvane_threadslot_tests"), {"[nokeys]"});

    INFO(child.output);
    CHECK(child.exitCode == 0);
}

TEST_CASE("a process without keys", "[.nokeys]")
{
    pthread_key_t key = 0;
    while (pthread_key_create(&key, nullptr) == 0) {
    }
    const toldends told;
    void* kept = nullptr;

    wholethread([&kept] {
        threadslot::set(callStack, &value);
        kept = threadslot::get(callStack);
    }).join();

    CHECK(kept == &value);
    CHECK(told.count() == 0);
}
