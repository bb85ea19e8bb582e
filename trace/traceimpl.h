#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/tracelevel.h>
#include <tolvane/tracestream.h>

#include "support/event.h"
#include "support/mutex.h"
#include "support/thread.h"
#include "trace/countedptr.h"
#include "trace/safesingleton.h"

#include <atomic>
#include <map>
#include <vector>

/// The dispatcher: owns the attached sinks, the registered functions, the queue of lines and the
/// thread that writes them.
///
/// Locks: m_instanceMutex before m_streamMutex, never the other way. The queue and the registry
/// need the instance lock. Sinks and their levels are read under either lock and changed under
/// both.
class traceimpl : public safesingleton<traceimpl>
{
public:
    traceimpl();
    ~traceimpl() override;

    traceimpl(const traceimpl&) = delete;
    traceimpl& operator=(const traceimpl&) = delete;

    // The facade's operations, see trace. Each takes the locks that it needs.
    tracestream& output(const tracestream& sink);
    tracestream& output(const tracestream& sink,
                        tracelevel_t level); ///< attaches it with a level, in one step
    void remove(const tracestream& sink);
    void setLevel(tracelevel_t level, const tolvane::string& name);
    void clearLevels(tracelevel_t level);
    void clearLevels(const tolvane::string& name);
    tracelevel_t maxLevel(const hashedfunction& function);
    const hashedfunction& registerfunction(const char* signature);

    /// Queues a text line; the text is taken over and left empty. Caller holds m_instanceMutex.
    void queueLine(tracelevel_t level, const hashedfunction& function, tolvane::string& text);

    /// Queues an entry or exit line. Caller holds m_instanceMutex.
    void queueMarker(const hashedfunction& function, formattedline::type_t type);

    /// Waits for the writer thread to finish a pass, or writes the queue itself.
    ///
    /// \param milliseconds  0: write every queued line now, in this thread; otherwise the waiting
    ///                      budget, which shrinks by 10 per retry and not by the time that passed.
    /// \return false when the budget ran out; lines may then still be queued.
    ///
    /// Holds m_instanceMutex only to take the queue and to give its records back, for constant
    /// time. In between it tries m_streamMutex for about 2 ms; a batch whose sink lock stays busy
    /// is dropped.
    bool flushQueue(unsigned long long milliseconds);

    /// Stops the writer, writes what is queued and deletes every sink. Lines that come later are
    /// dropped.
    void stop() noexcept;

private:
    friend struct traceimpltest;

    class WriteThread;
    using batch_t = std::vector<countedptr<formattedline>>;

    template <class content_t>
    void enqueue(tracelevel_t level, const hashedfunction& function, content_t& content);
    void makeRoom();
    void fetchSpare() const noexcept;
    void fetchFirstSpare() const noexcept;
    void shortenQueue();
    void startWriter();
    void prune();
    bool accepted(const formattedline& line) const;
    batch_t takeQueue();
    void writePass();
    void writeBatch(batch_t batch);
    void writeLines(const batch_t& batch) noexcept;
    void keepSpare(batch_t& batch) noexcept;
    bool waitForPass(unsigned long long budget);
    void waitForWriter();
    bool writerWasKilled() const noexcept;
    void finish() noexcept;

    /// Owned, by id, which is also the order of every walk.
    std::map<unsigned long long, tracestream*> m_streams;
    std::vector<countedptr<hashedfunction>> m_functions; ///< append only
    batch_t m_queue;                                     ///< in order of arrival
    std::atomic<bool> m_running{true};    ///< set false by stop(); ends the writer's loop
    std::atomic<bool> m_stopped{false};   ///< set by the writer when its loop has ended
    tolvane::Mutex m_streamMutex;         ///< the sink lock
    tolvane::Event<bool> m_written;       ///< true: a writer pass has finished
    tolvane::ThreadControl m_writeThread; ///< started by the first line
    std::atomic<bool> m_finished{false};  ///< set by stop(): lines are dropped from now on
    batch_t m_spareLines;                 ///< written records, for lines to come
    batch_t m_spareQueue;                 ///< empty, but with the memory of an earlier queue

    /// So many lines at the queue's front are known to be taken by a sink, under this generation of
    /// levels and sinks.
    std::size_t m_takenLines = 0;
    unsigned int m_takenGeneration = 0;
};
