#include <tolvane/stacktrace.h>

#include <tolvane/hashedfunction.h>

#include "stacktrace/callstack.h"
#include "stacktrace/registry.h"
#include "support/mutex.h"
#include "support/threadid.h"
#include "support/threadslot.h"
#include "trace/insidelibrary.h"

#include <algorithm>
#include <utility>

// Other threads read a stack while its own thread changes it, and take no lock. So a stack lives in
// a block of atomic slots; when it outgrows the block, a copy twice its size takes its place, and
// the old block is kept for readers that still hold it. A reader bounds the count that it loaded by
// the size of the block that it loaded afterwards.

namespace {

/// With the block's head it fills 64 bytes. Most stacks of traced functions are not deeper, and
/// every thread has one.
constexpr unsigned long long firstBlockSize = 6;

} // namespace

stacktrace::stacktrace() = default;

stacktrace::stacktrace(const stacktrace& other) : stacktrace()
{
    const unsigned long long count = other.size();
    for (unsigned long long depth = 0; depth < count; ++depth) {
        if (const hashedfunction* const function = other[depth]) {
            push(function);
        }
    }
}

stacktrace::stacktrace(stacktrace&& other) noexcept : stacktrace()
{
    *this = std::move(other);
}

stacktrace& stacktrace::operator=(const stacktrace& other)
{
    if (this != &other) {
        *this = stacktrace(other);
    }
    return *this;
}

stacktrace& stacktrace::operator=(stacktrace&& other) noexcept
{
    if (this != &other) {
        Block::dispose(tolvane::atomicRef(m_functions)
                           .exchange(tolvane::atomicRef(other.m_functions).exchange(nullptr)));
        tolvane::atomicRef(m_count) = tolvane::atomicRef(other.m_count).exchange(0);
    }
    return *this;
}

stacktrace::~stacktrace()
{
    Block::dispose(tolvane::atomicRef(m_functions).load());
}

unsigned long long stacktrace::size() const noexcept
{
    return tolvane::atomicRef(m_count).load(std::memory_order_acquire);
}

const hashedfunction* stacktrace::operator[](unsigned long long depth) const noexcept
{
    const unsigned long long count = size();
    const Block* const block = tolvane::atomicRef(m_functions).load(std::memory_order_acquire);
    return block && depth < std::min(count, block->size)
               ? block->slots()[depth].load(std::memory_order_acquire)
               : nullptr;
}

void stacktrace::pushGrown(const hashedfunction* function)
{
    const insidelibrary inside;
    Block* const block = tolvane::atomicRef(m_functions).load(std::memory_order_relaxed);
    Block* const grown = Block::make(block ? block->size * 2 : firstBlockSize, block);
    for (unsigned long long depth = 0; block && depth < block->size; ++depth) {
        grown->slots()[depth].store(block->slots()[depth].load(std::memory_order_relaxed),
                                    std::memory_order_relaxed);
    }
    tolvane::atomicRef(m_functions).store(grown, std::memory_order_release);
    push(function);
}

void stacktrace::clear() noexcept
{
    tolvane::atomicRef(m_count).store(0, std::memory_order_release);
}

/// Null has its place too, so that the up() that belongs to it takes nothing else away.
void stacktrace::down(const hashedfunction* function)
{
    pushMine(function ? function : nameless());
}

/// Never destroyed, like the stacks.
const hashedfunction* stacktrace::nameless()
{
    static const hashedfunction* const function = new hashedfunction("");
    return function;
}

bool stacktrace::up()
{
    popMine();
    const stacktrace* const mine = knownTrace();
    return !mine || mine->size() == 0;
}

stacktrace stacktrace::getTrace()
{
    return myTrace();
}

std::list<stacktrace> stacktrace::getTraces()
{
    std::list<stacktrace> traces;
    if (const Registry* const registry = Registry::made()) {
        registry->copyTo(traces);
    }
    return traces;
}

/// Finds the calling thread's entry, or makes it, and remembers it for the thread.
stacktrace& stacktrace::findTrace()
{
    const insidelibrary inside;
    stacktrace& mine = enterRegistry();
    // not under the lock: the system may hold one of its own, which this takes, too, while it tells
    // the registry of a thread's end
    tolvane::threadslot::set(tolvane::threadslot::callStack, &mine);
    return mine;
}

stacktrace& stacktrace::enterRegistry()
{
    const tolvane::Auto_Mutex lock(m_staticmutex());
    return m_alltraces().enter(tolvane::currentThreadId());
}

/// Never destroyed, like the lock: fault handlers and destructors of other statics come here at the
/// very end.
stacktrace::Registry& stacktrace::m_alltraces()
{
    static Registry* const traces = Registry::make();
    return *traces;
}

tolvane::Mutex& stacktrace::m_staticmutex()
{
    static auto* const lock = new tolvane::Mutex;
    return *lock;
}
