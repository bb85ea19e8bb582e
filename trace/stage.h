#pragma once

#include "support/clock.h"
#include "support/prefetch.h"
#include "trace/linebudget.h"
#include "trace/packedline.h"
#include "trace/threadname.h"

#include <algorithm>
#include <atomic>
#include <cstddef>

struct linestamp
{
    unsigned long long stamp; ///< of when the line was made
};

/// A line as it lies in a stage.
struct stagedline : linestamp, packedline
{};
static_assert(sizeof(stagedline) == sizeof(linestamp) + sizeof(packedline)); // the payload follows

/// The lines of one thread that nobody has drained yet: the thread appends, whoever drains takes
/// them in the same order. No lock, and nothing that both write.
///
/// Lines lie one behind the other in chunks, a list that grows at its end. Who writes and who
/// reads:
/// - chunk::written: the thread stores it with release when a line is complete; the drain's acquire
///   load makes the line's bytes visible. A line whose thread was stopped before that store is not
///   there.
/// - chunk::next: the same for the next chunk, whose first line may be stored before or after.
/// - m_staged: stored, relaxed, before the line is published, so that it is never less than what
///   was drained. Who must count exactly comes after the lines that he counts, and sees them.
/// - m_refused, m_doubtful: stored in the same way; m_doubtful before the line in question.
/// - m_spare: chunks that were read, on their way back: emptied by exchange, filled by the drain.
class stage // NOLINT(clang-analyzer-optin.performance.Padding): by cache lines
{
public:
    /// \param dispatcher  number of the dispatcher that it belongs to.
    /// \param name        the thread's, of which the stage gets a hold of its own; may be null.
    stage(unsigned long long dispatcher, unsigned int threadId, threadname* name = nullptr);
    ~stage();

    stage(const stage&) = delete;
    stage& operator=(const stage&) = delete;

    unsigned long long dispatcher() const noexcept { return m_dispatcher; }
    unsigned int threadId() const noexcept { return m_threadId; }

    // By the thread:

    /// Marks the thread as being inside the stage, for a block. A signal handler, or an allocator
    /// of the application's, that interrupts the thread there and traces finds it so.
    class visit
    {
    public:
        explicit visit(stage& visited) noexcept : m_stage(visited)
        {
            m_stage.m_isVisited.store(true, std::memory_order_relaxed);
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }

        ~visit()
        {
            std::atomic_signal_fence(std::memory_order_seq_cst);
            m_stage.m_isVisited.store(false, std::memory_order_relaxed);
        }

        visit(const visit&) = delete;
        visit& operator=(const visit&) = delete;

    private:
        stage& m_stage;
    };

    bool isVisited() const noexcept { return m_isVisited.load(std::memory_order_relaxed); }
    void setVisited(bool visited) noexcept
    {
        m_isVisited.store(visited, std::memory_order_relaxed);
    }

    /// Room for a line with a payload of so many bytes, at most the longest. Throws
    /// std::bad_alloc; nothing has changed then.
    stagedline& prepare(std::size_t payloadSize)
    {
        const std::size_t size = sizeOf(payloadSize);
        if (m_end - m_to < static_cast<std::ptrdiff_t>(size)) {
            extend();
        }
        return *reinterpret_cast<stagedline*>(m_to);
    }

    /// Lets the drain see the line that was prepared and filled.
    /// \param stamp  of when it was made. A smaller one than that of the line before counts as that:
    ///               a thread may move to a processor whose counter is a little behind.
    void publish(stagedline& line, unsigned long long stamp) noexcept
    {
        const unsigned long long notBefore = std::max(stamp, lastStamp());
        m_lastStamp.store(notBefore, std::memory_order_relaxed);
        line.stamp = notBefore;
        line.time = millisecond(notBefore);
        m_to += sizeOf(line.size);
        m_staged.store(m_staged.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        m_tail->written.store(static_cast<std::size_t>(m_to - m_tail->bytes),
                              std::memory_order_release);
        if (m_to >= m_fetchFrom) {
            fetchNext();
        } else {
            tolvane::prefetch(m_to + fetchedBytes);
        }
    }

    linebudget::allowance& allowance() noexcept { return m_allowance; }

    /// Counts a line that was not staged, since no sink would take it.
    void refuse() noexcept
    {
        m_refused.store(m_refused.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

    /// To be called before a line is published that no sink may take as levels are now.
    void doubt() noexcept
    {
        m_doubtful.store(m_doubtful.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }

    // With the instance lock held:

    /// The thread's name; may be null.
    threadname* name() const noexcept { return m_name; }

    /// Lines that were staged before are to be drained already. The stage gets a hold of its own.
    void setName(threadname* name) noexcept;

    // By whoever drains, with the instance lock held:

    /// The oldest line that was not taken, or null; a line that is younger than the stamp is not
    /// looked at.
    stagedline* oldest(unsigned long long upTo) noexcept;

    /// Takes the oldest line, with the block that it refers to.
    void take() noexcept;

    /// Lines that were not taken.
    std::size_t pending() const noexcept
    {
        return m_isForgotten
                   ? 0
                   : static_cast<std::size_t>(m_staged.load(std::memory_order_relaxed) - m_taken);
    }

    /// Of the line that was staged last, about.
    unsigned long long lastStamp() const noexcept
    {
        return m_lastStamp.load(std::memory_order_relaxed);
    }

    /// Whether there are lines that were refused since the last call of takeRefused().
    bool hasRefused() const noexcept
    {
        return m_refused.load(std::memory_order_relaxed) != m_refusedTaken;
    }

    /// Lines that were refused since the last call.
    unsigned long long takeRefused() noexcept;

    /// Whether lines are doubtful that were staged since the last call of forgetDoubts().
    bool hasDoubts() const noexcept
    {
        return m_doubtful.load(std::memory_order_relaxed) != m_doubtfulForgotten;
    }

    void forgetDoubts() noexcept
    {
        m_doubtfulForgotten = m_doubtful.load(std::memory_order_relaxed);
    }

    /// Lines that are here, and those that are still staged, are nobody's: the process was forked.
    /// Frees nothing; the next drain does, and the thread looks for another stage.
    /// \param isThreadGone  the thread will not come any more.
    void forget(bool isThreadGone) noexcept;

    /// A drain has found nothing here; after a while that gives memory back.
    void rest() noexcept;

    /// Whether the thread will not come any more. What it has left is complete.
    bool isLeft() const noexcept { return m_holders.load(std::memory_order_acquire) == 1; }

    /// The thread, or the dispatcher, is done with the stage; the second one of them deletes it.
    static void release(stage* released) noexcept;

private:
    /// Bytes. A thread that rests keeps one chunk; fewer than one line in a hundred of usual length
    /// is to be the one that changes chunks.
    static constexpr std::size_t chunkSize = 6144;

    struct chunk
    {
        static constexpr std::size_t capacity = chunkSize - 2 * sizeof(void*);

        std::atomic<chunk*> next{nullptr};
        std::atomic<std::size_t> written{0};
        alignas(stagedline) unsigned char bytes[capacity];
    };

    static std::size_t sizeOf(std::size_t payloadSize) noexcept
    {
        return sizeof(stagedline) + packedline::padded(payloadSize);
    }

    void extend();
    void fetchNext() const noexcept;
    chunk* takeSpare() noexcept;
    void giveBack(chunk* read) noexcept;
    void freeSpare() noexcept;

    /// A clock that was put in the place of the system's is asked for every line.
    unsigned long long millisecond(unsigned long long stamp) noexcept
    {
        return stamp < m_millisecondUntil && !tolvane::Clock::isReplaced() ? m_millisecond
                                                                           : readMillisecond(stamp);
    }

    unsigned long long readMillisecond(unsigned long long stamp) noexcept;

    static constexpr std::size_t cacheLine = 64;
    static constexpr std::size_t fetchedBytes = 4 * cacheLine; ///< ahead of the next line
    static constexpr std::size_t mostSpare = 24; ///< chunks: nearly all lines that may wait

    // The thread's own.
    unsigned long long m_dispatcher; ///< none's once the stage is forgotten
    linebudget::allowance m_allowance;
    std::atomic<bool> m_isVisited{false};
    unsigned char* m_to = nullptr; ///< where the next line goes
    unsigned char* m_end = nullptr;
    unsigned char* m_fetchFrom = nullptr; ///< from here on the next chunk is sent for
    chunk* m_tail;
    unsigned long long m_millisecond = 0;
    unsigned long long m_millisecondUntil = 0; ///< stamp
    const unsigned int m_threadId;
    threadname* m_name; ///< changed by the thread, with the instance lock

    // Written by the thread, read by whoever drains.
    std::atomic<unsigned long long> m_staged{0};
    std::atomic<unsigned long long> m_refused{0};
    std::atomic<unsigned long long> m_doubtful{0};
    std::atomic<unsigned long long> m_lastStamp{0};
    std::atomic<int> m_holders{2};

    // Of whoever drains.
    alignas(cacheLine) chunk* m_head;
    std::size_t m_read = 0;  ///< bytes of the head that were taken
    std::size_t m_known = 0; ///< bytes of the head that are known to be written
    unsigned long long m_taken = 0;
    unsigned long long m_refusedTaken = 0;
    unsigned long long m_doubtfulForgotten = 0;
    unsigned int m_restfulDrains = 0;
    bool m_isForgotten = false;

    alignas(cacheLine) std::atomic<chunk*> m_spare[mostSpare] = {};
};
