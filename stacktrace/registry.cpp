#include "stacktrace/registry.h"

#include "stacktrace/callstack.h"
#include "stacktrace/threadstacks.h"
#include "support/mutex.h"
#include "support/threadid.h"
#include "support/threadslot.h"
#include "trace/insidelibrary.h"

#include <memory>
#include <new>

// Readers take no lock, so an entry may be given to another thread while its stack is copied. The
// copy then holds functions of both, which nobody could tell from a copy made a moment earlier or
// later; its blocks stay where they are until no reader is left.

stacktrace::Registry* stacktrace::Registry::make()
{
    auto* const registry = new Registry;
    tolvane::threadslot::whenThreadEnds(tolvane::threadslot::callStack, &threadEnded);
    published().store(registry, std::memory_order_release);
    return registry;
}

const stacktrace::Registry* stacktrace::Registry::made() noexcept
{
    return published().load(std::memory_order_acquire);
}

std::atomic<const stacktrace::Registry*>& stacktrace::Registry::published() noexcept
{
    static std::atomic<const Registry*> registry{nullptr};
    return registry;
}

stacktrace::Registry::~Registry()
{
    for (const Entry* entry = m_first.load(std::memory_order_relaxed); entry;) {
        const std::unique_ptr<const Entry> last(entry);
        entry = last->next;
    }
}

/// Memory comes first, so that nothing is half done when it is out.
stacktrace::Entry& stacktrace::Registry::enter(unsigned int threadId)
{
    if (Entry* const known = find(threadId)) {
        return *known;
    }
    if (!m_entries.makeRoom()) {
        throw std::bad_alloc();
    }
    Entry& entry = unused();
    entry.threadId.store(threadId, std::memory_order_release);
    m_entries.insert(&entry);
    if (!m_ended.erase(threadId)) {
        m_size.fetch_add(1, std::memory_order_release);
    }
    return entry;
}

stacktrace::Entry& stacktrace::Registry::unused()
{
    if (Entry* const idle = m_idle) {
        m_idle = idle->nextIdle;
        return *idle;
    }
    auto* const entry = new Entry;
    entry->next = m_first.load(std::memory_order_relaxed);
    m_first.store(entry, std::memory_order_release);
    return *entry;
}

void stacktrace::Registry::leave(Entry& entry) noexcept
{
    if (entry.stacktrace::size() != 0 || !m_ended.makeRoom()) {
        return;
    }
    const unsigned int threadId = entry.threadId.load(std::memory_order_relaxed);
    m_entries.erase(threadId);
    m_ended.insert(threadId);
    entry.threadId.store(0, std::memory_order_release);
    freeGrown(entry);
    entry.nextIdle = m_idle;
    m_idle = &entry;
}

/// While someone reads, the blocks stay, until the end of the entry's next thread.
void stacktrace::Registry::freeGrown(Entry& entry) noexcept
{
    Block* const largest = tolvane::atomicRef(entry.m_functions).load(std::memory_order_relaxed);
    if (!largest || !largest->outgrown) {
        return;
    }
    Block* second = largest;
    while (second->outgrown->outgrown) {
        second = second->outgrown.get();
    }
    tolvane::atomicRef(entry.m_functions).store(second->outgrown.get(), std::memory_order_release);
    // Adding nothing is no mere load: who is not counted yet will find what was stored before, and
    // who is no longer counted has read.
    if (m_readers.fetch_add(0, std::memory_order_acq_rel) != 0) {
        tolvane::atomicRef(entry.m_functions).store(largest, std::memory_order_release);
        return;
    }
    static_cast<void>(second->outgrown.release()); // the first block, the entry's again
    Block::dispose(largest);
}

void stacktrace::Registry::copyTo(std::list<stacktrace>& traces) const
{
    std::size_t copied = 0;
    visit([&](const stacktrace& stack) {
        traces.push_back(stack);
        ++copied;
    });
    // a thread that ended during the walk is among all that have been here, copied or not
    for (const std::size_t all = size(); copied < all; ++copied) {
        traces.emplace_back();
    }
}

/// The tables have room for it, since they had it before. Nothing is freed, which is no time for it
/// when a process was just forked: blocks that the parent's threads have outgrown go with the end
/// of the entry's next thread.
void stacktrace::Registry::keepOnly(Entry* mine, unsigned int threadId) noexcept
{
    m_readers.store(0, std::memory_order_relaxed);
    m_entries.clear();
    m_ended.clear();
    m_size.store(0, std::memory_order_relaxed);
    m_idle = nullptr;
    for (Entry* entry = m_first.load(std::memory_order_relaxed); entry; entry = entry->next) {
        if (entry == mine) {
            entry->threadId.store(threadId, std::memory_order_relaxed);
            m_entries.insert(entry);
            m_size.store(1, std::memory_order_relaxed);
        } else {
            entry->threadId.store(0, std::memory_order_relaxed);
            entry->clear();
            entry->nextIdle = m_idle;
            m_idle = entry;
        }
    }
}

stacktrace::Entry* stacktrace::Registry::find(unsigned int threadId) const noexcept
{
    Entry* const* const found = m_entries.find(threadId);
    return found ? *found : nullptr;
}

bool stacktrace::Registry::knows(unsigned int threadId) const noexcept
{
    return find(threadId) || m_ended.find(threadId);
}

void stacktrace::Registry::threadEnded(void* stack) noexcept
{
    const insidelibrary inside;
    const tolvane::Auto_Mutex lock(m_staticmutex());
    m_alltraces().leave(static_cast<Entry&>(*static_cast<stacktrace*>(stack)));
}

void threadstacks::beforeFork() noexcept
{
    stacktrace::m_staticmutex().impl()->lock();
}

void threadstacks::afterForkInParent() noexcept
{
    stacktrace::m_staticmutex().impl()->unlock();
}

void threadstacks::afterForkInChild() noexcept
{
    stacktrace::m_staticmutex().impl()->adopt();
    if (stacktrace::Registry::made()) {
        stacktrace::m_alltraces().keepOnly(
            static_cast<stacktrace::Entry*>(stacktrace::knownTrace()), tolvane::currentThreadId());
    }
    stacktrace::m_staticmutex().impl()->unlock();
}
