#include "bench/peers/completion.h"
#include "bench/peers/library.h"

#include <tolvane/tolvane.h>

#include <memory>

namespace bench {

namespace {

std::unique_ptr<filetracestream> sink;

void work()
{
    TOLVANE_SCOPE(log);
}

} // namespace

const std::size_t headerLines = 0;

void openLog(const std::string& file, detail level)
{
    sink = std::make_unique<filetracestream>(tolvane::string(file.c_str()));
    trace::output(*sink);
    trace::setLevel(level == detail::scopes ? tl_trace : tl_info);
}

void lines(int count, clock::time_point* stamps)
{
    TOLVANE_SCOPE(log);
    repeat(count, stamps,
           [&](int number) { TOLVANE_LOG(log, tl_info) << "loaded item " << number; });
}

void suppressedLines(int count)
{
    TOLVANE_SCOPE(log);
    repeat(count, nullptr,
           [&](int number) { TOLVANE_LOG(log, tl_debug) << "loaded item " << number; });
}

void scopes(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int) { work(); });
}

void closeLog()
{
    waitForLines();
    trace::remove(*sink);
}

std::optional<unsigned long long> countedAsLost()
{
    return lostLines();
}

} // namespace bench
