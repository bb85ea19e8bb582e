#include "trace/instancelock.h"

// Not to be compiled into the many places that take the lock.

instancelock::instancelock(tolvane::Mutex& mutex) : m_lock(mutex) {}

instancelock::~instancelock() = default;
