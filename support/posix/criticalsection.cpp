#include "support/criticalsection.h"

#include <pthread.h>

#include <new>

namespace tolvane {

namespace {

pthread_mutex_t* native(unsigned char* resource) noexcept
{
    return std::launder(reinterpret_cast<pthread_mutex_t*>(resource));
}

} // namespace

CriticalSection::CriticalSection()
{
    static_assert(sizeof(pthread_mutex_t) <= resourceSize);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (m_resource) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection()
{
    pthread_mutex_destroy(native(m_resource));
}

/// The locks are held for fractions of a microsecond, most of the time, so that trying again beats
/// sleeping.
void CriticalSection::enter() noexcept
{
    constexpr int triesBeforeSleep = 300;
    for (int tries = 0; tries < triesBeforeSleep; ++tries) {
        if (tryEnter()) {
            return;
        }
        __builtin_ia32_pause();
    }
    pthread_mutex_lock(native(m_resource));
}

bool CriticalSection::tryEnter() noexcept
{
    return pthread_mutex_trylock(native(m_resource)) == 0;
}

void CriticalSection::leave() noexcept
{
    pthread_mutex_unlock(native(m_resource));
}

} // namespace tolvane
