#include <tolvane/consoletracestream.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/formattedlinetest.h"

#include <catch2/catch.hpp>

#include <unistd.h>

#include <iostream>
#include <string>

TEST_CASE("a console that was closed takes lines again when it is somewhere else",
          "[sinks][console]")
{
    const hashedfunction function("void f()");
    const formattedline line = formattedlinetest::text(tl_info, function, L"text");
    consoletracestream sink;
    const auto state = std::cerr.rdstate();
    int pipe[2] = {};
    REQUIRE(::pipe(pipe) == 0);
    const int before = ::dup(STDERR_FILENO);

    bool isLost = false;
    ::close(STDERR_FILENO);
    try {
        sink.log(line);
    } catch (const std::exception&) {
        isLost = true;
    }
    ::dup2(pipe[1], STDERR_FILENO);
    sink.log(line);
    ::dup2(before, STDERR_FILENO);

    CHECK(isLost);
    char bytes[256] = {};
    const ssize_t count = ::read(pipe[0], bytes, sizeof bytes);
    const std::wstring expected = formattedlinetest::render(line) + L"\n";
    CHECK(std::string(bytes, count < 0 ? 0 : static_cast<std::size_t>(count)) ==
          std::string(expected.begin(), expected.end()));
    CHECK(std::cerr.rdstate() == state);
    for (const int file : {before, pipe[0], pipe[1]}) {
        ::close(file);
    }
}
