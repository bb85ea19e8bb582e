#pragma once

#include <tolvane/stacktrace.h>

#include "support/threadslot.h"

#include <atomic>
#include <memory>

// What every scope does to its thread's stack, to be compiled into it.

struct stacktrace::Block
{
    explicit Block(unsigned long long slotCount, Block* replaced)
        : size(slotCount),
          slots(new std::atomic<const hashedfunction*>[slotCount]()),
          outgrown(replaced)
    {}

    const unsigned long long size;
    const std::unique_ptr<std::atomic<const hashedfunction*>[]> slots;
    const std::unique_ptr<Block> outgrown;
};

inline void stacktrace::push(const hashedfunction* function)
{
    const unsigned long long count = m_count.load(std::memory_order_relaxed);
    const Block* const block = m_functions.load(std::memory_order_relaxed);
    if (!block || count == block->size) {
        return pushGrown(function);
    }
    // not by the count alone: a reader that holds an older count may see this function already
    block->slots[count].store(function, std::memory_order_release);
    m_count.store(count + 1, std::memory_order_release);
}

inline void stacktrace::pop() noexcept
{
    const unsigned long long count = m_count.load(std::memory_order_relaxed);
    if (count != 0) {
        m_count.store(count - 1, std::memory_order_release);
    }
}

inline stacktrace& stacktrace::myTrace()
{
    void* const remembered = tolvane::threadslot::get();
    return remembered ? *static_cast<stacktrace*>(remembered) : findTrace();
}
