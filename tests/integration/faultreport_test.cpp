#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

using lines_t = std::vector<std::string>;

/// What stands behind time stamp and thread id.
lines_t lines(const std::string& text)
{
    lines_t found;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t level = line.find(":[");
        line = level == std::string::npos ? line : line.substr(level + 1);
        line.erase(line.find_last_not_of('\r') + 1);
        found.push_back(line);
    }
    return found;
}

lines_t ofReport(const lines_t& bodies)
{
    lines_t found;
    for (const std::string& body : bodies) {
        found.push_back("[E]: stacktrace::FaultHandler : " + body);
    }
    return found;
}

bool contains(const lines_t& all, const lines_t& part)
{
    return std::search(all.begin(), all.end(), part.begin(), part.end()) != all.end();
}

childresult run(const std::string& scenario, const temporaryfolder& folder)
{
    return childprocess::run(childprocess::beside("tolvane_application"),
                             {scenario, folder.file("trace.log")});
}

} // namespace

TEST_CASE(
    "a report names the functions of every thread, outermost first, and ends with the handler",
    "[integration]")
{
    const temporaryfolder folder;
    const childresult result = run("reporting", folder);
    const lines_t file = lines(folder.read("trace.log"));

    REQUIRE(result.exitCode == 0);
    CHECK(file.size() == 2 * 7);
    CHECK(contains(file, ofReport({"50% wrong. Trace follows:"})));
    CHECK(contains(file, ofReport({"{anonymous}::outer", "-->{anonymous}::fail",
                                   "-->stacktrace::FaultHandler", ""})));
    CHECK(std::count(file.begin(), file.end(), ofReport({""}).front()) == 2 * 2);
    CHECK(file.front() == ofReport({"50% wrong. Trace follows:"}).front());
}

TEST_CASE(
    "a report reaches standard error at the error level, once however many reports there were",
    "[integration]")
{
    const temporaryfolder folder;
    const childresult result = run("reporting", folder);
    const lines_t error = lines(result.error);

    for (const std::string& line : error) {
        CHECK(line.find("FaultHandler : exiting") ==
              std::string::npos); // its second scope is not at trace level
    }
    CHECK(std::count(error.begin(), error.end(), ofReport({"50% wrong. Trace follows:"}).front()) ==
          2);
}

TEST_CASE("after a report the calling thread's stack is empty", "[integration]")
{
    const temporaryfolder folder;
    const childresult result = run("reporting", folder);

    CHECK(result.output.find("stack empty") != std::string::npos);
    CHECK(result.output.find("stack left") == std::string::npos);
}

TEST_CASE("the first report of a process in which no sink takes errors writes nothing and starts "
          "no thread",
          "[integration]")
{
    const temporaryfolder folder;
    const childresult result = run("reportingSilently", folder);

    CHECK(result.exitCode == 0);
    CHECK(result.output.find("no thread") != std::string::npos);
    CHECK(result.error.empty());
}
