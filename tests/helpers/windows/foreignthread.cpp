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

bool run(void (*function)(void* argument), void* argument, std::size_t stackSize)
{
    Start start{function, argument};
    const HANDLE thread =
        CreateThread(nullptr, stackSize, enter, &start, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (!thread) {
        return false;
    }
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return true;
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
