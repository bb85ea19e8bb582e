#include "tests/helpers/wholethread.h"

#include "support/windows/platform.h"

void* wholethread::self()
{
    return OpenThread(SYNCHRONIZE, FALSE, GetCurrentThreadId());
}

void wholethread::waitForEnd(void* thread)
{
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}
