#include "bench/residentsize.h"

#include <unistd.h>

#include <fstream>

long long bench::residentSize()
{
    std::ifstream pages("/proc/self/statm");
    long long total = 0;
    long long resident = 0;
    pages >> total >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}
