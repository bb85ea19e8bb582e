// A fault that nobody catches: the report names the functions that every thread was in, on standard
// error and in the file. The library then ends the faulting thread alone; this program ends as a
// whole, by a terminate handler of its own.

#include <tolvane/tolvane.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <thread>

namespace plant {

std::atomic<int> busy{0};

void work()
{
    ++busy;
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void heat()
{
    TOLVANE_SCOPE(log);
    work();
}

void pump()
{
    TOLVANE_SCOPE(log);
    work();
}

void cool()
{
    TOLVANE_SCOPE(log);
    pump();
}

int readGauge(const volatile int* gauge)
{
    TOLVANE_SCOPE(log);
    return *gauge;
}

void control()
{
    TOLVANE_SCOPE(log);
    while (busy < 2) {
        std::this_thread::yield();
    }
    readGauge(nullptr);
}

} // namespace plant

namespace {

[[noreturn]] void reportAndEnd()
{
    stacktrace::reportAndEnd("The control program failed", 3);
}

} // namespace

int main()
{
    trace::output(filetracestream("fault.log")).setLevel(tl_error);
    std::set_terminate(reportAndEnd);
    std::thread(plant::heat).detach();
    std::thread(plant::cool).detach();
    plant::control();
}
