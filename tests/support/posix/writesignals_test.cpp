#include "support/writesignals.h"

#include <catch2/catch.hpp>

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace {

volatile sig_atomic_t received = 0;

void receive(int)
{
    received = received + 1;
}

/// Counts the signals of a kind that arrive, for a block.
struct receiver
{
    explicit receiver(int number) : signal(number)
    {
        received = 0;
        struct sigaction action = {};
        action.sa_handler = receive;
        sigaction(signal, &action, &before);
    }

    ~receiver() { sigaction(signal, &before, nullptr); }

    receiver(const receiver&) = delete;
    receiver& operator=(const receiver&) = delete;

    const int signal;
    struct sigaction before = {};
};

bool isPending(int signal)
{
    sigset_t set;
    sigemptyset(&set);
    sigpending(&set);
    return sigismember(&set, signal) == 1;
}

bool isBlocked(int signal)
{
    sigset_t set;
    sigemptyset(&set);
    pthread_sigmask(SIG_BLOCK, nullptr, &set);
    return sigismember(&set, signal) == 1;
}

sigset_t only(int signal)
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    return set;
}

/// Writes to a pipe that nobody reads.
bool isRefused()
{
    int ends[2];
    REQUIRE(pipe(ends) == 0);
    close(ends[0]);
    const bool refused = write(ends[1], "x", 1) < 0 && errno == EPIPE;
    close(ends[1]);
    return refused;
}

} // namespace

TEST_CASE("within the block writing to a closed pipe sends no signal, and behind it one again",
          "[support]")
{
    const receiver pipes(SIGPIPE);
    {
        const tolvane::WriteSignals noSignals;
        CHECK(isRefused());
        CHECK(isRefused());
    }

    CHECK(received == 0);
    CHECK_FALSE(isPending(SIGPIPE));
    CHECK_FALSE(isBlocked(SIGPIPE));
    CHECK_FALSE(isBlocked(SIGXFSZ));
    CHECK(isRefused());
    CHECK(received == 1);
}

TEST_CASE("a signal that was pending before the block is pending behind it", "[support]")
{
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        const receiver signals(signal);
        const sigset_t set = only(signal);
        pthread_sigmask(SIG_BLOCK, &set, nullptr);
        pthread_kill(pthread_self(), signal);
        {
            const tolvane::WriteSignals noSignals;
            isRefused();
        }

        CHECK(isPending(signal));
        CHECK(isBlocked(signal));
        pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
        CHECK(received == 1);
    }
}

TEST_CASE("a signal that somebody sends during the block arrives behind it", "[support]")
{
    for (const int signal : {SIGPIPE, SIGXFSZ}) {
        const receiver signals(signal);
        {
            const tolvane::WriteSignals noSignals;
            sigqueue(getpid(), signal, {});
            isRefused();
            CHECK(received == 0);
        }

        CHECK(received == 1);
        CHECK_FALSE(isBlocked(signal));
    }
}

TEST_CASE("the block changes no error code", "[support]")
{
    const receiver pipes(SIGPIPE);
    errno = EDOM;
    {
        const tolvane::WriteSignals noSignals;
        CHECK(errno == EDOM);
        pthread_kill(pthread_self(), SIGPIPE);
        errno = ERANGE;
    }

    CHECK(errno == ERANGE);
    errno = 0;
}
