#include <tolvane/syslogtracestream.h>

#include <tolvane/hashedfunction.h>

#include "sinks/posix/systemlog.h"
#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/sinkset.h"

#include <catch2/catch.hpp>

#include <syslog.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using messages_t = std::vector<std::pair<int, std::string>>;

const hashedfunction function("void shop::order(int)");

/// Puts a log in use that remembers, for as long as the object lives.
class rememberlog : public tolvane::SystemLog
{
public:
    rememberlog() { use(this); }
    ~rememberlog() override { use(nullptr); }

    rememberlog(const rememberlog&) = delete;
    rememberlog& operator=(const rememberlog&) = delete;

    void open(const std::string& ident) const override { idents.push_back(ident); }
    void write(int priority, const std::string& text) const noexcept override
    {
        messages.emplace_back(priority, text);
    }

    mutable std::vector<std::string> idents;
    mutable messages_t messages;
};

formattedline lineOf(int level, const wchar_t* text = L"text")
{
    return formattedlinetest::text(static_cast<tracelevel_t>(level), function, text);
}

} // namespace

TEST_CASE("a line is a message of the priority that its level has", "[sinks][syslog]")
{
    const rememberlog log;
    syslogtracestream sink;
    const std::pair<int, int> table[] = {
        {-1, LOG_NOTICE},          {tl_always, LOG_NOTICE}, {tl_error, LOG_ERR},
        {tl_warning, LOG_WARNING}, {tl_info, LOG_INFO},     {tl_verbose, LOG_DEBUG},
        {tl_debug, LOG_DEBUG},     {tl_trace, LOG_DEBUG},   {7, LOG_NOTICE}};

    for (const auto& entry : table) {
        CAPTURE(entry.first);
        log.messages.clear();
        sink.log(lineOf(entry.first));
        CHECK(log.messages == messages_t{{entry.second, "shop::order : text"}});
    }
}

TEST_CASE("messages are in UTF-8, and entry and exit lines say so", "[sinks][syslog]")
{
    const rememberlog log;
    syslogtracestream sink;

    sink.log(formattedlinetest::marker(tl_trace, function, formattedline::tt_starting));
    sink.log(lineOf(tl_info, L"gr\u00f6\u00dfe 100% %s %n"));
    sink.log(formattedlinetest::marker(tl_trace, function, formattedline::tt_exiting));

    CHECK(log.messages == messages_t{{LOG_DEBUG, "shop::order : starting"},
                                     {LOG_INFO, "shop::order : gr\xc3\xb6\xc3\x9f"
                                                "e 100% %s %n"},
                                     {LOG_DEBUG, "shop::order : exiting"}});
}

TEST_CASE("the program's name in the log is set once, by the sink that writes", "[sinks][syslog]")
{
    const rememberlog log;
    const syslogtracestream sink(L"caf\u00e9");
    const std::unique_ptr<syslogtracestream> clone(sink.clone());
    CHECK(log.idents.empty());

    clone->log(lineOf(tl_info));
    clone->log(lineOf(tl_info));

    CHECK(log.idents == std::vector<std::string>{"caf\xc3\xa9"});
    CHECK(log.messages.size() == 2);
}

TEST_CASE("without a name the one that the application has set stays", "[sinks][syslog]")
{
    const rememberlog log;
    syslogtracestream().log(lineOf(tl_info));

    CHECK(log.idents.empty());
    CHECK(log.messages.size() == 1);
}

TEST_CASE("there is one log, whatever its sinks are called", "[sinks][syslog]")
{
    CHECK(syslogtracestream("a").id() == syslogtracestream("b").id());
    CHECK(std::unique_ptr<syslogtracestream>(syslogtracestream("a").clone())->id() ==
          syslogtracestream().id());
}

TEST_CASE("a pass hands its lines to the log", "[sinks][syslog]")
{
    const rememberlog log;
    sinkset sinks;
    sinks.add<syslogtracestream>(tl_info, "shop");
    linebatch lines;
    lines.add(lineOf(tl_info, L"one"));
    lines.add(lineOf(tl_debug, L"refused"));
    lines.add(lineOf(tl_error, L"two"));

    sinks.write(lines);

    CHECK(log.messages ==
          messages_t{{LOG_INFO, "shop::order : one"}, {LOG_ERR, "shop::order : two"}});
    CHECK(sinks.counts(1).written == 2);
}

TEST_CASE("the system's log takes messages, whether there is one or not", "[sinks][syslog]")
{
    syslogtracestream sink("tolvane_unit_tests");
    CHECK_NOTHROW(sink.log(lineOf(tl_debug, L"a test's line")));
}

TEST_CASE("people are told of the system's log by its name", "[sinks][syslog]")
{
    quietdispatcher quiet;
    quiet.dispatcher.output(syslogtracestream());

    CHECK(std::string(quiet.dispatcher.describe().narrow()) ==
          "system log: *=always; 0 written, 0 lost\n");
}
