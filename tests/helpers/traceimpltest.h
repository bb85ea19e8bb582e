#pragma once

#include <tolvane/hashedfunction.h>

#include "support/stamps.h"
#include "tests/helpers/formattedlinetest.h"
#include "trace/bothlocks.h"
#include "trace/instancelock.h"
#include "trace/lineunpacker.h"
#include "trace/threadstage.h"
#include "trace/traceimpl.h"
#include "trace/writethread.h"

#include <string>
#include <vector>

/// Looks into a dispatcher.
struct traceimpltest
{
    /// A line that the level of every sink takes.
    static constexpr auto levelForAll = static_cast<tracelevel_t>(-1);

    /// The one behind the facade.
    static traceimpl& instance() { return safesingleton<traceimpl>::instance(); }

    static tolvane::Mutex& streamMutex(traceimpl& dispatcher)
    {
        return dispatcher.m_sinkLock.mutex();
    }
    static tolvane::Event<bool>& written(traceimpl& dispatcher) { return dispatcher.m_written; }
    static tolvane::ThreadControl& writer(traceimpl& dispatcher)
    {
        return *dispatcher.m_writer.load();
    }
    static std::atomic<bool>& running(traceimpl& dispatcher) { return dispatcher.m_running; }
    static std::atomic<bool>& stopped(traceimpl& dispatcher) { return dispatcher.m_stopped; }

    /// Bytes that are kept for lines to come.
    static std::size_t spareRoom(traceimpl& dispatcher)
    {
        return dispatcher.m_queue.m_lines.capacity() + dispatcher.m_queue.m_spare.capacity();
    }
    static std::size_t sinks(traceimpl& dispatcher) { return dispatcher.m_sinks.size(); }
    static std::size_t functions(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        return dispatcher.m_functions.size();
    }

    /// Runs the writer's loop in the calling thread.
    static unsigned int runWriter(traceimpl& dispatcher)
    {
        return traceimpl::WriteThread(dispatcher).run();
    }

    /// Queues a line as a scope stream does.
    static void queue(traceimpl& dispatcher, const hashedfunction& function, tracelevel_t level,
                      const wchar_t* text)
    {
        tolvane::string line(text);
        dispatcher.queueLine(level, function, line);
    }

    static void queueMarker(traceimpl& dispatcher, const hashedfunction& function,
                            formattedline::type_t type)
    {
        dispatcher.queueMarker(function, type);
    }

    /// Stages a marker without asking whether it may come, if this thread has a stage.
    static void stageUnasked(const hashedfunction& function)
    {
        stage* const mine = threadstage::get();
        if (!mine) {
            return;
        }
        stagedline& line = mine->prepare(0);
        line.function = &function;
        line.level = tl_always;
        line.size = 0;
        line.type = formattedline::tt_exiting;
        line.form = packedline::noText;
        mine->publish(line, tolvane::stamps::now());
    }

    /// As behind a line that is to be written at once.
    static void flushLine(traceimpl& dispatcher) { dispatcher.flushLine(); }

    /// As the writer does.
    static void writePass(traceimpl& dispatcher) { dispatcher.writePass(); }

    /// As the writer does behind a pass.
    static void lookAtSettings(traceimpl& dispatcher)
    {
        if (const std::exception_ptr fault = dispatcher.lookAtSettings()) {
            std::rethrow_exception(fault);
        }
    }

    /// A sink that is attached; null when there is none with that id.
    static tracestream* sink(traceimpl& dispatcher, unsigned long long id)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        const auto found = dispatcher.m_sinks.find(id);
        return found == dispatcher.m_sinks.end() ? nullptr : found->second.sink;
    }

    /// How often the one who writes got on.
    static unsigned long long moves(traceimpl& dispatcher)
    {
        return dispatcher.m_sinkLock.progress().moves();
    }

    static std::size_t waiting(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        return dispatcher.waitingLines();
    }

    /// Of the lines that wait, those that are not staged any more.
    static std::size_t drained(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        return dispatcher.m_queue.size();
    }

    /// Of an attached sink.
    static const sinkcounts& counts(traceimpl& dispatcher, unsigned long long id)
    {
        drain(dispatcher);
        return dispatcher.m_sinks.at(id).counts;
    }

    /// Does something while nothing is drained, written or lost by others.
    template <class action_t>
    static void withBothLocks(const action_t& action)
    {
        const traceimpl::bothlocks locks(instance());
        action();
    }

    /// Of a sink that is attached behind the facade, while its counts do not change.
    static const sinkcounts& countsNow(unsigned long long id)
    {
        return instance().m_sinks.at(id).counts;
    }

    static void setLevel(unsigned long long id, tracelevel_t level)
    {
        const instancelock lock(instance().m_instanceMutex);
        tracestream& sink = *instance().m_sinks.at(id).sink;
        sink.clearLevels(level);
    }

    static unsigned long long nobodys(traceimpl& dispatcher) { return dispatcher.m_nobodys; }

    /// As at the end of the calling thread.
    static void leaveThread() { threadstage::leave(threadstage::get()); }

    /// The next line of every thread asks the dispatcher. Caller holds the instance lock.
    static void closeBudget(traceimpl& dispatcher) { dispatcher.m_budget.close(); }

    /// Moves what is staged to the queue.
    static void drain(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        dispatcher.drain();
    }

    /// As when many lines wait.
    static void prune(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        dispatcher.prune();
    }

    /// One queued line, as a test compares it.
    struct entry
    {
        std::wstring text;
        tracelevel_t level;
        formattedline::type_t type;
        const hashedfunction* function;
    };

    static std::vector<entry> entries(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        std::vector<entry> found;
        dispatcher.drain();
        lineunpacker unpacker;
        for (const queuedline& queued : dispatcher.m_queue.lines()) {
            formattedline line(unpacker.unpack(queued));
            found.push_back({formattedlinetest::body(line).c_str(), formattedlinetest::level(line),
                             formattedlinetest::type(line), formattedlinetest::function(line)});
        }
        return found;
    }

    /// The queued lines as a sink gets them.
    static std::vector<formattedline> records(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        std::vector<formattedline> found;
        dispatcher.drain();
        lineunpacker unpacker;
        for (const queuedline& queued : dispatcher.m_queue.lines()) {
            found.push_back(unpacker.unpack(queued));
        }
        return found;
    }

    static std::vector<std::wstring> texts(traceimpl& dispatcher)
    {
        std::vector<std::wstring> found;
        for (const entry& line : entries(dispatcher)) {
            found.push_back(line.text);
        }
        return found;
    }

    /// Drops what is queued, and the memory that is kept for lines to come.
    static void emptyQueue(traceimpl& dispatcher)
    {
        const instancelock lock(dispatcher.m_instanceMutex);
        dispatcher.m_queue.m_spare = {}; // what is taken leaves it behind
        dispatcher.takeAll();
    }

    /// Waits until the writer has finished a pass that began after the call: a first pass may have
    /// taken the queue before.
    static bool waitForWriter(traceimpl& dispatcher)
    {
        constexpr unsigned long long generous = 5000; // milliseconds
        return dispatcher.flushQueue(generous) && dispatcher.flushQueue(generous);
    }
};

/// Keeps the dispatcher behind the facade from writing, so that a test sees what is queued. The
/// queue is empty at first, and emptied at the end.
class heldqueue
{
public:
    heldqueue() : m_lock(traceimpltest::instance().m_instanceMutex)
    {
        traceimpltest::emptyQueue(traceimpltest::instance());
    }

    ~heldqueue() { traceimpltest::emptyQueue(traceimpltest::instance()); }

    heldqueue(const heldqueue&) = delete;
    heldqueue& operator=(const heldqueue&) = delete;

    std::vector<traceimpltest::entry> entries() const
    {
        return traceimpltest::entries(traceimpltest::instance());
    }
    std::vector<std::wstring> texts() const
    {
        return traceimpltest::texts(traceimpltest::instance());
    }

private:
    lockobject m_lock;
};
