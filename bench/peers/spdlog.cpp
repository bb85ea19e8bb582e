#include "bench/peers/library.h"

#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>

namespace bench {

namespace {

constexpr std::size_t queueSize = 8192; ///< the manual's; a full queue makes the caller wait

std::shared_ptr<spdlog::logger> logger;

void work()
{
    logger->trace("starting");
    logger->trace("exiting");
}

} // namespace

const std::size_t headerLines = 0;

void openLog(const std::string& file, detail level)
{
    spdlog::init_thread_pool(queueSize, 1);
    logger = spdlog::basic_logger_mt<spdlog::async_factory>("bench", file);
    logger->set_pattern("[%Y-%m-%d %H:%M:%S.%e]:%t:[%L]: bench::lines : %v");
    logger->set_level(level == detail::scopes ? spdlog::level::trace : spdlog::level::info);
}

void lines(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int number) { logger->info("loaded item {}", number); });
}

void suppressedLines(int count)
{
    repeat(count, nullptr, [](int number) { logger->debug("loaded item {}", number); });
}

void scopes(int count, clock::time_point* stamps)
{
    repeat(count, stamps, [](int) { work(); });
}

void closeLog()
{
    logger.reset();
    spdlog::shutdown();
}

std::optional<unsigned long long> countedAsLost()
{
    return std::nullopt;
}

} // namespace bench
