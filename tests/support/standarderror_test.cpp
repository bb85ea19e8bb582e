#include "support/standarderror.h"

#include "tests/helpers/pipedstandarderror.h"

#include <catch2/catch.hpp>

#include <chrono>
#include <string>
#include <thread>

namespace {

void write(const std::string& text)
{
    tolvane::writeStandardError(text.data(), text.size());
}

} // namespace

TEST_CASE("what is written to standard error arrives there", "[support]")
{
    const pipedstandarderror standardError;

    write("a\n");
    const std::string line = standardError.read();
    CHECK((line == "a\n" || line == "a\r\n"));
    {
        tolvane::StandardErrorText text;
        text.put("b");
        CHECK(standardError.read().empty());
        text.put(std::string(600, 'c').c_str());
        CHECK(standardError.read() == "b" + std::string(511, 'c'));
        text.put('d');
    }
    CHECK(standardError.read() == std::string(89, 'c') + "d");
}

TEST_CASE("a pipe that nobody reads from holds up one writer for a second, and the next not at all",
          "[support]")
{
    const std::string tooMuch(1 << 20, 'x');
    const pipedstandarderror standardError;
    const auto start = std::chrono::steady_clock::now();

    for (int i = 0; i < 20; ++i) {
        write(tooMuch);
    }

    CHECK(std::chrono::steady_clock::now() - start < std::chrono::seconds(10));
    std::string read;
    for (int tries = 0; tries < 10000 && read.find("again") == std::string::npos; ++tries) {
        read += standardError.read();
        write("again\n"); // goes through when the first has
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    CHECK(read.find("again") != std::string::npos);
}
