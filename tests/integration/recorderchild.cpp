// A program that is killed while it traces into a recorder's file, whose name and size in KiB are
// its arguments.

#include "tests/helpers/killself.h"

#include <tolvane/tolvane.h>

#include <atomic>
#include <cstdlib>
#include <thread>

namespace {

void work(std::atomic<int>& done)
{
    TOLVANE_SCOPE(log);
    for (;;) {
        TOLVANE_LOG(log, tl_info) << "line " << ++done;
    }
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        return 1;
    }
    const auto kib = static_cast<unsigned long long>(std::atoll(arguments[2]));
    trace::output(recorderfiletracestream(arguments[1], kib)).setLevel(tl_info);
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "the first";
        trace::sync(10000); // it is passed on
    }
    std::atomic<int> done{0};
    std::thread worker(work, std::ref(done));
    constexpr int enoughToWrap = 20000;
    while (done < enoughToWrap) {
        std::this_thread::yield();
    }
    killSelf();
}
