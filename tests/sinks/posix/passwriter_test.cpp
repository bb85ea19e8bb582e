#include "sinks/passwriter.h"

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>

#include "tests/helpers/probesink.h"
#include "tests/helpers/sinkset.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <pthread.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

struct cancelledpass
{
    sinkset sinks;
    linebatch batch;
    bool isWritten = false;
};

/// Has its own cancellation pending when it writes.
void* writeWhileCancelled(void* argument)
{
    auto& pass = *static_cast<cancelledpass*>(argument);
    pthread_cancel(pthread_self());
    pass.sinks.write(pass.batch);
    pass.isWritten = true;
    pthread_testcancel();
    return argument;
}

} // namespace

TEST_CASE("a link and the file that it leads to get their lines in turn", "[sinks]")
{
    const hashedfunction function("void f()");
    const temporaryfolder folder;
    std::filesystem::create_symlink("trace.log", folder.file("link.log"));
    const bool existed = GENERATE(false, true);
    CAPTURE(existed);
    if (existed) {
        std::ofstream(folder.file("trace.log"));
    }
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<filetracestream>(tl_info, folder.file("link.log").c_str());
    linebatch batch;
    batch.add(tl_info, function, L"one");
    batch.add(tl_info, function, L"two");

    sinks.write(batch);

    const std::string bytes = folder.read("trace.log");
    CHECK(bytes.find("one", bytes.find("one") + 1) < bytes.find("two"));
    CHECK(sinks.counts(1).written == 2);
    CHECK(sinks.counts(2).written == 2);
}

TEST_CASE("a thread that is to be cancelled writes its pass first", "[sinks]")
{
    const hashedfunction function("void f()");
    cancelledpass pass;
    pass.batch.add(tl_info, function, L"one");
    pass.batch.add(tl_info, function, L"two");
    auto told = std::make_shared<probesink::report>();
    told->onLog = [](const std::wstring&) { pthread_testcancel(); };
    pass.sinks.add<probesink>(tl_info, 1ULL, told);

    pthread_t thread;
    REQUIRE(pthread_create(&thread, nullptr, writeWhileCancelled, &pass) == 0);
    void* result = nullptr;
    REQUIRE(pthread_join(thread, &result) == 0);

    CHECK(result == PTHREAD_CANCELED);
    CHECK(pass.isWritten);
    CHECK(pass.sinks.counts(1).written == 2);
}
