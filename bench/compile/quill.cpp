#include <quill/LogMacros.h>
#include <quill/Logger.h>

extern quill::Logger* logger;

void work()
{
    LOG_INFO(logger, "loaded item {}", 42);
}
