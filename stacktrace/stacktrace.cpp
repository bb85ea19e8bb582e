#include <tolvane/stacktrace.h>

#include <tolvane/hashedfunction.h>

#include "stacktrace/callstack.h"
#include "stacktrace/registry.h"
#include "support/mutex.h"
#include "support/threadid.h"
#include "support/threadslot.h"

#include <algorithm>
#include <memory>
#include <utility>

// Other threads read a stack while its own thread changes it, and take no lock. So a stack lives in
// a block of atomic slots; when it outgrows the block, a copy twice its size takes its place, and
// the old block is kept for readers that still hold it. A reader bounds the count that it loaded by
// the size of the block that it loaded afterwards.

namespace {

constexpr unsigned long long firstBlockSize = 16; ///< deeper than most stacks of traced functions

} // namespace

/// One thread's stack in the list that is walked without a lock. Entries are appended and never
/// removed.
struct stacktrace::Entry
{
    const stacktrace* stack;
    Entry* next;

    static std::atomic<Entry*>& head() noexcept
    {
        static std::atomic<Entry*> first{nullptr};
        return first;
    }
};

stacktrace::stacktrace() : m_functions(nullptr), m_count(0) {}

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
        delete m_functions.exchange(other.m_functions.exchange(nullptr));
        m_count = other.m_count.exchange(0);
    }
    return *this;
}

stacktrace::~stacktrace()
{
    delete m_functions.load();
}

unsigned long long stacktrace::size() const noexcept
{
    return m_count.load(std::memory_order_acquire);
}

const hashedfunction* stacktrace::operator[](unsigned long long depth) const noexcept
{
    const unsigned long long count = size();
    const Block* const block = m_functions.load(std::memory_order_acquire);
    return block && depth < std::min(count, block->size)
               ? block->slots[depth].load(std::memory_order_acquire)
               : nullptr;
}

void stacktrace::pushGrown(const hashedfunction* function)
{
    Block* const block = m_functions.load(std::memory_order_relaxed);
    auto* const grown = new Block(block ? block->size * 2 : firstBlockSize, block);
    for (unsigned long long depth = 0; block && depth < block->size; ++depth) {
        grown->slots[depth].store(block->slots[depth].load(std::memory_order_relaxed),
                                  std::memory_order_relaxed);
    }
    m_functions.store(grown, std::memory_order_release);
    push(function);
}

void stacktrace::clear() noexcept
{
    m_count.store(0, std::memory_order_release);
}

/// Null has its place too, so that the up() that belongs to it takes nothing else away.
void stacktrace::down(const hashedfunction* function)
{
    myTrace().push(function ? function : nameless());
}

/// Never destroyed, like the stacks.
const hashedfunction* stacktrace::nameless()
{
    static const hashedfunction* const function = new hashedfunction("");
    return function;
}

bool stacktrace::up()
{
    stacktrace& mine = myTrace();
    mine.pop();
    return mine.size() == 0;
}

stacktrace stacktrace::getTrace()
{
    return myTrace();
}

std::list<stacktrace> stacktrace::getTraces()
{
    std::list<stacktrace> traces;
    for (const Entry* entry = Entry::head().load(std::memory_order_acquire); entry;
         entry = entry->next) {
        traces.push_back(*entry->stack);
    }
    return traces;
}

/// Finds the calling thread's entry, or makes it, and remembers it for the thread. Entries never
/// move.
stacktrace& stacktrace::findTrace()
{
    const tolvane::Auto_Mutex lock(m_staticmutex());
    const unsigned int id = tolvane::currentThreadId();
    const auto known = m_alltraces().find(id);
    stacktrace& mine = known != m_alltraces().end() ? known->second : newTrace(id);
    tolvane::threadslot::set(&mine);
    return mine;
}

/// Caller holds m_staticmutex(). The stack is in the map and in the list, or, when memory runs out,
/// in neither.
stacktrace& stacktrace::newTrace(unsigned int threadId)
{
    std::atomic<Entry*>& head = Entry::head();
    auto entry = std::make_unique<Entry>(Entry{nullptr, head.load(std::memory_order_relaxed)});
    stacktrace& mine = m_alltraces()[threadId];
    entry->stack = &mine;
    head.store(entry.release(), std::memory_order_release);
    return mine;
}

/// Never destroyed, like the lock: fault handlers and destructors of other statics come here at the
/// very end.
stacktrace::Registry& stacktrace::m_alltraces()
{
    static auto* const traces = new Registry;
    return *traces;
}

tolvane::Mutex& stacktrace::m_staticmutex()
{
    static auto* const lock = new tolvane::Mutex;
    return *lock;
}
