#include <tolvane/filetracestream.h>
#include <tolvane/recorderfiletracestream.h>
#include <tolvane/recordertracestream.h>

#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/memoryfiles.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/recorderfile.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/scriptedclock.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

/// What a child of this process returns.
template <class child_t>
int inChild(const child_t& child)
{
    constexpr unsigned int longestLife = 30; // seconds
    const pid_t process = fork();
    if (process == 0) {
        alarm(longestLife);
        _exit(child());
    }
    int status = -1;
    waitpid(process, &status, 0);
    return status;
}

} // namespace

TEST_CASE("the child of a fork keeps the name of the thread that forked", "[trace][fork]")
{
    quietdispatcher quiet;
    quiet.dispatcher.nameThread(L"forking");
    quiet.queue(tl_error, L"parent's");

    const int status = inChild([&] {
        quiet.dispatcher.afterForkInChild(quiet.dispatcher.beforeFork());
        quiet.queue(tl_error, L"own");
        const std::vector<formattedline> lines = traceimpltest::records(quiet.dispatcher);
        return lines.size() == 1 && lines[0].threadName() == L"forking" ? 0 : 1;
    });
    quiet.dispatcher.nameThread(L"");

    CHECK(status == 0);
}

TEST_CASE("what another thread may have left half changed is not looked at in a forked process",
          "[trace][fork]")
{
    quietdispatcher quiet;
    quiet.queue(3, tl_error, L"parent's");
    traceimpltest::drain(quiet.dispatcher);
    quiet.queue(2, tl_error, L"parent's");
    const stage* const staged = threadstage::get();

    const int status = inChild([&] {
        quiet.dispatcher.afterForkInChild(traceimpl::forklocks());
        const bool isUntouched = staged->pending() == 2 && staged->dispatcher() != 0;
        const bool isEmpty = traceimpltest::waiting(quiet.dispatcher) == 0;
        quiet.queue(tl_error, L"own");
        const bool isOwn = quiet.texts() == std::vector<std::wstring>{L"own"};
        return isUntouched && isEmpty && isOwn ? 0 : 1;
    });

    CHECK(status == 0);
    CHECK(quiet.texts().size() == 5);
}

TEST_CASE(
    "a forked process that found locks taken follows no settings, and then those it is told to",
    "[trace][fork][settings]")
{
    quietdispatcher quiet;
    memoryfiles files;
    scriptedclock clock;
    files.files["settings"] = "*=info > file:a.log";
    quiet.dispatcher.followSettings("settings");

    const int status = inChild([&] {
        quiet.dispatcher.afterForkInChild(traceimpl::forklocks());
        files.reads = 0;
        tolvane::Clock::current().sleep(5000);
        traceimpltest::lookAtSettings(quiet.dispatcher);
        const bool isLeft = files.reads == 0;
        files.files["own"] = "*=debug > file:b.log";
        const bool isRead = quiet.dispatcher.followSettings("own");
        const tracestream* const sink =
            traceimpltest::sink(quiet.dispatcher, filetracestream("b.log").id());
        return isLeft && isRead && sink && sink->level(quiet.function) == tl_debug ? 0 : 1;
    });

    CHECK(status == 0);
}

TEST_CASE("a recorder in a forked process has none of its parent's lines",
          "[trace][fork][recorder]")
{
    const quietdispatcher quiet;
    const remembersink sink;
    recordertracestream recorder(10, sink);
    recorder.log(formattedlinetest::text(tl_info, quiet.function, L"parent's"));

    const int status = inChild([&] {
        recorder.log(formattedlinetest::text(tl_info, quiet.function, L"a"));
        recorder.log(formattedlinetest::text(tl_error, quiet.function, L"b"));
        return sink.bodies() == std::vector<std::wstring>{L"a", L"b"} ? 0 : 1;
    });

    CHECK(status == 0);
    recorder.log(formattedlinetest::text(tl_error, quiet.function, L"c"));
    CHECK(sink.bodies() == std::vector<std::wstring>{L"parent's", L"c"});
}

TEST_CASE("a forked process leaves its parent's recorder file alone", "[trace][fork][recorder]")
{
    const quietdispatcher quiet;
    const temporaryfolder folder;
    recorderfiletracestream recorder(folder.path() / "a.rec", 4);
    const auto log = [&](const wchar_t* text) {
        recorder.log(formattedlinetest::text(tl_info, quiet.function, text));
    };
    log(L"parent's");

    const int status = inChild([&] {
        try {
            log(L"child's");
            return 1;
        } catch (const std::exception&) {
            return 0;
        }
    });

    CHECK(status == 0);
    log(L"parent's");
    const auto lines = linesOfRecorderFile(folder.read("a.rec"));
    REQUIRE(lines);
    CHECK(lines->size() == 2);
    CHECK(folder.read("a.rec").find("child's") == std::string::npos);
}

TEST_CASE("no two processes have one recorder file", "[trace][fork][recorder]")
{
    const quietdispatcher quiet;
    const temporaryfolder folder;
    recorderfiletracestream recorder(folder.path() / "a.rec", 4);
    recorder.log(formattedlinetest::text(tl_info, quiet.function, L"parent's"));

    const int status = inChild([&] {
        quietdispatcher own;
        own.dispatcher.output(recorderfiletracestream(folder.path() / "a.rec", 4))
            .setLevel(tl_info);
        own.queue(tl_info, L"child's");
        own.dispatcher.flushQueue(0);
        return own.dispatcher.lost(trace::destination) == 1 ? 0 : 1;
    });

    CHECK(status == 0);
    CHECK(linesOfRecorderFile(folder.read("a.rec"))->size() == 1);
}

TEST_CASE("a forked process that lives on does not keep its parent's recorder file from others",
          "[trace][fork][recorder]")
{
    const temporaryfolder folder;
    quietdispatcher quiet;
    quietdispatcher next;
    const recorderfiletracestream recorder(folder.path() / "a.rec", 4);
    quiet.dispatcher.output(recorder).setLevel(tl_info);
    next.dispatcher.output(recorder).setLevel(tl_info);
    quiet.queue(tl_info, L"parent's");
    quiet.dispatcher.flushQueue(0);
    int untilEnd[2];
    int alive[2];
    REQUIRE(pipe(untilEnd) == 0);
    REQUIRE(pipe(alive) == 0);
    char byte = 0;
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        close(untilEnd[1]);
        _exit(write(alive[1], "a", 1) == 1 && read(untilEnd[0], &byte, 1) == 0 ? 0 : 1);
    }
    REQUIRE(read(alive[0], &byte, 1) == 1);

    quiet.dispatcher.remove(recorder);
    next.queue(tl_info, L"next");
    next.dispatcher.flushQueue(0);
    for (const int end : {untilEnd[0], untilEnd[1], alive[0], alive[1]}) {
        close(end);
    }
    int status = -1;
    waitpid(child, &status, 0);

    CHECK(status == 0);
    CHECK(next.dispatcher.lost(trace::destination) == 0);
    CHECK(linesOfRecorderFile(folder.read("a.rec"))->size() == 2);
}
