#include <tolvane/tolvane.h>

#include "support/errortext.h"
#include "tests/helpers/gate.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

namespace {

std::string described(traceimpl& dispatcher)
{
    return dispatcher.describe().narrow();
}

} // namespace

TEST_CASE("without a sink there is a line that says so", "[trace][describe]")
{
    traceimpl dispatcher;

    CHECK(described(dispatcher) == "no sink is attached\n");
}

TEST_CASE("a sink of the application's is told by its id, and its levels by name",
          "[trace][describe]")
{
    quietdispatcher quiet;
    tracestream& sink = quiet.dispatcher.output(probesink(0x1aF));
    CHECK(described(quiet.dispatcher) == "sink 0x1af: *=always; 0 written, 0 lost\n");

    sink.setLevel(tl_info);
    sink.setLevel(tl_trace, "shop::order");
    sink.setLevel(static_cast<tracelevel_t>(-2), "bank");
    CHECK(described(quiet.dispatcher) ==
          "sink 0x1af: *=info, bank=-2, shop::order=trace; 0 written, 0 lost\n");
}

TEST_CASE("lines that were written and lost are counted for each sink", "[trace][describe]")
{
    quietdispatcher quiet;
    probesink throwing(2);
    throwing.told().onLog = [](const std::wstring&) { throw 1; };
    quiet.dispatcher.output(probesink(1)).setLevel(tl_info);
    quiet.dispatcher.output(throwing).setLevel(tl_error);
    quiet.queue(3, tl_error, L"a");
    quiet.queue(tl_info, L"b");

    quiet.dispatcher.flushQueue(0);

    CHECK(described(quiet.dispatcher) == "sink 0x1: *=info; 4 written, 0 lost\n"
                                         "sink 0x2: *=error; 0 written, 3 lost\n");
}

TEST_CASE("standard streams have their names, and other streams their ids", "[trace][describe]")
{
    std::ostringstream other;
    for (const auto& [stream, name] :
         {std::pair<std::ostream&, std::string>(std::cout, "standard output"),
          std::pair<std::ostream&, std::string>(std::cerr, "standard error"),
          std::pair<std::ostream&, std::string>(std::clog, "standard error"),
          std::pair<std::ostream&, std::string>(other, "stream 0x")}) {
        traceimpl dispatcher;
        dispatcher.output(ostreamtracestream<char>(stream));
        CHECK(described(dispatcher).substr(0, name.size()) == name);
    }
    traceimpl dispatcher;
    dispatcher.output(ostreamtracestream<wchar_t>(std::wcerr));
    CHECK(described(dispatcher) == "standard error: *=always; 0 written, 0 lost\n");
}

TEST_CASE("a sink of the application's own with a standard stream's address as its id is its own",
          "[trace][describe]")
{
    traceimpl dispatcher;
    dispatcher.output(probesink(reinterpret_cast<std::uintptr_t>(&std::cout)));
    CHECK(described(dispatcher).substr(0, 7) == "sink 0x");
}

TEST_CASE("files are told by their paths, and rotating ones with their limits", "[trace][describe]")
{
    traceimpl dispatcher;
    dispatcher.output(filetracestream("shop.log"));
    CHECK(described(dispatcher) == "file shop.log: *=always; 0 written, 0 lost\n");

    dispatcher.output(rotatingfilestracestream("shop.log", 5, 1024, 0));
    CHECK(described(dispatcher) ==
          "rotating file shop.log (5 of 1024 KiB): *=always; 0 written, 0 lost\n");

    dispatcher.output(rotatingfilestracestream("shop.log", 5, 1024, 7));
    CHECK(described(dispatcher) ==
          "rotating file shop.log (5 of 1024 KiB, 7 days): *=always; 0 written, 0 lost\n");
}

TEST_CASE("consoles and files of JSON are told, too", "[trace][describe]")
{
    traceimpl dispatcher;
    dispatcher.output(jsontracestream("a.json"));
    CHECK(described(dispatcher) == "JSON file a.json: *=always; 0 written, 0 lost\n");

    dispatcher.output(jsontracestream("a.json", 3, 64));
    CHECK(described(dispatcher) ==
          "rotating JSON file a.json (3 of 64 KiB): *=always; 0 written, 0 lost\n");

    traceimpl other;
    other.output(consoletracestream());
    CHECK(described(other) == "standard error: *=always; 0 written, 0 lost\n");
}

TEST_CASE("the last error of a file is told in the system's words", "[trace][describe]")
{
    const temporaryfolder folder;
    quietdispatcher quiet;
    quiet.dispatcher.output(filetracestream(folder.path() / "none" / "a.log")).setLevel(tl_info);
    quiet.queue(tl_info, L"a");

    quiet.dispatcher.flushQueue(0);

    const std::string text = described(quiet.dispatcher);
    const std::string error = "0 written, 1 lost; last error: ";
    REQUIRE(text.find(error) != std::string::npos);
    const std::string words = text.substr(text.find(error) + error.size());
    CHECK(words.size() > 4);
    CHECK(words.find("rror 0") == std::string::npos);

    std::filesystem::create_directory(folder.path() / "none");
    quiet.queue(tl_info, L"b");
    quiet.dispatcher.flushQueue(0);
    CHECK(described(quiet.dispatcher).find("1 written, 1 lost; last error: ") != std::string::npos);
}

TEST_CASE("a sink that is busy holds up no description", "[trace][describe]")
{
    quietdispatcher quiet;
    const probesink sink(1);
    gate entered;
    gate release;
    sink.told().onLog = [&](const std::wstring&) {
        entered.open();
        release.wait();
    };
    quiet.dispatcher.output(sink).setLevel(tl_info);
    std::thread writer([&] {
        quiet.queue(tl_info, L"a");
        quiet.dispatcher.flushQueue(0);
    });
    entered.wait();

    CHECK(described(quiet.dispatcher) == "sink 0x1: *=info; 0 written, 0 lost\n");

    release.open();
    writer.join();
}

TEST_CASE("the facade describes what the application has attached", "[trace][describe]")
{
    const probesink sink(0xABC);
    trace::output(sink);

    CHECK(std::string(trace::describe().narrow()).find("sink 0xabc: *=always;") !=
          std::string::npos);

    trace::remove(sink);
    CHECK(std::string(trace::describe().narrow()).find("0xabc") == std::string::npos);
}
