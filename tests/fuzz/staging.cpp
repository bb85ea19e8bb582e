#include "trace/stage.h"

#include <tolvane/hashedfunction.h>

#include "support/stamps.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/encodedoperands.h"
#include "tests/fuzz/fuzzers.h"
#include "tests/fuzz/handclock.h"
#include "tests/helpers/formattedlinetest.h"
#include "trace/linedrain.h"
#include "trace/linequeue.h"
#include "trace/lineunpacker.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

const hashedfunction& function(std::size_t number)
{
    static const hashedfunction functions[] = {hashedfunction("void a::f()"),
                                               hashedfunction("void b::g()")};
    return functions[number];
}

/// What was traced, as the sinks are to get it.
struct traced
{
    unsigned long long stamp = 0;
    unsigned long long time = 0;
    unsigned long long thread = 0;
    const hashedfunction* function = nullptr;
    tracelevel_t level = tl_always;
    formattedline::type_t type = formattedline::tt_text;
    std::wstring text;
};

using lines_t = std::vector<traced>;

/// Puts a text that is too long for a line's payload in a block of its own.
template <class block_t>
void putBlock(stagedline& line, packedline::form_t form, block_t* block)
{
    std::memcpy(line.payload(), &block, sizeof block);
    line.size = sizeof block;
    line.form = form;
}

/// Room for a line with a payload of so many bytes, or with a block when they are too many.
stagedline& room(stage& in, std::size_t bytes)
{
    return in.prepare(bytes > packedline::longestPayload ? sizeof(void*) : bytes);
}

void putPayload(stagedline& line, packedline::form_t form, const void* bytes, std::size_t size)
{
    line.form = form;
    line.size = static_cast<unsigned short>(size);
    if (size != 0) {
        std::memcpy(line.payload(), bytes, size);
    }
}

stagedline& stageMarker(stage& in, traced& what, bool starts)
{
    what.type = starts ? formattedline::tt_starting : formattedline::tt_exiting;
    stagedline& line = room(in, 0);
    putPayload(line, packedline::noText, nullptr, 0);
    return line;
}

stagedline& stageOperands(stage& in, traced& what, fuzz::choices& input)
{
    fuzz::encodedoperands operands;
    for (std::size_t count = input.below(6); count != 0; --count) {
        operands.add(input);
    }
    what.text = operands.text();
    const std::string& bytes = operands.bytes();
    stagedline& line = room(in, bytes.size());
    if (bytes.size() > packedline::longestPayload) {
        auto* const block = new operandtext(bytes.size());
        std::copy(bytes.begin(), bytes.end(), block->bytes);
        putBlock(line, packedline::operandblock, block);
    } else {
        putPayload(line, packedline::operands, bytes.data(), bytes.size());
    }
    return line;
}

stagedline& stageText(stage& in, traced& what, fuzz::choices& input)
{
    what.text.assign(input.below(700), static_cast<wchar_t>(1 + input.below(0xFFFF)));
    const std::size_t bytes = what.text.size() * sizeof(wchar_t);
    stagedline& line = room(in, bytes);
    if (bytes > packedline::longestPayload) {
        putBlock(line, packedline::textblock, new tolvane::string(what.text.c_str()));
    } else {
        putPayload(line, packedline::characters, what.text.data(), bytes);
    }
    return line;
}

/// A thread's stage with what is in it.
class stagedlines
{
public:
    explicit stagedlines(unsigned int thread, linedrain& drain) : m_stage(new stage(1, thread))
    {
        drain.add(m_stage);
    }

    /// The thread leaves; its lines stay.
    ~stagedlines() { stage::release(m_stage); }

    stagedlines(const stagedlines&) = delete;
    stagedlines& operator=(const stagedlines&) = delete;

    stage& get() { return *m_stage; }

    /// Fills a line and notes when it was made; it comes into sight later.
    void begin(fuzz::choices& input, tracelevel_t level)
    {
        m_what = {};
        m_what.function = &function(input.below(2));
        m_what.level = level;
        m_what.thread = m_stage->threadId();
        const std::size_t kind = input.below(8);
        m_line = kind < 2   ? &stageMarker(*m_stage, m_what, kind == 0)
                 : kind < 5 ? &stageText(*m_stage, m_what, input)
                            : &stageOperands(*m_stage, m_what, input);
        m_line->function = m_what.function;
        m_line->level = level;
        m_line->type = static_cast<unsigned char>(m_what.type);
        m_what.stamp = tolvane::stamps::now();
    }

    bool hasBegun() const { return m_line != nullptr; }

    traced publish(unsigned long long time)
    {
        m_stage->publish(*m_line, m_what.stamp);
        m_line = nullptr;
        m_what.time = time;
        return m_what;
    }

    /// What was begun goes with its thread, and nobody sees it.
    void dropBegun()
    {
        if (m_line) {
            m_line->freeBlock();
            m_line = nullptr;
        }
    }

private:
    stage* m_stage;
    stagedline* m_line = nullptr;
    traced m_what;
};

constexpr std::size_t threads = 3;

class run
{
public:
    explicit run(fuzz::choices& input) : m_input(input)
    {
        tolvane::stamps::useSharedCounter(true);
        for (std::unique_ptr<stagedlines>& each : m_stages) {
            startThread(each);
        }
    }

    ~run()
    {
        for (std::unique_ptr<stagedlines>& each : m_stages) {
            each->dropBegun();
        }
        tolvane::stamps::useSharedCounter(false);
    }

    run(const run&) = delete;
    run& operator=(const run&) = delete;

    void step()
    {
        std::unique_ptr<stagedlines>& chosen = m_stages[m_input.below(threads)];
        switch (m_input.below(16)) {
        case 0:
            drain();
            break;
        case 1:
            write();
            break;
        case 2:
            m_queue.prune(m_generation, [this](const hashedfunction& of, tracelevel_t level) {
                return isRefused(&of, level);
            });
            forgetRefused();
            break;
        case 3:
            ++m_generation;
            m_greatestLevel = static_cast<tracelevel_t>(m_input.below(7));
            break;
        case 4:
            endThread(chosen);
            break;
        case 5:
            m_clock.set(m_input.number());
            break;
        case 6:
            refuse(chosen->get());
            break;
        case 7:
            chosen->get().doubt();
            m_doubts = true;
            break;
        case 8:
            tidy();
            break;
        case 9: // as many lines as take several chunks
            for (int line = 0; line < 40; ++line) {
                trace(*chosen);
            }
            break;
        case 10:
            if (!chosen->hasBegun()) {
                chosen->begin(m_input, chosenLevel());
            }
            break;
        default:
            trace(*chosen);
            break;
        }
        fuzz::check(m_drain.pending() == m_staged.size(), "the number of staged lines");
        fuzz::check(m_queue.size() == m_queued.size(), "the number of queued lines");
        fuzz::check(m_drain.hasDoubts() == m_doubts, "whether there are doubtful lines");
    }

    /// Nothing is left behind.
    void finish()
    {
        drain();
        write();
        takeRefused();
    }

private:
    tracelevel_t chosenLevel() { return static_cast<tracelevel_t>(m_input.below(7)); }

    void startThread(std::unique_ptr<stagedlines>& thread)
    {
        thread = std::make_unique<stagedlines>(++m_lastThread, m_drain);
    }

    void endThread(std::unique_ptr<stagedlines>& thread)
    {
        thread->dropBegun();
        startThread(thread);
    }

    void trace(stagedlines& in)
    {
        const stage::visit visit(in.get());
        if (!in.hasBegun()) {
            in.begin(m_input, chosenLevel());
        }
        m_staged.push_back(in.publish(m_clock.now()));
    }

    void refuse(stage& by)
    {
        by.refuse();
        ++m_refused;
    }

    void takeRefused()
    {
        fuzz::check(m_drain.takeRefused() == m_refused, "the number of refused lines");
        m_refused = 0;
    }

    /// A drain that finds nothing often enough gives memory back.
    void tidy()
    {
        constexpr int restfulDrains = 120;
        if (m_input.truth()) {
            takeRefused();
            m_drain.forgetDoubts();
            m_doubts = false;
        }
        for (int drains = m_input.truth() ? restfulDrains : 1; drains != 0; --drains) {
            m_drain.tidy();
        }
    }

    /// In the order in which they were made. A line that came into sight late is not waited for.
    void drain()
    {
        m_drain.run([this](stagedline& line, const stage& from) noexcept {
            m_queue.lines().append(line, {from.threadId(), from.name(), m_drain.utcOf(line)});
        });
        std::stable_sort(m_staged.begin(), m_staged.end(),
                         [](const traced& a, const traced& b) { return a.stamp < b.stamp; });
        m_queued.insert(m_queued.end(), m_staged.begin(), m_staged.end());
        m_staged.clear();
    }

    bool isRefused(const hashedfunction* of, tracelevel_t level) const
    {
        return of == &function(0) && level > m_greatestLevel;
    }

    void forgetRefused()
    {
        const auto isGone = [this](const traced& line) {
            return isRefused(line.function, line.level);
        };
        m_queued.erase(std::remove_if(m_queued.begin(), m_queued.end(), isGone), m_queued.end());
    }

    void write()
    {
        packedlines batch = m_queue.takeAll();
        auto expected = m_queued.begin();
        fuzz::check(batch.size() == m_queued.size(), "the number of lines in a pass");
        for (const queuedline& line : batch) {
            compare(m_unpacker.unpack(line), *expected++);
        }
        batch.clear();
        m_queue.keep(batch);
        m_queued.clear();
    }

    static void compare(const formattedline& record, const traced& expected)
    {
        formattedline found(record);
        const tolvane::string& text = formattedlinetest::body(found);
        fuzz::checkText(std::wstring(text.c_str(), static_cast<std::size_t>(text.length())),
                        expected.text, "text");
        fuzz::check(formattedlinetest::type(found) == expected.type, "a line's type");
        fuzz::check(formattedlinetest::level(found) == expected.level, "a line's level");
        fuzz::check(formattedlinetest::function(found) == expected.function, "a line's function");
        fuzz::check(formattedlinetest::time(found) == expected.time, "a line's time");
        fuzz::check(formattedlinetest::threadId(found) == expected.thread, "a line's thread");
    }

    fuzz::choices& m_input;
    fuzz::clockinuse m_clock;
    linedrain m_drain;
    linequeue m_queue;
    lineunpacker m_unpacker;
    std::unique_ptr<stagedlines> m_stages[threads];
    lines_t m_staged;
    lines_t m_queued;
    unsigned long long m_refused = 0;
    unsigned int m_lastThread = 0;
    unsigned int m_generation = 1;
    tracelevel_t m_greatestLevel = tl_trace;
    bool m_doubts = false;
};

} // namespace

void fuzz::staging(choices& input)
{
    run staging(input);
    while (!input.empty()) {
        staging.step();
    }
    staging.finish();
}
