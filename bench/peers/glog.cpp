#include "bench/peers/library.h"

#include <glog/logging.h>

namespace bench {

namespace {

void work()
{
    VLOG(1) << "starting";
    VLOG(1) << "exiting";
}

} // namespace

const std::size_t headerLines = 4;

/// It has no thread of its own: lines go into a buffered file at once.
void openLog(const std::string& file, detail level)
{
    FLAGS_timestamp_in_logfile_name = false;
    FLAGS_v = level == detail::scopes ? 1 : 0;
    google::InitGoogleLogging("bench");
    google::SetLogDestination(google::GLOG_INFO, file.c_str());
}

void lines(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int number) { LOG(INFO) << "loaded item " << number; });
}

void suppressedLines(int count)
{
    repeat(count, nullptr, [](int number) { VLOG(1) << "loaded item " << number; });
}

void scopes(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int) { work(); });
}

void closeLog()
{
    google::ShutdownGoogleLogging();
}

std::optional<unsigned long long> countedAsLost()
{
    return std::nullopt;
}

} // namespace bench
