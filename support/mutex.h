#pragma once

#include <tolvane/noncopyable.h>

#include "support/criticalsection.h"

#include <atomic>

namespace tolvane {

/// A recursive lock. Taken only through the scoped locks below, which do nothing once it is
/// destroyed.
class Mutex : public noncopyable_::noncopyable
{
public:
    /// What a lock can do; the scoped locks reach it through impl().
    class MutexImpl
    {
    public:
        /// Tries until the time is up, with at least one pause of a millisecond.
        /// \param timeout  in ticks of 100 nanoseconds.
        /// \return whether the lock was taken.
        virtual bool timedLock(unsigned long long timeout) = 0;

        /// Blocks until taken.
        virtual void lock() = 0;

        virtual void unlock() = 0;

        virtual ~MutexImpl() = default;
    };

    /// The lock over the platform's critical section.
    class Impl final : public MutexImpl
    {
    public:
        bool timedLock(unsigned long long timeout) override;
        void lock() override { m_section.enter(); }
        void unlock() override { m_section.leave(); }

        /// Takes it when it is free or already this thread's. Never blocks.
        bool tryLock() noexcept { return m_section.tryEnter(); }

        bool isMine() const noexcept { return m_section.isMine(); }

        /// See CriticalSection::adopt().
        void adopt() noexcept { m_section.adopt(); }

    private:
        CriticalSection m_section;
    };

    Mutex() : m_inUse(&m_embedded) {}
    ~Mutex() override { m_inUse.store(nullptr, std::memory_order_relaxed); }

    /// Null after destruction.
    Impl* impl() const noexcept { return m_inUse.load(std::memory_order_relaxed); }

private:
    Impl m_embedded;
    std::atomic<Impl*> m_inUse; ///< atomic, or the compiler would not store into what ends
};

/// Holds a lockable object for a block: anything with lock() and unlock().
template <class lockable_t>
class Auto_Lock : private noncopyable_::noncopyable
{
public:
    /// Null is ignored.
    explicit Auto_Lock(lockable_t* lockable) : m_locked(lockable)
    {
        if (m_locked) {
            m_locked->lock();
        }
    }

    ~Auto_Lock() override
    {
        if (m_locked) {
            m_locked->unlock();
        }
    }

private:
    lockable_t* m_locked;
};

/// Holds a mutex for a block; does nothing for null or a destroyed mutex.
template <>
class Auto_Lock<Mutex> : private noncopyable_::noncopyable
{
public:
    explicit Auto_Lock(Mutex* mutex) : m_locked(mutex)
    {
        if (m_locked && m_locked->impl()) {
            m_locked->impl()->lock();
        }
    }

    ~Auto_Lock() override
    {
        if (m_locked && m_locked->impl()) {
            m_locked->impl()->unlock();
        }
    }

private:
    Mutex* m_locked;
};

/// Auto_Lock for a mutex that exists.
class Auto_Mutex : public Auto_Lock<Mutex>
{
public:
    explicit Auto_Mutex(Mutex& mutex) : Auto_Lock<Mutex>(&mutex) {}
};

/// Holds a mutex for a block when it can be had in time.
class Auto_TimedMutex : private noncopyable_::noncopyable
{
public:
    /// \param timeout  in ticks of 100 nanoseconds.
    Auto_TimedMutex(Mutex& mutex, unsigned long long timeout)
        : m_locked(mutex.impl() && mutex.impl()->timedLock(timeout) ? &mutex : nullptr)
    {}

    ~Auto_TimedMutex() override
    {
        if (m_locked) {
            m_locked->impl()->unlock();
        }
    }

    bool owns() const noexcept { return m_locked != nullptr; }

private:
    Mutex* m_locked; ///< null when it was not taken
};

} // namespace tolvane

/// The type of the dispatcher's own lock.
class mutex : public tolvane::Mutex
{};

/// Holds the dispatcher's lock for a block.
class lockobject : private tolvane::nonassignable_::nonassignable
{
public:
    explicit lockobject(tolvane::Mutex& mutex) : m_mutex(&mutex)
    {
        if (m_mutex->impl()) {
            m_mutex->impl()->lock();
        }
    }

    ~lockobject() override
    {
        if (m_mutex->impl()) {
            m_mutex->impl()->unlock();
        }
    }

    lockobject(const lockobject&) = delete;
    lockobject& operator=(const lockobject&) = delete;

private:
    tolvane::Mutex* m_mutex; ///< never null
};
