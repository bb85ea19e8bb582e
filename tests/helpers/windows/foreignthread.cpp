#include "tests/helpers/foreignthread.h"

#include "support/windows/platform.h"

namespace foreignthread {

namespace {

struct Start
{
    void (*function)(void*);
    void* argument;
};

DWORD WINAPI enter(void* start)
{
    const auto* const what = static_cast<const Start*>(start);
    what->function(what->argument);
    return 0;
}

} // namespace

void run(void (*function)(void* argument), void* argument)
{
    Start start{function, argument};
    const HANDLE thread = CreateThread(nullptr, 0, enter, &start, 0, nullptr);
    if (thread) {
        WaitForSingleObject(thread, INFINITE);
        CloseHandle(thread);
    }
}

bool isEndToldAgain()
{
    return false;
}

bool isEndToldLast()
{
    return false;
}

} // namespace foreignthread
