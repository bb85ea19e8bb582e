#pragma once

#include "support/autoresetevent.h"
#include "support/mutex.h"

#include <atomic>
#include <vector>

namespace tolvane {

/// An event that counts its signals, so that none is lost between a waiter's unlock and its wait.
///
/// Lock it through Auto_Lock<UntypedEvent::UntypedEventImpl>(event.impl()) around wait() and
/// signalLocked().
class UntypedEvent
{
public:
    class UntypedEventImpl
    {
    public:
        /// Releases the event's lock, waits for a signal, takes the lock again and uses the signal
        /// up. Caller holds the event's lock.
        ///
        /// \param timed     false: waits without limit.
        /// \param timedOut  receives whether the time was up. One pending signal is used up in that
        ///                  case too.
        /// \param timeout   in milliseconds.
        virtual void wait(bool timed, bool* timedOut, unsigned int timeout) = 0;

        /// Waits until woken waiters have used their signals up, then takes the event's lock.
        virtual void lock() = 0;

        virtual void unlock() = 0;

        /// Lets one waiter through, the next one when nobody waits.
        virtual void signal() = 0;

        /// The same for a caller that holds the event's lock; it is released meanwhile.
        virtual void signalLocked() { signal(); }

        virtual ~UntypedEventImpl() = default;
    };

    class Impl : public UntypedEventImpl
    {
    public:
        void wait(bool timed, bool* timedOut, unsigned int timeout) override;
        void lock() override;
        void unlock() override;
        void signal() override;
        void signalLocked() override;

        /// Appends the event's handle, for a wait on several events.
        virtual void addHandle(std::vector<void*>& handles) { handles.push_back(m_event.handle()); }

    private:
        friend struct eventtest;

        Mutex m_mutex;
        // Changed under m_mutex; lock() polls them without it, only to decide how long to yield.
        std::atomic<unsigned long long> m_waiting{0}; ///< threads inside wait()
        std::atomic<unsigned long long> m_pending{0}; ///< signals that no waiter has used up
        AutoResetEvent m_event;
    };

    UntypedEvent();
    virtual ~UntypedEvent();

    UntypedEvent(const UntypedEvent&) = delete;
    UntypedEvent& operator=(const UntypedEvent&) = delete;

    UntypedEventImpl* impl() const noexcept { return m_impl; }

    /// Makes it as new, whatever threads that are gone were doing with it: in a forked process.
    void renew() noexcept;

private:
    Impl* m_impl; ///< owned
};

/// An event with a value, which is read and written only while the event is locked.
template <class value_t>
class Event : public UntypedEvent
{
public:
    value_t value{};
};

} // namespace tolvane
