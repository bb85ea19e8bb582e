#include "support/event.h"

#include "support/clock.h"

#include <new>

namespace tolvane {

void UntypedEvent::Impl::wait(bool timed, bool* timedOut, unsigned int timeout)
{
    ++m_waiting;
    unlock();
    *timedOut = !m_event.wait(timed, timeout);
    m_mutex.impl()
        ->lock(); // not lock(), which would wait for this very waiter to use its signal up
    if (m_pending != 0) {
        --m_pending;
    }
    if (m_waiting != 0) {
        --m_waiting;
    }
    if (m_pending != 0) {
        m_event.set(); // the next waiter's
    }
}

void UntypedEvent::Impl::lock()
{
    while (m_waiting != 0 && m_pending != 0) {
        Clock::current().sleep(1);
    }
    m_mutex.impl()->lock();
}

void UntypedEvent::Impl::unlock()
{
    m_mutex.impl()->unlock();
}

void UntypedEvent::Impl::signal()
{
    lock();
    ++m_pending;
    unlock();
    m_event.set();
}

void UntypedEvent::Impl::signalLocked()
{
    ++m_pending;
    unlock();
    m_event.set();
    lock();
}

UntypedEvent::UntypedEvent() : m_impl(new Impl) {}

/// In its place: nothing of it can be given back.
void UntypedEvent::renew() noexcept
{
    new (m_impl) Impl;
}

UntypedEvent::~UntypedEvent()
{
    delete m_impl;
}

} // namespace tolvane
