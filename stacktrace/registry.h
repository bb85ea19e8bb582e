#pragma once

#include <tolvane/stacktrace.h>

#include "stacktrace/idtable.h"

#include <atomic>
#include <cstddef>
#include <list>

/// One thread's stack in the list that is walked without a lock. Entries are never removed and
/// never move; when a thread ends, another one may get its entry.
struct stacktrace::Entry : stacktrace
{
    Entry* next = nullptr;                 ///< does not change once the entry is in the list
    Entry* nextIdle = nullptr;             ///< of those that no thread has
    std::atomic<unsigned int> threadId{0}; ///< 0 while no thread has it
};

/// Every thread's stack, by the thread's number; of threads that have ended the number alone, which
/// takes 4 bytes in a table that is about half full.
///
/// An idle entry holds its first block of slots and nothing more, and there are at most as many
/// entries as threads have been here at a time. But a thread that does not end in order, or with
/// functions on its stack, keeps its entry, for its stack to be shown and for a later thread of
/// that number.
///
/// Caller holds stacktrace::m_staticmutex(), if nothing else is said.
struct stacktrace::Registry
{
public:
    Registry() = default;
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    /// Keeps all blocks of slots as long as someone reads. Who never comes to the end, since its
    /// thread was ended or stayed behind in the parent of a forked process, keeps them for ever.
    class Reading
    {
    public:
        explicit Reading(const Registry& registry) noexcept : m_readers(registry.m_readers)
        {
            m_readers.fetch_add(1, std::memory_order_acquire);
        }

        ~Reading() { m_readers.fetch_sub(1, std::memory_order_release); }

        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;

    private:
        std::atomic<std::size_t>& m_readers;
    };

    /// Makes the one of the process, which hears of threads' ends and is never destroyed.
    static Registry* make();

    /// The one of the process; null when no thread has been here yet. Needs no lock.
    static const Registry* made() noexcept;

    /// Finds a thread's entry, or makes it. Throws when memory is out, and has changed nothing
    /// then.
    Entry& enter(unsigned int threadId);

    /// All threads but the calling one are gone, which has this number now and its stack, if any:
    /// the process was forked.
    void keepOnly(Entry* mine, unsigned int threadId) noexcept;

    /// A thread ends. Its entry is for others now, unless functions are on its stack, or memory is
    /// out to remember the thread's number.
    void leave(Entry& entry) noexcept;

    /// Appends a stack for each thread that has ever been here: an empty one for those whose number
    /// alone is known. Needs no lock. Threads that come meanwhile may be left out, and one that
    /// comes again be there twice instead of a thread that has ended.
    void copyTo(std::list<stacktrace>& traces) const;

    /// Calls visitor with the stack of each thread that is here, which changes meanwhile. Needs no
    /// lock, and no memory.
    template <class visitor_t>
    void visit(const visitor_t& visitor) const
    {
        const Reading reading(*this);
        for (const Entry* entry = m_first.load(std::memory_order_acquire); entry;
             entry = entry->next) {
            if (entry->threadId.load(std::memory_order_acquire) != 0) {
                visitor(*entry);
            }
        }
    }

    /// How many threads there have been, those with the number of an earlier one not counted again.
    std::size_t size() const noexcept { return m_size.load(std::memory_order_acquire); }

    /// Null when no thread with that number has been here, or the number alone is known.
    Entry* find(unsigned int threadId) const noexcept;

    /// Whether a thread with that number has been here.
    bool knows(unsigned int threadId) const noexcept;

private:
    struct IdOfNumber
    {
        unsigned int operator()(unsigned int threadId) const noexcept { return threadId; }
    };

    struct IdOfEntry
    {
        unsigned int operator()(const Entry* entry) const noexcept
        {
            return entry->threadId.load(std::memory_order_relaxed); // changed under the lock alone
        }
    };

    static std::atomic<const Registry*>& published() noexcept;
    static void threadEnded(void* stack) noexcept;

    Entry& unused();
    void freeGrown(Entry& entry) noexcept;

    idtable<Entry*, IdOfEntry> m_entries;          ///< those that a thread has
    idtable<unsigned int, IdOfNumber> m_ended;     ///< of threads that have no entry any more
    Entry* m_idle = nullptr;                       ///< entries that no thread has
    std::atomic<Entry*> m_first{nullptr};          ///< of all entries
    std::atomic<std::size_t> m_size{0};            ///< m_entries and m_ended together; only grows
    mutable std::atomic<std::size_t> m_readers{0}; ///< who may hold a block that is not in use
};
