#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <map>
#include <sstream>
#include <string>

namespace {

/// Without stamps and threads, each line ended by a line feed alone.
std::string masked(const std::string& text)
{
    std::istringstream lines(text);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        const std::size_t stampEnd = line.find("]:");
        if (line.substr(0, 2) == "[2" && stampEnd != std::string::npos) {
            line.erase(0, line.find(':', stampEnd + 2) + 1);
        }
        result += line + '\n';
    }
    return result;
}

childresult runChild(const std::string& scenario, const std::map<std::string, std::string>& values)
{
    childresult result =
        childprocess::run(childprocess::beside("tolvane_settings_child"), {scenario}, values);
    CHECK(result.exitCode == 0);
    result.output = masked(result.output);
    result.error = masked(result.error);
    return result;
}

} // namespace

TEST_CASE("a variable of the environment turns tracing on, with levels for each destination",
          "[integration][settings]")
{
    const temporaryfolder folder;
    const std::string file = folder.file("shop.log");

    const childresult result =
        runChild("usual", {{"TOLVANE", "*=info,shop=debug > file:" + file + "; *=error"}});

    CHECK(masked(folder.read("shop.log")) == "[I]: shop::order : ordering\n"
                                             "[D]: shop::order : in detail\n"
                                             "[I]: bank::pay : paying\n"
                                             "[E]: bank::pay : no money\n");
    CHECK(result.error == "[E]: bank::pay : no money\nread: 1\n");
    CHECK(result.output.empty());
}

TEST_CASE("the variable has any name, and lines go to standard output and rotating files, too",
          "[integration][settings]")
{
    const temporaryfolder folder;
    const std::string file = folder.file("r.log");

    const childresult result = runChild(
        "SHOP_TRACE", {{"SHOP_TRACE", "shop=info > stdout\n*=error>rotating:" + file + ":2:0"}});

    CHECK(result.output == "[I]: shop::order : ordering\n");
    CHECK(masked(folder.read("r.log.0")) == "[E]: bank::pay : no money\n");
    CHECK(result.error == "read: 1\n");
}

TEST_CASE("a variable names a file of JSON", "[integration][settings]")
{
    const temporaryfolder folder;

    runChild("usual", {{"TOLVANE", "shop=info > json:" + folder.file("a.json")}});

    const std::string json = folder.read("a.json");
    CHECK(json.front() == '{');
    CHECK(json.find("\"function\":\"shop::order\"") != std::string::npos);
}

TEST_CASE("a variable that is empty or not set attaches nothing", "[integration][settings]")
{
    CHECK(runChild("usual", {{"TOLVANE", ""}}).error == "read: 1\n");
    CHECK(runChild("NO_SUCH_VARIABLE", {}).error == "read: 1\n");
    CHECK(runChild("null", {{"TOLVANE", "*=info"}}).error == "read: 1\n");
}

TEST_CASE("a malformed variable attaches nothing, and a line says what is wrong",
          "[integration][settings]")
{
    const childresult result = runChild("usual", {{"TOLVANE", "*=info; shop=all\x1b > stdout"}});

    CHECK(
        result.error ==
        "tolvane: TOLVANE: \"shop=all\\x1b > stdout\": \"shop=all\\x1b\" has a level that is none "
        "of always, error, warning, info, verbose, debug, trace and 0 to 6\nread: 0\n");
    CHECK(result.output.empty());
}

TEST_CASE("the variable may be asked for again while the process ends", "[integration][settings]")
{
    const temporaryfolder folder;
    const std::string lines = "[I]: shop::order : ordering\n"
                              "[I]: bank::pay : paying\n"
                              "[E]: bank::pay : no money\n";

    const childresult result =
        runChild("late", {{"TOLVANE", "*=info > file:" + folder.file("shop.log")}});

    CHECK(result.error == "read: 1\nread: 1\n");
    const std::string file = masked(folder.read("shop.log"));
    CHECK((file == lines || file == lines + lines)); // tracing may have ended before
}
