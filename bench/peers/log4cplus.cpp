#include "bench/peers/library.h"

#include <log4cplus/asyncappender.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <memory>

namespace bench {

namespace {

constexpr unsigned int queueSize = 8192; ///< a full queue makes the caller wait

std::unique_ptr<log4cplus::Initializer> library;
log4cplus::Logger logger;

void work()
{
    LOG4CPLUS_TRACE_METHOD(logger, LOG4CPLUS_TEXT("work"));
}

} // namespace

const std::size_t headerLines = 0;

void openLog(const std::string& file, detail level)
{
    library = std::make_unique<log4cplus::Initializer>();
    const log4cplus::SharedAppenderPtr appender(new log4cplus::FileAppender(
        LOG4CPLUS_STRING_TO_TSTRING(file), std::ios_base::trunc, false));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>(
        LOG4CPLUS_TEXT("[%D{%Y-%m-%d %H:%M:%S.%q}]:%t:[%p]: bench::lines : %m%n")));
    logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("bench"));
    logger.setAdditivity(false);
    logger.addAppender(
        log4cplus::SharedAppenderPtr(new log4cplus::AsyncAppender(appender, queueSize)));
    logger.setLogLevel(level == detail::scopes ? log4cplus::TRACE_LOG_LEVEL
                                               : log4cplus::INFO_LOG_LEVEL);
}

void lines(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int number) { LOG4CPLUS_INFO(logger, "loaded item " << number); });
}

void suppressedLines(int count)
{
    repeat(count, nullptr, [](int number) { LOG4CPLUS_DEBUG(logger, "loaded item " << number); });
}

void scopes(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int) { work(); });
}

void closeLog()
{
    log4cplus::Logger::shutdown();
    library.reset();
}

std::optional<unsigned long long> countedAsLost()
{
    return std::nullopt;
}

} // namespace bench
