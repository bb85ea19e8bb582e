#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"
#include "tests/reliability/misuse.h"

#include "tests/helpers/attached.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <thread>

namespace {

std::atomic<bool> allocatorTraces{false};
thread_local bool isTracing = false;

/// As an application's allocator may that watches what it gives.
void traceAllocation(std::size_t size)
{
    if (allocatorTraces && !isTracing) {
        isTracing = true;
        {
            TOLVANE_SCOPE(log);
            TOLVANE_LOG(log, tl_info) << "allocated " << size;
        }
        isTracing = false;
    }
}

/// Behind a pointer: compilers take what they see of one operator alone for a mistake.
void (*volatile const release)(void*) = std::free;

} // namespace

void* operator new(std::size_t size)
{
    traceAllocation(size);
    if (void* const memory = std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

/// Sanitizers have one of their own, which does not come here by itself.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    traceAllocation(size);
    return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}

namespace reliability {

namespace {

void traceLines(const char* prefix, unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << prefix << ' ' << line;
    }
}

std::string wrongCount(const char* what, unsigned long long found, unsigned long long expected)
{
    return found == expected
               ? ""
               : std::to_string(found) + " instead of " + std::to_string(expected) + ' ' + what;
}

/// Cannot be cloned any more once it is told so.
class unclonablesink : public tracestream
{
public:
    enum trouble : int
    {
        none,
        null,
        exception,
    };

    explicit unclonablesink(trouble what) : m_trouble(what) {}

    void log(const formattedline&) override { ++lines; }
    unsigned long long id() const override { return 1; }

    unclonablesink* clone() const override
    {
        if (m_trouble == exception) {
            throw std::runtime_error("no clone");
        }
        return m_trouble == null ? nullptr : new unclonablesink(none);
    }

    static inline std::atomic<unsigned long long> lines{0};

private:
    const trouble m_trouble;
};

std::string whatIsThrown(const tracestream& sink)
{
    try {
        trace::output(sink);
    } catch (const std::bad_alloc&) {
        return "bad_alloc";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

outcome failingClones(unsigned long long times)
{
    constexpr unsigned long long lines = 10;
    outcome found;
    const unclonablesink good(unclonablesink::none);
    const attached all(good, tl_info);
    for (unsigned long long run = 0; run < times; ++run) {
        const unsigned long long before = unclonablesink::lines;
        const std::string ofNull = whatIsThrown(unclonablesink(unclonablesink::null));
        const std::string ofThrown = whatIsThrown(unclonablesink(unclonablesink::exception));
        traceLines("line", lines);
        trace::sync(generousWait);
        const unsigned long long written = unclonablesink::lines - before;
        found.made += lines;
        found.lost += lines - written;
        found.add(ofNull != "bad_alloc" || ofThrown != "no clone"
                      ? "thrown: " + ofNull + ", " + ofThrown
                      : wrongCount("lines", written, lines));
    }
    return found;
}

/// Does within a call what an application does elsewhere.
void callFacade(unsigned long long number)
{
    constexpr unsigned long long busyCalls = 100;
    if (number > busyCalls) {
        return; // what it traces comes back to it
    }
    const actingsink other(2);
    traceLines("inner", 1);
    trace::flush(0);
    trace::flush(10);
    trace::sync(10);
    trace::setLevel(tl_debug, L"reliability::misuse");
    trace::clearLevels(L"reliability::misuse");
    trace::output(other).setLevel(tl_info);
    trace::remove(other);
    trace::lost();
}

outcome callingSink(unsigned long long times)
{
    constexpr unsigned long long lines = 200;
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const actingsink calling(1, callFacade);
        const actingsink beside(3);
        {
            const attached first(calling, tl_info);
            const attached second(beside, tl_info);
            traceLines("outer", lines);
            trace::sync(generousWait);
            trace::flush(0);
        }
        constexpr unsigned long long all = lines + 100; // what was traced within
        found.made += all;
        found.lost += all - beside.written();
        found.add(wrongCount("lines", beside.written(), all));
    }
    return found;
}

/// Removes the sink that it is called by.
void removeItself(unsigned long long number)
{
    if (number == 3) {
        trace::remove(actingsink(1));
    }
}

outcome sinkRemovedByItself(unsigned long long times)
{
    constexpr unsigned long long lines = 10;
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const actingsink leaving(1, removeItself);
        const actingsink beside(2);
        const attached second(beside, tl_info);
        trace::output(leaving).setLevel(tl_info);
        traceLines("line", lines);
        trace::sync(generousWait);
        found.made += lines;
        found.lost += lines - beside.written();
        const std::string wrong = wrongCount("lines beside", beside.written(), lines);
        // the lines of the pass that was running may still come
        found.add(!wrong.empty()             ? wrong
                  : leaving.called() < 3     ? "the sink was gone before"
                  : leaving.called() > lines ? "too many lines"
                                             : "");
    }
    return found;
}

/// Takes its time, and traces.
void dawdle(unsigned long long number)
{
    if (number % 2 != 0) {
        traceLines("inner", 1);
    }
    std::this_thread::yield();
}

outcome sinkRemovedByAnother(unsigned long long times)
{
    outcome found;
    std::atomic<bool> isOver{false};
    std::thread tracing([&isOver] {
        while (!isOver) {
            traceLines("line", 10);
            std::this_thread::yield();
        }
    });
    for (unsigned long long run = 0; run < times; ++run) {
        const actingsink sink(1, dawdle);
        trace::output(sink).setLevel(tl_info);
        while (sink.called() == 0) {
            std::this_thread::yield();
        }
        trace::remove(sink);
        const unsigned long long called = sink.called();
        traceLines("late", 10);
        trace::flush(0);
        found.add(wrongCount("calls", sink.called(), called));
    }
    isOver = true;
    tracing.join();
    return found;
}

struct unwound
{
    ~unwound() { traceLines("unwinding", 1); }
};

void throwThrough(int depth)
{
    const unwound traces;
    TOLVANE_SCOPE(log);
    if (depth == 0) {
        throw std::runtime_error("unwinds");
    }
    throwThrough(depth - 1);
}

outcome traceUnwinding(unsigned long long times)
{
    constexpr int depth = 20;
    outcome found;
    const actingsink sink(1);
    const attached all(sink, tl_info);
    for (unsigned long long run = 0; run < times; ++run) {
        try {
            throwThrough(depth - 1);
        } catch (const std::runtime_error&) {
            found.made += depth;
        }
        trace::sync(generousWait);
        found.add(stacktrace::getTrace().size() != 0
                      ? "functions are left on the stack"
                      : wrongCount("lines", sink.called(), found.made));
    }
    found.lost = found.made - sink.called();
    return found;
}

struct lastwords
{
    ~lastwords() { traceLines("last words", 1); }
    void prepare() {}
};

thread_local lastwords words;

outcome traceAtThreadEnds(unsigned long long times)
{
    outcome found;
    const actingsink sink(1);
    const attached all(sink, tl_info);
    for (unsigned long long run = 0; run < times; ++run) {
        std::thread([run] {
            if (run % 2 == 0) {
                traceLines("first", 1);
            }
            words.prepare();
        }).join();
        found.made += run % 2 == 0 ? 2U : 1U;
        trace::sync(generousWait);
        found.add(wrongCount("lines", sink.called(), found.made));
    }
    found.lost = found.made - sink.called();
    return found;
}

/// Everything on the way of lines to a file, while each allocation traces.
outcome traceAllocations(unsigned long long times)
{
    constexpr unsigned long long lines = 100;
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const temporaryfolder folder;
        const std::string path = folder.file("trace.log");
        const actingsink counting(1);
        allocatorTraces = true;
        {
            const filetracestream toFile(path.c_str());
            const attached first(toFile, tl_info);
            const attached second(counting, tl_info);
            for (unsigned long long line = 0; line < lines; ++line) {
                TOLVANE_SCOPE(log);
                TOLVANE_LOG(log, tl_info) << "main " << std::string(300, 'x') << L'\xE4' << 1.5;
            }
            trace::flush(0);
            allocatorTraces = false;
        }
        const filelines file(path);
        std::ifstream text(path, std::ios::binary);
        unsigned long long mains = 0;
        for (std::string line; std::getline(text, line);) {
            mains += line.find(": main xxx") != std::string::npos ? 1U : 0U;
        }
        unsigned long long names = 0;
        for (const auto& entry :
             std::filesystem::directory_iterator(std::filesystem::path(path).parent_path())) {
            static_cast<void>(entry);
            ++names;
        }
        found.made += lines;
        found.lost += lines - mains;
        found.add(names != 1       ? std::to_string(names) + " files"
                  : file.torn != 0 ? std::to_string(file.torn) + " torn lines"
                                   : wrongCount("lines", mains, lines));
    }
    return found;
}

} // namespace

group misuseRows()
{
    group rows{
        "misuse",
        {
            {"clone-fails",
             {100, 10000, 20, 1000},
             "a sink's clone() returns null, and throws",
             "What it throws, or std::bad_alloc for null, comes out of output(), and the sink of "
             "that id that was attached before stays.",
             failingClones},
            {"sink-calls-facade",
             {5, 500, 2, 50},
             "a sink traces, flushes, sets levels, attaches and removes sinks within log()",
             "What it traces comes back to it later; its flushes return at once; sinks and levels "
             "change.",
             callingSink},
            {"sink-removes-itself",
             {100, 10000, 20, 1000},
             "a sink removes itself within log()",
             "It is destroyed when the pass is over; the other sinks get all lines.",
             sinkRemovedByItself},
            {"sink-removed-while-writing",
             {100, 10000, 20, 1000},
             "a sink that traces is removed by another thread while it writes",
             "remove() waits until the pass is over; no line comes to the sink afterwards.",
             sinkRemovedByAnother},
            {"unwinding-traces",
             {100, 10000, 20, 1000},
             "destructors trace while an exception unwinds 20 traced functions",
             "Their lines are written, and the thread's stack is right.",
             traceUnwinding},
            {"thread-local-destructor-traces",
             {100, 10000, 20, 1000},
             "the destructor of a thread_local object traces",
             "Its lines are written, whether its thread traced before or not.",
             traceAtThreadEnds},
            {"allocator-traces",
             {5, 500, 2, 50},
             "the application's operator new traces, whoever calls it",
             "Its lines are written, or lost and counted within the library; files have their "
             "names, and all other lines are whole.",
             traceAllocations},
        }};
    std::vector<row> more = platformMisuse();
    for (row& each : more) {
        rows.rows.push_back(std::move(each));
    }
    return rows;
}

} // namespace reliability
