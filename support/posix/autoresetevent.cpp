#include "support/autoresetevent.h"

#include <pthread.h>
#include <time.h>

#include <new>

namespace tolvane {

namespace {

struct Native
{
    pthread_mutex_t mutex;
    pthread_cond_t condition;
    bool set;
};

Native& native(unsigned char* resource) noexcept
{
    return *std::launder(reinterpret_cast<Native*>(resource));
}

timespec deadline(unsigned int milliseconds) noexcept
{
    constexpr long nanosecondsPerSecond = 1000000000;
    timespec until = {};
    clock_gettime(CLOCK_MONOTONIC, &until);
    until.tv_sec += milliseconds / 1000;
    until.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000;
    if (until.tv_nsec >= nanosecondsPerSecond) {
        until.tv_nsec -= nanosecondsPerSecond;
        ++until.tv_sec;
    }
    return until;
}

} // namespace

AutoResetEvent::AutoResetEvent()
{
    static_assert(sizeof(Native) <= resourceSize);
    auto* const event = new (m_resource) Native;
    pthread_mutex_init(&event->mutex, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes,
                              CLOCK_MONOTONIC); // a clock that steps must not stretch a wait
    pthread_cond_init(&event->condition, &attributes);
    pthread_condattr_destroy(&attributes);
    event->set = false;
}

AutoResetEvent::~AutoResetEvent()
{
    pthread_cond_destroy(&native(m_resource).condition);
    pthread_mutex_destroy(&native(m_resource).mutex);
}

void AutoResetEvent::set() noexcept
{
    Native& event = native(m_resource);
    pthread_mutex_lock(&event.mutex);
    event.set = true;
    pthread_cond_signal(&event.condition);
    pthread_mutex_unlock(&event.mutex);
}

bool AutoResetEvent::wait(bool timed, unsigned int milliseconds) noexcept
{
    Native& event = native(m_resource);
    const timespec until = deadline(milliseconds);
    pthread_mutex_lock(&event.mutex);
    int result = 0;
    while (!event.set && result == 0) {
        result = timed ? pthread_cond_timedwait(&event.condition, &event.mutex, &until)
                       : pthread_cond_wait(&event.condition, &event.mutex);
    }
    const bool wasSet = event.set;
    event.set = false;
    pthread_mutex_unlock(&event.mutex);
    return wasSet;
}

void* AutoResetEvent::handle() noexcept
{
    return this;
}

} // namespace tolvane
