#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <string>

namespace {

constexpr int tracedLines = 10;

/// How many of the program's lines a text has, in their order.
int linesIn(const std::string& text)
{
    int lines = 0;
    for (std::size_t at = 0;
         (at = text.find(" : line " + std::to_string(lines), at)) != std::string::npos;) {
        ++lines;
    }
    return lines;
}

int countOf(const std::string& text, const std::string& word)
{
    int count = 0;
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        ++count;
    }
    return count;
}

} // namespace

TEST_CASE("a program without exceptions and type information gets every line in every sink",
          "[integration][notypeinformation]")
{
    const temporaryfolder folder;

    const childresult result = childprocess::run(childprocess::beside("tolvane_plain_application"),
                                                 {folder.file("trace.log")});

    INFO(result.error);
    REQUIRE(result.exitCode == 0);
    CHECK(linesIn(result.output) == tracedLines);
    CHECK(countOf(result.output, " : line ") == 2 * tracedLines); // those of a console, too
    CHECK(countOf(result.output, "custom ") == tracedLines);
    CHECK(countOf(result.output, "derived") == tracedLines);
    CHECK(linesIn(result.error) == tracedLines);
    CHECK(linesIn(folder.read("trace.log")) == tracedLines);
    CHECK(linesIn(folder.read("trace.log.derived")) == tracedLines);
    CHECK(linesIn(folder.read("trace.log.rotating")) == tracedLines);
}
