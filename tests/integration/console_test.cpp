#include "tests/helpers/childprocess.h"

#include <catch2/catch.hpp>

#include <map>
#include <string>

namespace {

/// What the traced application prints on its standard output, which is a pipe: an error.
std::string printed(const std::string& scenario,
                    const std::map<std::string, std::string>& environment)
{
    const childresult result =
        childprocess::run(childprocess::beside("tolvane_application"), {scenario}, environment);
    CHECK(result.exitCode == 0);
    CHECK_FALSE(result.timedOut);
    return result.output;
}

bool has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

constexpr const char* coloured = "\x1b[31m[";

} // namespace

TEST_CASE("a console's lines are plain in a pipe, unless colours are forced",
          "[integration][console]")
{
    const std::string plain =
        printed("toConsole", {{"FORCE_COLOR", ""}, {"NO_COLOR", ""}, {"TERM", "xterm"}});
    CHECK(has(plain, ": an error"));
    CHECK_FALSE(has(plain, "\x1b"));

    const std::string forced = printed("toConsole", {{"FORCE_COLOR", "1"}, {"NO_COLOR", ""}});
    CHECK(has(forced, coloured));
    CHECK(has(forced, ": an error\x1b[0m"));
}

TEST_CASE("standard output is a console's also when it is not in step with the C library's",
          "[integration][console]")
{
    CHECK(has(printed("toFasterConsole", {{"FORCE_COLOR", "1"}, {"NO_COLOR", ""}}), coloured));
}

TEST_CASE("standard output with a buffer of the application's has no colours",
          "[integration][console]")
{
    const std::string text = printed("toOtherBuffer", {{"FORCE_COLOR", "1"}, {"NO_COLOR", ""}});
    CHECK(has(text, "collected: ["));
    CHECK(has(text, ": an error"));
    CHECK_FALSE(has(text, "\x1b"));
}
