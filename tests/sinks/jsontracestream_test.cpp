#include <tolvane/jsontracestream.h>

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>

#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/sinkset.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/utf8facet.h"

#include <catch2/catch.hpp>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace {

/// 2024-03-05 14:07:09.045 on the wall clock.
constexpr unsigned long long sampleTime = 1709647629045;
constexpr long long nanosecondsPerSecond = 1000000000;

const hashedfunction& function()
{
    static const hashedfunction registered("void shop::order(int)");
    return registered;
}

formattedline lineOf(const tolvane::string& text, tracelevel_t level = tl_info)
{
    tolvane::string taken(text);
    formattedline line = formattedlinetest::text(level, function(), taken);
    formattedlinetest::time(line) = sampleTime;
    formattedlinetest::utc(line) = static_cast<long long>(sampleTime) * 1000000 + 123456;
    formattedlinetest::threadId(line) = 0x9c4;
    return line;
}

std::string object(const std::string& text, const std::string& level = "info")
{
    return R"({"time":"2024-03-05T14:07:09.045123456Z","level":")" + level +
           R"(","thread":2500,"function":"shop::order","kind":"text","text":")" + text + "\"}\n";
}

/// What a sink writes for a line.
std::string written(const formattedline& line)
{
    const temporaryfolder folder;
    jsontracestream sink(folder.file("trace.json"));
    sink.log(line);
    return folder.read("trace.json");
}

/// The time of a line in a zone that is so many seconds ahead.
std::string timeAhead(long long seconds)
{
    formattedline line = lineOf("x");
    formattedlinetest::utc(line) -= seconds * nanosecondsPerSecond;
    const std::string text = written(line);
    return text.substr(9, text.find(',') - 10);
}

/// A wide character by its number; UTF-16 where that is the platform's.
std::wstring wide(unsigned long code)
{
    std::wstring text;
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
        text += static_cast<wchar_t>(0xD800 + ((code - 0x10000) >> 10));
        text += static_cast<wchar_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    } else {
        text += static_cast<wchar_t>(code);
    }
    return text;
}

} // namespace

TEST_CASE("a line is a JSON object of a line", "[sinks][json]")
{
    CHECK(written(lineOf("loaded 12 items")) == object("loaded 12 items"));
}

TEST_CASE("entry and exit lines are objects of their kinds, without a text", "[sinks][json]")
{
    formattedline line = lineOf("");
    const std::string head = R"({"time":"2024-03-05T14:07:09.045123456Z","level":"trace",)"
                             R"("thread":2500,"function":"shop::order","kind":")";
    formattedlinetest::level(line) = tl_trace;

    formattedlinetest::type(line) = formattedline::tt_starting;
    CHECK(written(line) == head + R"(start","text":""})" + "\n");
    formattedlinetest::type(line) = formattedline::tt_exiting;
    CHECK(written(line) == head + R"(exit","text":""})" + "\n");
}

TEST_CASE("the name of a line's thread is there when it has one", "[sinks][json]")
{
    formattedline line = lineOf("x");
    formattedlinetest::threadName(line) = "the \"first\"";

    CHECK(written(line).find(R"(,"thread":2500,"name":"the \"first\"","function":)") !=
          std::string::npos);
}

TEST_CASE("levels are objects' by name, and what is no level is always there", "[sinks][json]")
{
    const char* const names[] = {"always", "error", "warning", "info", "verbose", "debug", "trace"};
    for (int level = tl_always; level <= tl_trace; ++level) {
        CHECK(written(lineOf("x", static_cast<tracelevel_t>(level))) == object("x", names[level]));
    }
    CHECK(written(lineOf("x", static_cast<tracelevel_t>(7))) == object("x", "always"));
    CHECK(written(lineOf("x", static_cast<tracelevel_t>(-1))) == object("x", "always"));
}

TEST_CASE("a time is local with its zone, or in UTC where a zone cannot be written",
          "[sinks][json]")
{
    CHECK(timeAhead(0) == "2024-03-05T14:07:09.045123456Z");
    CHECK(timeAhead(3600) == "2024-03-05T14:07:09.045123456+01:00");
    CHECK(timeAhead(-(9 * 3600 + 30 * 60)) == "2024-03-05T14:07:09.045123456-09:30");
    CHECK(timeAhead(-60) == "2024-03-05T14:07:09.045123456-00:01");
    CHECK(timeAhead(24 * 3600 - 60) == "2024-03-05T14:07:09.045123456+23:59");
    CHECK(timeAhead(24 * 3600) == "2024-03-04T14:07:09.045123456Z");
    CHECK(timeAhead(-24 * 3600) == "2024-03-06T14:07:09.045123456Z");
    CHECK(timeAhead(61) == "2024-03-05T14:06:08.045123456Z");
}

TEST_CASE("what JSON does not take in a string is escaped", "[sinks][json]")
{
    CHECK(written(lineOf(L"\"\\/\b\f\n\r\t")) == object(R"(\"\\/\b\f\n\r\t)"));
    for (wchar_t control = 1; control < 0x20; ++control) {
        const std::string text = written(lineOf(std::wstring(1, control)));
        CAPTURE(text);
        CHECK(text.find(R"("text":"\)") != std::string::npos);
        CHECK(text.find('\n') == text.size() - 1);
    }
    CHECK(written(lineOf(L"\x01\x1f\x7f")) == object("\\u0001\\u001f\x7f"));
    CHECK(written(lineOf(L"plain \" then \x1b[31m plain")) ==
          object("plain \\\" then \\u001b[31m plain"));
}

TEST_CASE("texts are in UTF-8, whatever the locale, and always valid", "[sinks][json]")
{
    const localeguard guard(limitedlocale());

    CHECK(written(lineOf(L"gr\u00f6\u00dfe \u65e5\u672c")) == object("gr\xc3\xb6\xc3\x9f"
                                                                     "e \xe6\x97\xa5\xe6\x9c\xac"));
    CHECK(written(lineOf(wide(0x1F600))) == object("\xf0\x9f\x98\x80"));
    CHECK(written(lineOf(L"a" + wide(0xD800) + L"b" + wide(0xDC00) + L"\"")) ==
          object("a\xef\xbf\xbd"
                 "b\xef\xbf\xbd\\\""));
}

TEST_CASE("lines of a pass are objects, and other files get theirs as text", "[sinks][json]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<jsontracestream>(tl_info, folder.file("a.json"));
    sinks.add<filetracestream>(tl_info, folder.file("b.log"));
    sinks.add<jsontracestream>(tl_info, folder.file("c.json"), 2ULL, 1ULL);
    linebatch lines;
    lines.add(lineOf("one"));
    lines.add(lineOf("two"));

    sinks.write(lines);

    CHECK(folder.read("a.json") == object("one") + object("two"));
    CHECK(folder.read("c.json") == folder.read("a.json"));
    CHECK(folder.read("b.log").find("[2024-03-05 14:07:09.045]: 9c4:[I]: shop::order : one\r\n") ==
          0);
    CHECK(sinks.counts(1).written == 2);
}

TEST_CASE("objects are appended, to a file that is there and to one that is made anew",
          "[sinks][json]")
{
    const temporaryfolder folder;
    std::ofstream(folder.file("trace.json"), std::ios::binary) << object("zero");
    jsontracestream sink(std::filesystem::path(folder.file("trace.json")));

    sink.log(lineOf("one"));
    CHECK(folder.read("trace.json") == object("zero") + object("one"));
    std::filesystem::remove(folder.file("trace.json"));
    sink.log(lineOf("two"));
    CHECK(folder.read("trace.json") == object("two"));
}

TEST_CASE("a file of objects rotates by the bytes that are written", "[sinks][json]")
{
    const temporaryfolder folder;
    const std::size_t size = object("x").size();
    const std::size_t linesOfFile = (1024 + size - 1) / size;
    const jsontracestream sink(std::filesystem::path(folder.file("trace.json")), 3, 1);
    const std::unique_ptr<jsontracestream> clone(sink.clone());

    for (std::size_t line = 0; line < 2 * linesOfFile + 1; ++line) {
        clone->log(lineOf("x"));
    }

    CHECK(folder.read("trace.json").size() == size);
    CHECK(folder.read("trace.json.0").size() == linesOfFile * size);
    CHECK(folder.read("trace.json.1").size() == linesOfFile * size);
}

TEST_CASE("a file of objects without limits does not rotate", "[sinks][json]")
{
    const temporaryfolder folder;
    const jsontracestream sink(folder.file("trace.json"));
    const std::unique_ptr<jsontracestream> clone(sink.clone());
    jsontracestream copy(sink);

    for (int line = 0; line < 20; ++line) {
        clone->log(lineOf("x"));
        copy.log(lineOf("x"));
    }

    CHECK(folder.entries() == 1);
    CHECK(folder.read("trace.json").size() == 40 * object("x").size());
}

TEST_CASE("a file of objects is identified as any file", "[sinks][json]")
{
    const unsigned long long id = filetracestream("a/trace.json").id();

    CHECK(jsontracestream("a/trace.json").id() == id);
    CHECK(jsontracestream(L"a/trace.json", 3, 100).id() == id);
    CHECK(jsontracestream(std::filesystem::path("a/trace.json"), 3, 100).id() == id);
    CHECK(std::unique_ptr<jsontracestream>(jsontracestream("a/trace.json").clone())->id() == id);
}
