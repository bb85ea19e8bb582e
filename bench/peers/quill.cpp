#include "bench/peers/library.h"

#include <quill/Backend.h>
#include <quill/Frontend.h>
#include <quill/LogMacros.h>
#include <quill/Logger.h>
#include <quill/sinks/FileSink.h>

#include <iostream>

namespace bench {

namespace {

quill::Logger* logger = nullptr;

/// That a queue has grown is no news here.
void printUnlessInformation(const std::string& message)
{
    if (message.find("Quill INFO") == std::string::npos) {
        std::cerr << message << '\n';
    }
}

void work()
{
    LOG_TRACE_L1(logger, "starting");
    LOG_TRACE_L1(logger, "exiting");
}

} // namespace

const std::size_t headerLines = 0;

/// What its guide begins with: a queue for each thread that grows as it must, time stamps from the
/// processor's counter, and a backend that sleeps for 100 microseconds when it finds nothing.
void openLog(const std::string& file, detail level)
{
    quill::BackendOptions options;
    options.error_notifier = printUnlessInformation;
    quill::Backend::start(options);
    quill::FileSinkConfig config;
    config.set_open_mode('w');
    logger = quill::Frontend::create_or_get_logger(
        "bench", quill::Frontend::create_or_get_sink<quill::FileSink>(file, config),
        quill::PatternFormatterOptions(
            "[%(time)]:%(thread_id):[%(log_level_short_code)]: bench::lines : %(message)",
            "%Y-%m-%d %H:%M:%S.%Qms"));
    logger->set_log_level(level == detail::scopes ? quill::LogLevel::TraceL1
                                                  : quill::LogLevel::Info);
}

void lines(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int number) { LOG_INFO(logger, "loaded item {}", number); });
}

void suppressedLines(int count)
{
    repeat(count, nullptr, [](int number) { LOG_DEBUG(logger, "loaded item {}", number); });
}

void scopes(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int) { work(); });
}

/// The first waits until every thread's lines are in the file, the second for the thread.
void closeLog()
{
    logger->flush_log();
    quill::Backend::stop();
}

std::optional<unsigned long long> countedAsLost()
{
    return std::nullopt;
}

} // namespace bench
