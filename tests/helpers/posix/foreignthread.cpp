#include "tests/helpers/foreignthread.h"

#include <pthread.h>

namespace foreignthread {

namespace {

struct Start
{
    void (*function)(void*);
    void* argument;
};

void* enter(void* start)
{
    const auto* const what = static_cast<const Start*>(start);
    what->function(what->argument);
    return nullptr;
}

} // namespace

bool run(void (*function)(void* argument), void* argument, std::size_t stackSize)
{
    Start start{function, argument};
    pthread_t thread = {};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackSize != 0) {
        pthread_attr_setstacksize(&attributes, stackSize);
    }
    const bool isStarted = pthread_create(&thread, &attributes, enter, &start) == 0;
    pthread_attr_destroy(&attributes);
    if (isStarted) {
        pthread_join(thread, nullptr);
    }
    return isStarted;
}

bool isEndToldAgain()
{
    return true;
}

bool isEndToldLast()
{
    return true;
}

} // namespace foreignthread
