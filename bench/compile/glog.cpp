#include <glog/logging.h>

void work()
{
    LOG(INFO) << "loaded item " << 42;
}
