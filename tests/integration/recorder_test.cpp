#include "tests/helpers/childprocess.h"
#include "tests/helpers/recorderfile.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <string>
#include <vector>

namespace {

/// The lines that a program which was killed has left.
std::vector<std::string> linesOfKilled(const temporaryfolder& folder, const std::string& kib)
{
    const childresult result = childprocess::run(childprocess::beside("tolvane_recorder_child"),
                                                 {folder.file("a.rec"), kib});
    CHECK(result.exitCode == 137);
    const auto lines = linesOfRecorderFile(folder.read("a.rec"));
    REQUIRE(lines);
    return *lines;
}

} // namespace

TEST_CASE("what a program that is killed had passed on is in its recorder's file",
          "[integration][recorder]")
{
    const temporaryfolder folder;

    const std::vector<std::string> lines = linesOfKilled(folder, "65536");

    REQUIRE_FALSE(lines.empty());
    CHECK(lines.front().find("main : the first") != std::string::npos);
}

TEST_CASE("a recorder's file has whole lines in order, wherever the program was killed",
          "[integration][recorder]")
{
    const std::string beforeNumber = "work : line ";
    for (int run = 0; run < 5; ++run) {
        const temporaryfolder folder;

        const std::vector<std::string> lines = linesOfKilled(folder, "4");

        CHECK(lines.size() > 30);
        int last = 0;
        for (const std::string& line : lines) {
            CAPTURE(line);
            REQUIRE(line.substr(0, 2) == "[2");
            REQUIRE(line.find(":[I]: ") != std::string::npos);
            const std::size_t at = line.find(beforeNumber);
            REQUIRE(at != std::string::npos);
            const int number = std::stoi(line.substr(at + beforeNumber.size()));
            REQUIRE(line.substr(at) == beforeNumber + std::to_string(number));
            CHECK(number > last);
            last = number;
        }
    }
}
