#include "sinks/passwriter.h"

#include <tolvane/hashedfunction.h>

#include "tests/helpers/probesink.h"
#include "tests/helpers/sinkset.h"

#include <catch2/catch.hpp>

#include <pthread.h>

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
