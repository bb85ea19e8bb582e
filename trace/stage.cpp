#include "trace/stage.h"

#include "support/callerserror.h"
#include "support/clock.h"
#include "support/coldpath.h"
#include "support/stamps.h"

namespace {

/// The next chunk is sent for when so many bytes are left.
constexpr std::size_t fetchAhead = 512;

/// Drains without a line, 10 ms apart as a rule, after which a thread rests.
constexpr unsigned int drainsToRest = 100;

/// Bytes, of which the allocator adds some: a thread that rests is to need no more than 8 KiB.
constexpr std::size_t mostAtRest = 8192 - 256;

/// Processors count faster than that.
constexpr unsigned long long nanosecondsPerCycle = 2;

} // namespace

stage::stage(unsigned long long dispatcher, unsigned int threadId, threadname* name)
    : m_dispatcher(dispatcher),
      m_tail(new chunk),
      m_threadId(threadId),
      m_name(name ? name->hold() : nullptr),
      m_head(m_tail)
{
    static_assert(sizeof(chunk) == chunkSize);
    static_assert(sizeof(stage) + sizeof(chunk) < mostAtRest);
    static_assert(sizeof(stagedline) + packedline::longestPayload + fetchAhead < chunk::capacity);
    m_to = m_tail->bytes;
    m_end = m_to + chunk::capacity;
    m_fetchFrom = m_end - fetchAhead;
}

stage::~stage()
{
    while (oldest(~0ULL)) {
        take();
    }
    while (chunk* const read = m_head) {
        m_head = read->next.load(std::memory_order_relaxed);
        delete read;
    }
    freeSpare();
    setName(nullptr);
}

void stage::setName(threadname* name) noexcept
{
    threadname* const before = m_name;
    m_name = name ? name->hold() : nullptr;
    if (before) {
        before->release();
    }
}

void stage::release(stage* released) noexcept
{
    if (released->m_holders.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete released;
    }
}

/// A millisecond is shown again as long as it certainly lasts. Where the clock is set meanwhile,
/// lines of this very millisecond still show the old one.
TOLVANE_COLD unsigned long long stage::readMillisecond(unsigned long long stamp) noexcept
{
    const tolvane::CallersError callersError;
    unsigned long long left = 0; // nanoseconds
    m_millisecond = tolvane::Clock::current().localMilliseconds(left);
    m_millisecondUntil = tolvane::stamps::areCycles() ? stamp + left / nanosecondsPerCycle : 0;
    return m_millisecond;
}

/// The drain had the next chunk last: its first bytes are sent for before they are needed. They may
/// be freed meanwhile, which a processor that fetches them does not mind.
TOLVANE_COLD void stage::fetchNext() const noexcept
{
    for (const std::atomic<chunk*>& place : m_spare) {
        if (const chunk* const next = place.load(std::memory_order_relaxed)) {
            for (std::size_t byte = 0; byte < fetchedBytes; byte += cacheLine) {
                tolvane::prefetch(reinterpret_cast<const unsigned char*>(next) + byte);
            }
            return;
        }
    }
}

TOLVANE_COLD void stage::extend()
{
    const tolvane::CallersError callersError;
    chunk* const spare = takeSpare();
    chunk* const next = spare ? spare : new chunk;
    next->next.store(nullptr, std::memory_order_relaxed);
    next->written.store(0, std::memory_order_relaxed);
    m_tail->next.store(next, std::memory_order_release);
    m_tail = next;
    m_to = next->bytes;
    m_end = m_to + chunk::capacity;
    m_fetchFrom = m_end - fetchAhead;
}

stage::chunk* stage::takeSpare() noexcept
{
    for (std::atomic<chunk*>& place : m_spare) {
        if (place.load(std::memory_order_relaxed)) {
            if (chunk* const taken = place.exchange(nullptr, std::memory_order_acquire)) {
                return taken;
            }
        }
    }
    return nullptr;
}

void stage::giveBack(chunk* read) noexcept
{
    for (std::atomic<chunk*>& place : m_spare) {
        if (!place.load(std::memory_order_relaxed)) { // nobody else fills it
            place.store(read, std::memory_order_release);
            return;
        }
    }
    delete read;
}

void stage::freeSpare() noexcept
{
    for (std::atomic<chunk*>& place : m_spare) {
        delete place.exchange(nullptr, std::memory_order_acquire);
    }
}

stagedline* stage::oldest(unsigned long long upTo) noexcept
{
    for (;;) {
        if (m_read < m_known) {
            if (m_isForgotten) {
                take();
                continue;
            }
            auto* const line = reinterpret_cast<stagedline*>(m_head->bytes + m_read);
            return line->stamp <= upTo ? line : nullptr;
        }
        chunk* const next = m_head->next.load(std::memory_order_acquire);
        m_known = m_head->written.load(std::memory_order_acquire);
        if (m_read == m_known) { // all that was written before the next one was begun
            if (!next) {
                return nullptr;
            }
            giveBack(m_head);
            m_head = next;
            m_read = 0;
            m_known = 0;
        }
    }
}

void stage::take() noexcept
{
    const auto* const line = reinterpret_cast<const stagedline*>(m_head->bytes + m_read);
    line->freeBlock();
    m_read += sizeOf(line->size);
    ++m_taken;
    m_restfulDrains = 0;
}

unsigned long long stage::takeRefused() noexcept
{
    const unsigned long long refused = m_refused.load(std::memory_order_relaxed);
    const unsigned long long before = m_refusedTaken;
    m_refusedTaken = refused;
    return refused - before;
}

void stage::forget(bool isThreadGone) noexcept
{
    m_isForgotten = true;
    m_dispatcher = 0;
    takeRefused();
    forgetDoubts();
    if (isThreadGone) {
        m_holders.store(1, std::memory_order_relaxed);
    }
}

void stage::rest() noexcept
{
    if (++m_restfulDrains == drainsToRest) {
        freeSpare();
    }
}
