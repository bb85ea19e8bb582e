#include "sinks/terminals.h"

#include <catch2/catch.hpp>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

namespace {

/// A file in the place of standard error, for as long as the object lives.
class redirection
{
public:
    explicit redirection(int file) { ::dup2(file, STDERR_FILENO); }
    ~redirection()
    {
        ::dup2(m_before, STDERR_FILENO);
        ::close(m_before);
    }

    redirection(const redirection&) = delete;
    redirection& operator=(const redirection&) = delete;

private:
    const int m_before = ::dup(STDERR_FILENO);
};

bool takesColours()
{
    return tolvane::Terminals::platform().takesColours(tolvane::standardstream::error);
}

} // namespace

TEST_CASE("a terminal takes colours, and no other file, nor one that is closed", "[sinks][console]")
{
    const int controller = ::posix_openpt(O_RDWR | O_NOCTTY);
    REQUIRE(::grantpt(controller) == 0);
    REQUIRE(::unlockpt(controller) == 0);
    const int terminal = ::open(::ptsname(controller), O_RDWR | O_NOCTTY);
    const int device = ::open("/dev/null", O_WRONLY);
    REQUIRE(terminal >= 0);

    bool onTerminal = false;
    bool onDevice = true;
    bool onNothing = true;
    {
        const redirection toTerminal(terminal);
        onTerminal = takesColours();
    }
    {
        const redirection toDevice(device);
        onDevice = takesColours();
        ::close(STDERR_FILENO);
        onNothing = takesColours();
    }

    CHECK(onTerminal);
    CHECK_FALSE(onDevice);
    CHECK_FALSE(onNothing);
    for (const int file : {controller, terminal, device}) {
        ::close(file);
    }
}

TEST_CASE("a variable that is not set is empty", "[sinks][console]")
{
    ::setenv("TOLVANE_TEST_VARIABLE", "value", 1);
    CHECK(tolvane::Terminals::platform().variable("TOLVANE_TEST_VARIABLE") == "value");
    ::unsetenv("TOLVANE_TEST_VARIABLE");
    CHECK(tolvane::Terminals::platform().variable("TOLVANE_TEST_VARIABLE").empty());
}
