#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

void work()
{
    LOG4CPLUS_INFO(log4cplus::Logger::getRoot(), "loaded item " << 42);
}
