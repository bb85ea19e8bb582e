#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/trace.h>
#include <tolvane/tracelevel.h>
#include <tolvane/tracestream.h>

#include "settings/followedsettings.h"
#include "settings/outputsettings.h"
#include "sinks/attachedsink.h"
#include "sinks/sinkchoice.h"
#include "support/event.h"
#include "support/mutex.h"
#include "support/thread.h"
#include "trace/countedptr.h"
#include "trace/linebudget.h"
#include "trace/linedrain.h"
#include "trace/linequeue.h"
#include "trace/lossnotes.h"
#include "trace/safesingleton.h"
#include "trace/sinklock.h"

#include <atomic>
#include <exception>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class recordertracestream;
class stage;

/// The dispatcher: owns the attached sinks, the registered functions, the lines on their way to the
/// sinks and the thread that writes them.
///
/// Locks: the instance lock (m_instanceMutex) guards the central queue, the list of stages and the
/// registry. The sink lock (m_sinkLock) is tried while the instance lock is held, and waited for
/// only without it. Whoever writes holds the sink lock alone. The map of the sinks is read under
/// either lock and changed under both; a sink's levels are replaced as a whole and need none.
///
/// What stands where: traceimpl.cpp the dispatcher's life, sinks and functions;
/// traceimpl_levels.cpp the sinks' levels; traceimpl_settings.cpp a file that sets sinks and
/// levels; traceimpl_stage.cpp how a line is staged; traceimpl_pass.cpp how lines are taken and
/// written; traceimpl_flush.cpp how threads have them written, or wait for that;
/// traceimpl_report.cpp the same amid a fault; traceimpl_fork.cpp what becomes of it all in a
/// forked process.
class traceimpl : public safesingleton<traceimpl>
{
public:
    traceimpl();
    ~traceimpl() override;

    traceimpl(const traceimpl&) = delete;
    traceimpl& operator=(const traceimpl&) = delete;

    // The facade's operations, see trace. Each takes the locks that it needs.
    tracestream& output(const tracestream& sink);
    tracestream& output(const tracestream& sink, const tolvane::levelsettings& levels);
    void remove(const tracestream& sink);
    void setLevel(tracelevel_t level, const tolvane::string& name);
    void setLevel(const tracestream& sink, tracelevel_t level, const tolvane::string& name);
    void setLevels(const tolvane::levelsettings& settings);
    void clearLevels(tracelevel_t level);
    void clearLevels(const tolvane::string& name);
    void clearLevels(const tracestream& sink, const tolvane::string& name);
    tracelevel_t maxLevel(const hashedfunction& function);

    /// The same for a scope, whose lines behind the end go by the level that held when it was
    /// opened, so that they are counted as lost.
    tracelevel_t levelNow(const hashedfunction& function, tracelevel_t whenOpened);

    /// See trace::followSettings.
    bool followSettings(const tolvane::string& path);

    /// The same for a thread that may hold what others wait for.
    /// \return nothing when another thread does not give the instance lock back soon.
    std::optional<tracelevel_t> maxLevelSoon(const hashedfunction& function) noexcept;

    const hashedfunction& registerfunction(const char* signature);

    /// The same for a function whose name is plainName() of the signature.
    const hashedfunction& registerscope(const char* signature);

    /// See trace::nameThread.
    void nameThread(const tolvane::string& name);

    // How lines come in. No lock is taken for an ordinary line. Throws std::bad_alloc: the line is
    // counted as lost then. A thread that finds 2000 lines waiting writes them; the hardware fault
    // of a sink reaches it.

    /// A text line; the text is taken over and left empty.
    void queueLine(tracelevel_t level, const hashedfunction& function, tolvane::string& text);

    /// A text line whose text is still encoded operands, see operandreader. They are copied.
    void queueOperands(tracelevel_t level, const hashedfunction& function,
                       const unsigned char* operands, std::size_t size);

    /// An entry or exit line.
    void queueMarker(const hashedfunction& function, formattedline::type_t type);

    /// Waits for the writer thread to finish a pass, or writes what waits itself.
    ///
    /// \param milliseconds  0: write every line now, in this thread; otherwise the waiting budget,
    ///                      which shrinks by 10 per retry and not by the time that passed.
    /// \return false when the budget ran out; lines may then still wait. On a thread that is in a
    ///         sink's call, at once.
    ///
    /// With 0, a sink that stays busy costs the lines. The hardware fault of a sink reaches the
    /// caller when the pass has ended.
    bool flushQueue(unsigned long long milliseconds);

    /// See trace::flushOn.
    void flushOn(tracelevel_t level) noexcept;

    /// See trace::sync.
    bool sync(unsigned long long milliseconds);

    /// See recordertracestream::dump.
    void dump(const recordertracestream& recorder);

    unsigned long long lost(trace::lossreason reason);
    tolvane::string describe();

    /// Milliseconds, in all, that a thread which faulted waits for its report to be written.
    static constexpr unsigned long long longestWaitToReport = 1000;

    /// Attaches a sink with a level, and hands the report of a fault to all sinks, behind all that
    /// waits, on a thread of its own: no other pass may ever come, and a sink may never come back.
    /// The calling thread does it when none is to be had.
    ///
    /// \param patience  milliseconds. What is not written by then is written later, if at all.
    /// \return false when the attached sink does not get the lines: they are the caller's to write
    ///         to where it leads. Throws std::bad_alloc, or the hardware fault of a sink when all
    ///         is done.
    bool report(const tracestream& sink, tracelevel_t level,
                const std::shared_ptr<const packedlines>& lines, unsigned long long patience);

    /// What the thread that forks has taken.
    struct forklocks
    {
        bool instance = false;
        bool sinks = false;
    };

    // To be called by the thread that forks: before, and then in each of the two processes. A sink
    // is waited for a second at most. The child has the attached sinks, but for one that another
    // thread was inside of; it has no lines, which are the parent's to write, and a writer of its
    // own from its first line on.
    forklocks beforeFork() noexcept;
    void afterForkInParent(const forklocks& held) noexcept;
    void afterForkInChild(const forklocks& held) noexcept;

    // To be called on a thread that is about to end. Locks that it holds are given back; what it
    // was writing is lost, uncounted, and a sink that it was inside of is not called any more.
    // Signals that the process gets later still end it, though it has lost its main thread to a
    // fault, or its last thread is the writer.
    static void threadEnds() noexcept;

    /// \param amidAllocator  the thread may hold the allocator's lock.
    static void threadFaults(unsigned int exitCode, bool amidAllocator) noexcept;

    /// Stops the writer, writes what waits and deletes every sink. Lines that come later are
    /// dropped.
    void stop() noexcept;

private:
    friend struct traceimpltest;

    class WriteThread;
    class bothlocks;
    class reportpass;

    /// Milliseconds that a thread waits for a lock which ends by a fault, and may hold what the
    /// lock's holder waits for.
    static constexpr unsigned long long patienceOfEnding = 100;

    /// Who writes, which decides whether there is anything to do.
    enum class passkind
    {
        full,  ///< the writer, or a flush: whatever waits
        relief ///< a producer: only when too many lines wait
    };

    /// What becomes of a line.
    enum class admission
    {
        stage,
        refuse, ///< no sink takes it
        drop,   ///< it is lost, and counted
        stageThenPrune,
        stageThenWrite,
        writeFirst, ///< others have brought the lines beyond the limit; then it is asked again
    };

    static bool isStaged(admission admitted) noexcept;
    static bool needsRelief(admission admitted) noexcept;

    // traceimpl.cpp
    void startWriter() noexcept;
    bool writerRuns() const noexcept;
    static bool endThread() noexcept;
    void waitForWriter();
    bool writerWasKilled() const noexcept;
    tracestream& attach(const tracestream& sink, std::optional<tracelevel_t> level = std::nullopt);
    void detach(sinkmap_t::iterator attached) noexcept;
    void detachAll() noexcept;
    template <class change_t>
    std::exception_ptr changeSinks(bothlocks& locks, const change_t& change);
    void destroyDetached() noexcept;
    sinkmap_t takeDetached() noexcept;
    void destroy(sinkmap_t& detached) noexcept;
    void abandonLocks() noexcept;
    std::exception_ptr finish() noexcept;
    bool enterBoth(std::optional<tolvane::Auto_TimedMutex>& lock,
                   unsigned long long instancePatience, unsigned long long sinkPatience) noexcept;
    void rememberEnded() noexcept;

    const hashedfunction& keepFunction(hashedfunction* made);

    // traceimpl_fork.cpp
    void giveBack(const forklocks& held) noexcept;
    void adoptLocks(const forklocks& held) noexcept;
    void forgetCall() noexcept;
    void forgetLines(bool areWhole) noexcept;
    void forgetWriter() noexcept;

    // traceimpl_stage.cpp
    template <class content_t>
    void stageLine(tracelevel_t level, const hashedfunction& function, const content_t& content);
    template <class content_t>
    admission stageOn(stage& mine, tracelevel_t level, const hashedfunction& function,
                      const content_t& content);
    std::unique_ptr<stage> makeStage();
    stage* enterThread(tracelevel_t level, const hashedfunction& function);
    static bool isTaken(const hashedfunction& function, tracelevel_t level) noexcept;
    bool isRefused(const hashedfunction& function, tracelevel_t level);
    admission spend(linebudget::allowance& mine, const hashedfunction& function,
                    tracelevel_t level);
    admission admit(linebudget::allowance& mine, const hashedfunction& function,
                    tracelevel_t level);
    bool relieve(admission admitted);
    bool isFlushed(tracelevel_t level) const noexcept;
    template <class content_t>
    void queueDirectly(tracelevel_t level, const hashedfunction& function,
                       const content_t& content);

    // traceimpl_flush.cpp
    void signalWritten();
    bool waitForPass(unsigned long long budget);
    unsigned long long drainedUpTo();
    bool isWritten(unsigned long long before, unsigned long long& lastBatch);
    void flushLine();
    void leaveToWriter(const std::exception_ptr& fault) noexcept;
    std::exception_ptr takeFlushFault() noexcept;

    // traceimpl_report.cpp
    void attachInTime(const tracestream& sink, tracelevel_t level, unsigned long long patience);
    bool handOver(const std::shared_ptr<reportpass>& pass) noexcept;
    static unsigned int writeReport(void* pass);
    bool isInCallOf(unsigned long long id) const noexcept;

    // traceimpl_settings.cpp
    std::exception_ptr lookAtSettings() noexcept;
    std::wstring describeSettings() const;
    tolvane::string followedFile();
    bool isNews(const tolvane::string& path, const std::string* bytes);
    std::exception_ptr changeSettings(const tolvane::string& path, const std::string& bytes);
    void adopt(const tolvane::outputsettings& settings, const std::string& bytes);
    void adopt(const tolvane::outputsettings::entry& entry);
    void detachUnnamed(const tolvane::outputsettings& settings);

    // traceimpl_levels.cpp
    static void setLevelsOf(tracestream& sink, const tolvane::levelsettings& levels);
    static void clearLevelsOf(tracestream& sink, const tolvane::string& name);

    // traceimpl_pass.cpp
    std::size_t waitingLines() const noexcept;
    bool isPruned() const noexcept;
    void settle() noexcept;
    void drain() noexcept;
    void countNoted() noexcept;
    void prune() noexcept;
    bool isAllTaken(unsigned int generation) const noexcept;
    packedlines takeAll() noexcept;
    void lose(trace::lossreason reason, const hashedfunction& function, tracelevel_t level,
              unsigned long long lines = 1, const sinkchoice& by = sinkchoice::all()) noexcept;
    void loseAll(const packedlines& batch, trace::lossreason reason,
                 const sinkchoice& by = sinkchoice::all()) noexcept;
    void refuse(unsigned long long lines) noexcept;
    void writePass();
    std::exception_ptr pass(passkind kind);
    bool beginPass(passkind kind, packedlines& batch);
    bool isWorthAPass(passkind kind) noexcept;
    void giveUp() noexcept;
    std::exception_ptr writeBatch(const packedlines& batch,
                                  const sinkchoice& to = sinkchoice::all()) noexcept;
    std::exception_ptr dumpRecorders(const recordertracestream* recorder = nullptr) noexcept;
    void endPass() noexcept;
    void keep(packedlines& written) noexcept;

    static constexpr unsigned long long neverGivenUp = ~0ULL;
    static constexpr unsigned long long never = ~0ULL;

    /// No line's level is lower.
    static constexpr int noLevel = std::numeric_limits<int>::min();

    const unsigned long long m_number; ///< tells this dispatcher's stages from those of others

    /// Lines of lower levels are written when they are traced. Relaxed: a change need not be in
    /// force at once. Here, since a line looks at the number, too.
    std::atomic<int> m_flushesBelow{noLevel};

    sinkmap_t m_sinks; ///< the sinks themselves are owned

    /// Removed or replaced, in this order, to be destroyed. Changed under both locks, too.
    sinkmap_t m_detached;

    // Guarded by the instance lock.
    std::vector<countedptr<hashedfunction>> m_functions; ///< append only
    linedrain m_drain;                                   ///< the stages of all threads
    linequeue m_queue;
    unsigned long long m_drainedUpTo = 0; ///< stamp of the last drain
    unsigned long long m_takenUpTo = 0;   ///< stamp of the last drain whose lines were taken
    unsigned long long m_batches = 0;     ///< that were taken
    /// Generation of the levels when many lines were pruned; 0: few wait.
    unsigned int m_prunedUnder = 0;
    unsigned int m_emptiedUnder = 0; ///< generation of the levels when all lines were taken last
    unsigned long long m_detachments = 0;
    std::vector<std::unique_ptr<tolvane::ThreadControl>> m_writers; ///< one, and those that faulted
    std::vector<std::unique_ptr<tracestream>> m_endedSinks;         ///< levels that held at the end
    tolvane::followedsettings m_followed;
    std::exception_ptr m_flushFault; ///< of a sink, that a line came upon

    linebudget m_budget;
    lossnotes m_losses;
    sinklock m_sinkLock;

    sinkcounts m_departed;                        ///< sums of the sinks that are gone
    std::atomic<unsigned long long> m_nobodys{0}; ///< lines that came when no sink was attached
    std::atomic<unsigned long long> m_inPass{0};  ///< number of the batch being written; 0: none
    std::atomic<unsigned long long> m_givenUpAt{neverGivenUp}; ///< where the holder stood then

    std::atomic<int> m_reports{0}; ///< that some thread may still write

    /// Milliseconds, of the monotonic clock: when the writer looks at the followed file.
    std::atomic<unsigned long long> m_looksAt{never};

    std::atomic<tolvane::ThreadControl*> m_writer; ///< started by the first line
    std::atomic<bool> m_running{true};             ///< set false by stop(); ends the writer's loop
    std::atomic<bool> m_stopped{false};            ///< set by the writer when its loop has ended
    std::atomic<bool> m_faulted{false};  ///< a sink's fault ends the writer, which has no locks
    std::atomic<bool> m_finished{false}; ///< set by stop(): lines are dropped from now on
    tolvane::Event<bool> m_written;      ///< true: a writer pass has finished
};
