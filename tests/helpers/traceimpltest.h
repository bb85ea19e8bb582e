#pragma once

#include <tolvane/hashedfunction.h>

#include "tests/helpers/formattedlinetest.h"
#include "trace/traceimpl.h"
#include "trace/writethread.h"

#include <string>
#include <vector>

/// Looks into a dispatcher.
struct traceimpltest
{
    /// The one behind the facade.
    static traceimpl& instance() { return safesingleton<traceimpl>::instance(); }

    static tolvane::Mutex& streamMutex(traceimpl& dispatcher) { return dispatcher.m_streamMutex; }
    static tolvane::Event<bool>& written(traceimpl& dispatcher) { return dispatcher.m_written; }
    static tolvane::ThreadControl& writer(traceimpl& dispatcher)
    {
        return dispatcher.m_writeThread;
    }
    static std::atomic<bool>& running(traceimpl& dispatcher) { return dispatcher.m_running; }
    static std::atomic<bool>& stopped(traceimpl& dispatcher) { return dispatcher.m_stopped; }

    static std::size_t spareLines(traceimpl& dispatcher) { return dispatcher.m_spareLines.size(); }
    static std::size_t sinks(traceimpl& dispatcher) { return dispatcher.m_streams.size(); }
    static std::size_t functions(traceimpl& dispatcher)
    {
        const lockobject lock(dispatcher.m_instanceMutex);
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
        const lockobject lock(dispatcher.m_instanceMutex);
        dispatcher.queueLine(level, function, line);
    }

    static void queueMarker(traceimpl& dispatcher, const hashedfunction& function,
                            formattedline::type_t type)
    {
        const lockobject lock(dispatcher.m_instanceMutex);
        dispatcher.queueMarker(function, type);
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
        const lockobject lock(dispatcher.m_instanceMutex);
        std::vector<entry> found;
        for (const auto& counted : dispatcher.m_queue) {
            formattedline& line = *counted;
            found.push_back({formattedlinetest::body(line).c_str(), formattedlinetest::level(line),
                             formattedlinetest::type(line), formattedlinetest::function(line)});
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
        const lockobject lock(dispatcher.m_instanceMutex);
        dispatcher.takeQueue();
        dispatcher.m_spareLines.clear();
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
