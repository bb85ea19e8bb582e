#include "support/threadid.h"

#include <catch2/catch.hpp>

#include <sys/wait.h>
#include <unistd.h>

TEST_CASE("the thread of a forked process has a number of its own", "[support]")
{
    const unsigned int before = tolvane::currentThreadId();
    const pid_t child = fork();
    if (child == 0) {
        // in the first thread of a process the two numbers are equal
        _exit(tolvane::currentThreadId() == static_cast<unsigned int>(getpid()) ? 0 : 1);
    }
    int status = -1;
    REQUIRE(waitpid(child, &status, 0) == child);

    CHECK(WIFEXITED(status));
    CHECK(WEXITSTATUS(status) == 0);
    CHECK(tolvane::currentThreadId() == before);
}
