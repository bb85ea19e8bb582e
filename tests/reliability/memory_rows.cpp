#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <sstream>
#include <streambuf>
#include <thread>
#include <utility>

namespace reliability {

namespace {

/// The text of each line, whole or cut where memory ran out.
const std::string& wholeText()
{
    static const std::string text = "line " + std::string(3000, 'x') + " end";
    return text;
}

/// Counts lines that are whole, and others.
class checkingsink : public tracestream
{
public:
    struct counts
    {
        std::atomic<unsigned long long> whole{0};
        std::atomic<unsigned long long> cut{0};
        std::atomic<unsigned long long> wrong{0};

        unsigned long long all() const { return whole + cut + wrong; }
    };

    checkingsink() : m_counts(std::make_shared<counts>()) {}

    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        const wchar_t* const separator = std::wcsstr(text.c_str(), L" : ");
        const std::string body = separator ? narrowed(separator + 3) : "?";
        if (body == wholeText()) {
            ++m_counts->whole;
        } else if (wholeText().compare(0, body.size(), body) == 0) {
            ++m_counts->cut;
        } else {
            ++m_counts->wrong;
        }
    }

    unsigned long long id() const override { return 0x3E3; }
    checkingsink* clone() const override { return new checkingsink(m_counts); }

    const counts& found() const { return *m_counts; }

private:
    explicit checkingsink(std::shared_ptr<counts> shared) : m_counts(std::move(shared)) {}

    static std::string narrowed(const wchar_t* text)
    {
        std::string result;
        for (; *text; ++text) {
            result += static_cast<char>(*text);
        }
        return result;
    }

    std::shared_ptr<counts> m_counts;
};

/// Something during which memory runs out.
struct failing
{
    bool hasThrown = false;
    bool wasFelt = false;
    std::string wrong;
};

/// Lets the calling thread's allocations fail, from one on.
template <class action_t>
failing runShort(unsigned long long after, const action_t& action)
{
    failing result;
    const unsigned long long before = allocations::count();
    try {
        const allocations::failure none(after);
        action();
    } catch (const std::bad_alloc&) {
        result.hasThrown = true;
    } catch (...) {
        result.wrong = "another exception than std::bad_alloc passed";
    }
    result.wasFelt = allocations::count() - before >= after;
    return result;
}

void traceWhole(unsigned long long& made)
{
    TOLVANE_SCOPE(log);
    ++made;
    TOLVANE_LOG(log, tl_info) << wholeText();
}

void traceInParts(unsigned long long& made)
{
    TOLVANE_SCOPE(log);
    ++made;
    TOLVANE_LOGF(log, tl_info, "%s%s end", "line ", std::string_view(wholeText()).substr(5, 3000));
}

/// Not converted as it is gathered, but when it is inserted.
void traceWide(unsigned long long& made)
{
    static const std::wstring wide(wholeText().begin(), wholeText().end());
    TOLVANE_SCOPE(log);
    ++made;
    TOLVANE_LOG(log, tl_info) << wide;
}

using linekind = void (*)(unsigned long long& made);

constexpr linekind kinds[] = {traceWhole, traceInParts, traceWide};

/// A thread that waits for something to do, so that none is started for each time: what a report
/// needs grows with the threads that there were.
class companion
{
public:
    companion() : m_thread([this] { work(); }) {}

    ~companion()
    {
        run(nullptr);
        m_thread.join();
    }

    companion(const companion&) = delete;
    companion& operator=(const companion&) = delete;

    /// Returns when it has done it; null ends the thread.
    void run(std::function<void()> action)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_action = std::move(action);
        m_isAsked = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_isAsked; });
    }

private:
    void work()
    {
        for (bool goesOn = true; goesOn;) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return m_isAsked; });
            goesOn = static_cast<bool>(m_action);
            if (goesOn) {
                m_action();
            }
            m_isAsked = false;
            m_changed.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::function<void()> m_action;
    bool m_isAsked = false;
    std::thread m_thread;
};

/// What comes afterwards, on this thread and on another one, must be as ever.
std::string wrongLater(const checkingsink& sink)
{
    static companion other;
    unsigned long long made = 0;
    const unsigned long long before = sink.found().whole;
    const auto traceAll = [&made] {
        for (const linekind trace : kinds) {
            trace(made);
        }
    };
    traceAll();
    other.run(traceAll);
    if (!trace::sync(generousWait)) {
        return "the writer did not come to an end";
    }
    return sink.found().whole - before == made ? "" : "later lines are not whole";
}

/// Whether an attempt leaves more memory in use each time. Some is kept for later the first times.
template <class attempt_t>
std::string wrongGrowth(const attempt_t& attempt)
{
    constexpr int mostTimes = 5;
    long long grown = 1;
    for (int time = 0; time < mostTimes && grown > 0; ++time) {
        const long long before = allocations::bytesInUse();
        attempt();
        grown = allocations::bytesInUse() - before;
    }
    return grown > 0 ? std::to_string(grown) + " bytes were not released" : "";
}

/// A line whose n-th allocation fails, on a new thread, which has or has not traced before.
std::string wrongLine(linekind trace, bool isFirst, unsigned long long after,
                      const checkingsink& sink, outcome& found, bool& wasFelt)
{
    const unsigned long long lostBefore = trace::lost();
    const unsigned long long allBefore = sink.found().all();
    unsigned long long made = 0;
    failing result;
    std::thread([&] {
        if (!isFirst) {
            trace(made);
        }
        result = runShort(after, [&] { trace(made); });
    }).join();
    wasFelt = result.wasFelt;
    trace::sync(generousWait);
    const unsigned long long lost = made - (sink.found().all() - allBefore);
    found.made += made;
    found.lost += lost;
    if (!result.wrong.empty()) {
        return result.wrong;
    }
    if (sink.found().wrong != 0) {
        return "a line of another text";
    }
    return trace::lost() - lostBefore == lost ? "" : "other lines were counted as lost";
}

void addLines(linekind trace, bool isFirst, const checkingsink& sink, outcome& found)
{
    bool wasFelt = true;
    for (unsigned long long after = 0; wasFelt; ++after) {
        std::string wrong;
        const std::string grown = wrongGrowth([&] {
            const std::string lately = wrongLine(trace, isFirst, after, sink, found, wasFelt);
            wrong = wrong.empty() ? lately : wrong;
        });
        wrong = wrong.empty() ? grown : wrong;
        found.add(wrong.empty() ? wrongLater(sink) : wrong);
    }
}

outcome noMemoryForLine(unsigned long long times)
{
    outcome found;
    const checkingsink sink;
    const attached attachment(sink, tl_info);
    wrongLater(sink);
    for (unsigned long long round = 0; round < times; ++round) {
        for (const linekind trace : kinds) {
            addLines(trace, true, sink, found);
            addLines(trace, false, sink, found);
        }
    }
    return found;
}

/// Lets each allocation of something fail that may throw and has then changed nothing.
template <class action_t, class check_t>
void addFailures(outcome& found, const checkingsink& sink, const action_t& action,
                 const check_t& wrongState)
{
    for (unsigned long long after = 0;; ++after) {
        failing last;
        const std::string grown = wrongGrowth([&] {
            if (last.wrong.empty()) {
                last = runShort(after, action);
            }
        });
        if (!last.hasThrown && last.wrong.empty()) {
            break;
        }
        std::string wrong = last.wrong.empty() ? grown : last.wrong;
        wrong = wrong.empty() ? wrongState() : wrong;
        found.add(wrong.empty() ? wrongLater(sink) : wrong);
    }
}

std::string wrongLevel(tracelevel_t expected)
{
    return trace::level(std::string("other::function")) == expected ? "" : "a level has changed";
}

outcome noMemoryForRegistration(unsigned long long times)
{
    outcome found;
    const checkingsink sink;
    const attached attachment(sink, tl_info);
    wrongLater(sink);
    const auto nothing = [] { return wrongLevel(tl_info); };
    for (unsigned long long round = 0; round < times; ++round) {
        addFailures(
            found, sink,
            [] { trace::registerfunction("void ns::long_class_name<int>::long_function_name()"); },
            nothing);
        addFailures(
            found, sink,
            [] { trace::registerfunction(L"void ns::long_class_name<int>::long_function_name()"); },
            nothing);
        addFailures(
            found, sink, [] { trace::level(std::string("ns::long_class_name::function")); },
            nothing);
        addFailures(
            found, sink, [] { trace::setLevel(tl_debug, "other::function"); }, nothing);
        addFailures(
            found, sink, [] { trace::clearLevels("other::function"); },
            [] { return wrongLevel(tl_debug); });
        trace::clearLevels(tl_debug);
        addFailures(
            found, sink, [] { trace::clearLevels(tl_info); }, [] { return wrongLevel(tl_debug); });
    }
    return found;
}

void addOutputFailures(outcome& found, const checkingsink& sink, const tracestream& added)
{
    addFailures(
        found, sink, [&added] { trace::output(added); }, [] { return wrongLevel(tl_info); });
    trace::remove(added);
}

outcome noMemoryForOutput(unsigned long long times)
{
    outcome found;
    const temporaryfolder folder;
    std::ostringstream stream;
    const checkingsink sink;
    const attached attachment(sink, tl_info);
    wrongLater(sink);
    for (unsigned long long round = 0; round < times; ++round) {
        addOutputFailures(found, sink, filetracestream(folder.file("trace.log").c_str()));
        addOutputFailures(found, sink,
                          rotatingfilestracestream(folder.file("rotated.log").c_str(), 3, 100, 1));
        addOutputFailures(found, sink, ostreamtracestream<char>(stream));
        addOutputFailures(found, sink, actingsink(1));
        // one that would replace the sink: which takes lines, as long as that fails
        addFailures(
            found, sink, [&sink] { trace::output(sink); }, [] { return wrongLevel(tl_info); });
        trace::setLevel(tl_info);
        addFailures(
            found, sink, [] { trace::remove(actingsink(1)); }, [] { return wrongLevel(tl_info); });
    }
    return found;
}

/// A report of a thread with two functions on its stack.
failing reportShort(unsigned long long after, unsigned long long& stackAfter)
{
    static const hashedfunction& function = trace::registerfunction("void reported()");
    static const tolvane::string message("the report's message");
    stacktrace::down(&function);
    stacktrace::down(&function);
    const failing result = runShort(after, [] { stacktrace::FaultHandler(message); });
    stackAfter = stacktrace::getTrace().size();
    while (!stacktrace::up()) {
    }
    return result;
}

outcome noMemoryForReport(unsigned long long times)
{
    outcome found;
    const checkingsink sink;
    const attached attachment(sink, tl_info);
    wrongLater(sink);
    for (unsigned long long round = 0; round < times; ++round) {
        bool wasFelt = true;
        for (unsigned long long after = 0; wasFelt; ++after) {
            unsigned long long stack = 0;
            failing last;
            const std::string grown = wrongGrowth([&] {
                last = reportShort(after, stack);
                trace::sync(generousWait);
            });
            wasFelt = last.wasFelt;
            std::string wrong = last.wrong.empty() ? grown : last.wrong;
            if (wrong.empty() && stack != 0 && stack != 2) {
                wrong = "a stack of " + std::to_string(stack) + " functions is left";
            }
            found.add(wrong.empty() ? wrongLater(sink) : wrong);
        }
    }
    return found;
}

/// Counts the lines that are written to a stream. It needs no memory: what a stream of the
/// application's does without is its own business.
class linecounter : public std::streambuf
{
public:
    unsigned long long lines() const { return m_lines; }

private:
    int_type overflow(int_type character) override
    {
        m_lines += traits_type::eq_int_type(character, '\n') ? 1U : 0U;
        return traits_type::not_eof(character);
    }

    std::atomic<unsigned long long> m_lines{0};
};

/// What the sinks of the writer's row have got.
struct writersinks
{
    unsigned long long arrived() const
    {
        return sink.found().all() + filelines(folder.file("trace.log")).whole +
               filelines(folder.file("rotated.log")).whole + counter.lines();
    }

    static constexpr unsigned long long sinks = 4;

    const temporaryfolder folder;
    const checkingsink sink;
    const filetracestream file{folder.file("trace.log").c_str()};
    const rotatingfilestracestream rotating{folder.file("rotated.log").c_str(), 2, 1000000, 0};
    linecounter counter;
    std::ostream stream{&counter};
    const ostreamtracestream<char> streamSink{stream};
    const attached first{sink, tl_info};
    const attached second{file, tl_info};
    const attached third{rotating, tl_info};
    const attached fourth{streamSink, tl_info};
};

std::string wrongPass(unsigned long long after, outcome& found, bool& wasFelt)
{
    constexpr int lines = 6;
    writersinks sinks;
    const unsigned long long lostBefore = trace::lost();
    unsigned long long made = 0;
    for (int line = 0; line < lines; ++line) {
        kinds[line % 3](made);
    }
    std::string wrong;
    {
        const allocations::shortage none(after);
        try {
            wrong = trace::sync(generousWait) ? "" : "the writer did not come to an end";
        } catch (const std::bad_alloc&) {
        }
        wasFelt = none.wasFelt();
    }
    trace::sync(generousWait);
    const unsigned long long missing = writersinks::sinks * made - sinks.arrived();
    found.made += writersinks::sinks * made;
    found.lost += missing;
    if (wrong.empty() && missing != trace::lost() - lostBefore) {
        wrong = std::to_string(missing) + " lines are missing, " +
                std::to_string(trace::lost() - lostBefore) + " were counted, allocation " +
                std::to_string(after);
    }
    return wrong.empty() ? wrongLater(sinks.sink) : wrong;
}

outcome noMemoryForWriter(unsigned long long times)
{
    outcome found;
    for (unsigned long long round = 0; round < times; ++round) {
        bool wasFelt = true;
        for (unsigned long long after = 0; wasFelt; ++after) {
            found.add(wrongPass(after, found, wasFelt));
        }
    }
    return found;
}

constexpr const char* promise =
    "Only std::bad_alloc passes, all locks are free, nothing leaks, and later lines are whole.";

} // namespace

group memoryRows()
{
    return {
        "memory",
        {
            {"no-memory-for-line",
             {1, 100, 1, 20},
             "the n-th allocation of a line fails and all that follow, for every n; a thread's "
             "first line, and a later one",
             "The line is cut or lost, and counted then. Only std::bad_alloc passes, all locks are "
             "free, nothing leaks, and later lines are whole.",
             noMemoryForLine},
            {"no-memory-for-registration",
             {1, 100, 1, 20},
             "the same when functions are registered, and levels set, cleared and asked for",
             promise,
             noMemoryForRegistration},
            {"no-memory-for-output",
             {1, 100, 1, 20},
             "the same when sinks of all kinds are attached, replaced and removed",
             promise,
             noMemoryForOutput},
            {"no-memory-for-report",
             {1, 100, 1, 20},
             "the same for a report of all stacks",
             promise,
             noMemoryForReport},
            {"no-memory-for-writer",
             {1, 20, 1, 5},
             "the n-th allocation of the whole process fails and all that follow, for every n, "
             "while the writer has six lines for four kinds of sinks",
             "The writer lives on; lines are lost and counted; later lines are whole.",
             noMemoryForWriter},
        }};
}

} // namespace reliability
