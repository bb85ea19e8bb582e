#pragma once

#include <tolvane/stacktrace.h>

#include "support/atomicref.h"
#include "support/threadslot.h"
#include "trace/insidelibrary.h"

#include <atomic>
#include <memory>
#include <new>

// What every scope does to its thread's stack, to be compiled into it.

/// Slots for functions, which lie right behind it in the same piece of memory.
struct stacktrace::Block
{
    using slot_t = std::atomic<const hashedfunction*>;

    /// All slots are null.
    static Block* make(unsigned long long slotCount, Block* replaced)
    {
        static_assert(alignof(slot_t) <= alignof(Block));
        void* const memory = ::operator new(sizeof(Block) + slotCount * sizeof(slot_t));
        auto* const block = new (memory) Block(slotCount, replaced);
        for (unsigned long long depth = 0; depth < slotCount; ++depth) {
            new (block->slots() + depth) slot_t(nullptr);
        }
        return block;
    }

    /// With all that it has outgrown. Null is ignored.
    static void dispose(Block* block) noexcept
    {
        if (block) {
            block->~Block();
            ::operator delete(block);
        }
    }

    slot_t* slots() const noexcept
    {
        return reinterpret_cast<slot_t*>(const_cast<Block*>(this) + 1);
    }

    struct Freer
    {
        void operator()(Block* block) const noexcept { dispose(block); }
    };

    const unsigned long long size;
    std::unique_ptr<Block, Freer> outgrown;

private:
    Block(unsigned long long slotCount, Block* replaced) noexcept
        : size(slotCount), outgrown(replaced)
    {}
};

/// Pushes, if there is a free slot.
///
/// \param before  gets how many functions were on the stack.
/// \return false when nothing was done.
inline bool stacktrace::pushWithin(const hashedfunction* function,
                                   unsigned long long& before) noexcept
{
    before = tolvane::atomicRef(m_count).load(std::memory_order_relaxed);
    const Block* const block = tolvane::atomicRef(m_functions).load(std::memory_order_relaxed);
    if (!block || before >= block->size) {
        return false;
    }
    // not by the count alone: a reader that holds an older count may see this function already
    block->slots()[before].store(function, std::memory_order_release);
    tolvane::atomicRef(m_count).store(before + 1, std::memory_order_release);
    // again: a signal handler that came in between has used the slot, and given it back
    tolvane::atomicRef(m_functions)
        .load(std::memory_order_relaxed)
        ->slots()[before]
        .store(function, std::memory_order_release);
    return true;
}

inline void stacktrace::push(const hashedfunction* function)
{
    unsigned long long before = 0;
    if (!pushWithin(function, before)) {
        pushGrown(function);
    }
}

inline void stacktrace::pop() noexcept
{
    const unsigned long long count = tolvane::atomicRef(m_count).load(std::memory_order_relaxed);
    if (count != 0) {
        tolvane::atomicRef(m_count).store(count - 1, std::memory_order_release);
    }
}

/// The calling thread's stack; null when it was not asked for before.
inline stacktrace* stacktrace::knownTrace() noexcept
{
    return static_cast<stacktrace*>(tolvane::threadslot::get(tolvane::threadslot::callStack));
}

inline stacktrace& stacktrace::myTrace()
{
    stacktrace* const known = knownTrace();
    return known ? *known : findTrace();
}

/// Pushes onto the calling thread's stack. Who interrupts the library, which may be amid this very
/// step, gets neither a lock nor memory: until he pops, the stack counts a function more than it
/// shows, or is not there yet.
inline void stacktrace::pushMine(const hashedfunction* function)
{
    if (!insidelibrary::isEntered()) {
        myTrace().push(function);
    } else if (stacktrace* const mine = knownTrace()) {
        unsigned long long before = 0;
        if (!mine->pushWithin(function, before)) {
            tolvane::atomicRef(mine->m_count).store(before + 1, std::memory_order_release);
        }
    }
}

/// Pops what pushMine() has pushed in the same state of the thread.
inline void stacktrace::popMine()
{
    stacktrace* const known = knownTrace();
    if (known || !insidelibrary::isEntered()) {
        (known ? *known : findTrace()).pop();
    }
}
