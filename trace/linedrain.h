#pragma once

#include "support/stamps.h"
#include "support/stamptimes.h"
#include "trace/stage.h"

#include <cstddef>
#include <vector>

/// The stages of all threads, and what takes their lines from them in the order in which they were
/// made.
///
/// Every member needs the instance lock.
class linedrain
{
public:
    linedrain() = default;
    ~linedrain();

    linedrain(const linedrain&) = delete;
    linedrain& operator=(const linedrain&) = delete;

    /// Adds the stage of a thread that is new here, which is released when the thread has left and
    /// its lines are taken. Throws std::bad_alloc, and the stage is the caller's then.
    void add(stage* added);

    /// Lines that are staged.
    std::size_t pending() const noexcept;

    /// Takes every line that was staged before the call, and none that was staged after it began: a
    /// line that was made after another one never overtakes it.
    ///
    /// \param take  called with each line and its stage; may take the block of the line; throws
    ///              nothing.
    /// \return the stamp up to which lines were taken.
    template <class take_t>
    unsigned long long run(const take_t& take) noexcept
    {
        const unsigned long long upTo = stampOfNow();
        m_times.mark(upTo);
        collect(upTo);
        while (!m_waiting.empty()) {
            stage& from = *nextStage();
            const unsigned long long runUpTo = oldestElsewhere(upTo);
            stagedline* line = from.oldest(upTo);
            do {
                take(*line, from);
                from.take();
                line = from.oldest(upTo);
            } while (line && line->stamp <= runUpTo);
            if (line) {
                putBack(from, line->stamp);
            }
        }
        return upTo;
    }

    /// When a line was made that is being taken, in nanoseconds since 1970 UTC: whole milliseconds
    /// where stamps don't tell more.
    long long utcOf(const stagedline& line) const noexcept;

    /// Lines that threads did not stage since no sink would take them, since the last call.
    unsigned long long takeRefused() noexcept;

    /// Whether any stage got doubtful lines since the last call of forgetDoubts().
    bool hasDoubts() const noexcept;

    void forgetDoubts() noexcept;

    /// Forgets all stages, in a forked process, whose other threads are gone. The next drain frees
    /// them.
    /// \param used  the one that the calling thread is inside of. May be null.
    void forgetAll(const stage* used) noexcept;

    /// Lets stages rest that were found empty, and goes without those whose threads have left, once
    /// nothing of them is to be known any more.
    void tidy() noexcept;

private:
    /// A stage with a line, and when that was made.
    struct waitingstage
    {
        unsigned long long stamp;
        stage* from;

        /// For a heap with the oldest in front.
        bool operator<(const waitingstage& other) const noexcept { return stamp > other.stamp; }
    };

    unsigned long long stampOfNow() noexcept;
    void collect(unsigned long long upTo) noexcept;
    stage* nextStage() noexcept;
    unsigned long long oldestElsewhere(unsigned long long upTo) const noexcept;
    void putBack(stage& from, unsigned long long stamp) noexcept;

    tolvane::StampTimes m_times;
    std::vector<stage*> m_stages;
    std::vector<waitingstage> m_waiting; ///< has room for all stages; empty between runs
    unsigned long long m_lastStamp = 0;  ///< of the last run
};
