#include <spdlog/spdlog.h>

void work()
{
    SPDLOG_INFO("loaded item {}", 42);
}
