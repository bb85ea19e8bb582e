#include "sinks/passwriter.h"

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/rotatingfilestracestream.h>

#include "sinks/levelgeneration.h"
#include "sinks/linerecorder.h"
#include "sinks/rotation.h"
#include "stacktrace/structuredexception.h"
#include "support/coldpath.h"
#include "support/filesystem.h"
#include "support/nocancellation.h"
#include "support/writesignals.h"
#include "trace/faultpoint.h"
#include "trace/insidelibrary.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace {

/// Bytes; what is gathered for a file beyond that is written before the pass ends.
constexpr std::size_t mostGathered = 1 << 20;

/// Bytes; most lines are shorter.
constexpr std::size_t usualLine = 128;

void publishCount(unsigned long long& counted, std::atomic<unsigned long long>& count) noexcept
{
    if (counted != 0) {
        count.fetch_add(std::exchange(counted, 0), std::memory_order_relaxed);
    }
}

/// A call of its own: a compiler expects an exception from a call, and not from reading where the
/// code of a sink is, which may be unloaded.
TOLVANE_COLD void logTo(tracestream& sink, const formattedline& line)
{
    const outsidelibrary outside;
    sink.log(line);
}

} // namespace

void passwriter::tally::publish(sinkcounts& counts) noexcept
{
    publishCount(written, counts.written);
    publishCount(refused, counts.refused);
    for (int reason = 0; reason < sinkcounts::reasons; ++reason) {
        publishCount(lost[reason], counts.lost[reason]);
    }
}

TOLVANE_COLD passwriter::destination::destination(attachedsink& target)
    : attached(target),
      isStream(target.sink->m_kind == tracestream::sk_stream),
      rotating(target.sink->m_kind == tracestream::sk_rotatingfile
                   ? static_cast<rotatingfilestracestream*>(target.sink)
                   : nullptr),
      recorder(target.sink->m_kind == tracestream::sk_recorder
                   ? static_cast<recordertracestream*>(target.sink)
                   : nullptr)
{
    file = target.sink->m_kind == tracestream::sk_file ? static_cast<filetracestream*>(target.sink)
                                                       : rotating;
    if (file) {
        path = file->path();
    }
}

passwriter::passwriter(sinkmap_t& sinks, passprogress& progress, const sinkchoice& which)
    : m_progress(progress), m_forks(progress.forks())
{
    m_destinations.reserve(sinks.size()); // they are pointed to
    for (auto& sink : sinks) {
        if (which.has(sink.first)) {
            m_destinations.emplace_back(sink.second);
        }
    }
    group();
    m_gathers = filesDiffer();
}

/// Whether the process was forked within the pass, and this is the new one.
bool passwriter::isOthers() const noexcept
{
    return m_progress.forks() != m_forks;
}

/// A faulty sink is in some group for its counts only.
TOLVANE_COLD void passwriter::group()
{
    const bool hasCustom =
        std::any_of(m_destinations.begin(), m_destinations.end(),
                    [](const destination& to) { return to.isCustom() && !to.attached.isFaulty; });
    for (destination& to : m_destinations) {
        m_groups[to.isStream && !hasCustom ? 1 : 0].push_back(&to);
    }
}

/// Two names may be those of one file; files that exist tell whether they are. A file that does not
/// is nobody's until it takes its first line.
TOLVANE_COLD bool passwriter::filesDiffer()
{
    const auto fileCount = std::count_if(m_destinations.begin(), m_destinations.end(),
                                         [](const destination& to) { return to.file != nullptr; });
    std::vector<tolvane::FileIdentity> files;
    for (destination& to : m_destinations) {
        if (!to.file || fileCount == 1) {
            continue;
        }
        tolvane::FileIdentity identity;
        to.isMissing = !tolvane::FileSystem::current().identify(to.path, identity);
        if (to.isMissing) {
            continue;
        }
        if (std::find(files.begin(), files.end(), identity) != files.end()) {
            return false;
        }
        files.push_back(identity);
    }
    return true;
}

/// A cancellation would unwind through here: see NoCancellation.
void passwriter::write(const packedlines& batch) noexcept
{
    const tolvane::NoCancellation noCancellation;
    const tolvane::WriteSignals noSignals;
    m_unpacked = nullptr; // another batch may lie in the same memory
    makeRoom(batch.size());
    for (const group_t& sinks : m_groups) {
        writeTo(sinks, batch);
    }
    publish();
}

/// Each line is out of the list before it is given: the sink may have the recorder dumped.
void passwriter::write(std::list<formattedline>& kept, const formattedline* last) noexcept
{
    const tolvane::NoCancellation noCancellation;
    const tolvane::WriteSignals noSignals;
    m_isWithinCall = true;
    std::list<formattedline> next;
    while (!kept.empty() && !isOthers()) {
        next.splice(next.begin(), kept, kept.begin());
        giveAll(next.front());
        next.clear();
    }
    if (last) {
        giveAll(*last);
    }
    settleAll();
    publish();
}

void passwriter::giveAll(const formattedline& record) noexcept
{
    for (destination& to : m_destinations) {
        if (!isOthers()) {
            give(to, record);
        }
    }
    m_progress.move();
}

/// What is gathered does not move while it grows, then. Without memory it may still grow.
void passwriter::makeRoom(std::size_t lines) noexcept
{
    try {
        for (destination& to : m_destinations) {
            if (to.file) {
                to.bytes.reserve(std::min(lines * usualLine, mostGathered));
                to.lineEnds.reserve(lines);
            }
        }
    } catch (const std::bad_alloc&) {
    }
}

void passwriter::writeTo(const group_t& sinks, const packedlines& batch) noexcept
{
    if (sinks.empty()) {
        return;
    }
    for (const queuedline& line : batch) {
        for (destination* const to : sinks) {
            if (isOthers()) {
                return;
            }
            offer(*to, line);
        }
        m_progress.move();
    }
    settleAll();
}

void passwriter::offer(destination& to, const queuedline& line) noexcept
{
    if (line.level > levelOf(to, *line.function)) {
        ++to.counted.refused;
        return;
    }
    if (to.attached.isFaulty) {
        ++to.counted.lost[trace::destination];
    } else if (const formattedline* const record = recordOf(line)) {
        give(to, *record);
    } else {
        ++to.counted.lost[trace::noMemory];
    }
}

void passwriter::give(destination& to, const formattedline& record) noexcept
{
    if (to.attached.isFaulty) {
        ++to.counted.lost[trace::destination];
        return;
    }
    try {
        if (to.file) {
            writeToFile(to, record);
        } else {
            callSink(to, record);
        }
    } catch (...) {
        // the other sinks, and the lines that follow, are none of this sink's business
        ++to.counted.lost[reasonOfException(to)];
    }
}

/// Made for the first sink that takes the line.
/// \return null when there is no memory.
const formattedline* passwriter::recordOf(const queuedline& line) noexcept
{
    if (m_unpacked == &line) {
        return m_record;
    }
    m_unpacked = nullptr;
    try {
        faultpoint::reach(faultpoint::unpacking);
        m_record = &m_unpacker.unpack(line);
        m_unpacked = &line;
        return m_record;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// The generation is read before the level is looked up: a change in between is noticed next time.
tracelevel_t passwriter::levelOf(destination& of, const hashedfunction& function) noexcept
{
    const unsigned int generation = levelgeneration::current();
    if (of.lastFunction != &function || of.generation != generation) {
        of.level = of.attached.sink->level(function);
        of.lastFunction = &function;
        of.generation = generation;
    }
    return of.level;
}

void passwriter::writeToFile(destination& to, const formattedline& line)
{
    if (m_gathers && to.isMissing) {
        stopGathering();
    }
    gather(to, line);
    if (!m_gathers || to.bytes.size() > mostGathered) {
        settle(to);
    }
}

/// The rest of the pass goes line by line.
void passwriter::stopGathering() noexcept
{
    settleAll();
    m_gathers = false;
}

/// The sink may look at files, and it may never come back.
void passwriter::callSink(destination& to, const formattedline& line)
{
    faultpoint::reach(faultpoint::callingSink);
    settleAll();
    publish();
    if (to.isStream) {
        m_encoder.text(line); // it would do so itself, but not know the last line's time
    }
    if (to.recorder) {
        to.recorder->m_recorder->m_progress = &m_progress;
    }
    std::optional<passprogress::foreigncall> call;
    if (!m_isWithinCall) {
        call.emplace(m_progress, to.attached);
    }
    logTo(*to.attached.sink, line);
    ++to.counted.written;
    collect(to);
}

/// Kept lines counted as written; those that the recorder's sink has lost do not any more.
void passwriter::collect(destination& to) noexcept
{
    if (!to.recorder || isOthers()) {
        return;
    }
    recordertracestream::Impl& impl = *to.recorder->m_recorder;
    attachedsink& target = impl.m_target.begin()->second;
    for (int reason = 0; reason < sinkcounts::reasons; ++reason) {
        const unsigned long long lost = target.counts.lost[reason].exchange(0);
        to.counted.lost[reason] += lost;
        to.counted.written -= lost;
    }
    if (const int error = target.lastError) {
        to.attached.lastError = error;
    }
    if (impl.m_fault) {
        to.attached.isFaulty = true;
        m_fault = m_fault ? m_fault : impl.m_fault;
        impl.m_fault = nullptr;
    }
}

void passwriter::dump(const recordertracestream* recorder) noexcept
{
    const tolvane::NoCancellation noCancellation;
    const tolvane::WriteSignals noSignals;
    for (destination& to : m_destinations) {
        if (!to.recorder || to.attached.isFaulty || (recorder && to.recorder != recorder)) {
            continue;
        }
        try {
            handOn(to);
        } catch (...) {
            static_cast<void>(reasonOfException(to));
        }
        collect(to);
    }
    publish();
}

TOLVANE_COLD void passwriter::handOn(const destination& to)
{
    to.recorder->m_recorder->m_progress = &m_progress;
    const passprogress::foreigncall call(m_progress, to.attached);
    const outsidelibrary outside;
    to.recorder->m_recorder->handOnAll();
}

/// Why the exception that is being handled costs a line. What the application's own sink throws is
/// for that sink to answer for, also when it is that there is no memory.
TOLVANE_COLD trace::lossreason passwriter::reasonOfException(destination& to)
{
    try {
        throw;
    } catch (const StructuredException&) {
        to.attached.isFaulty = true;
        if (!m_fault) {
            m_fault = std::current_exception();
        }
        return trace::destination;
    } catch (const std::bad_alloc&) {
        return to.isCustom() ? trace::destination : trace::noMemory;
    } catch (...) {
        if (!std::current_exception()) {
            throw; // the end of this thread, not an exception: it must not be held up
        }
        return trace::destination;
    }
}

void passwriter::gather(destination& to, const formattedline& line)
{
    faultpoint::reach(faultpoint::gathering);
    const std::size_t whole = to.bytes.size();
    unsigned long long size = 0;
    try {
        size = m_encoder.append(to.bytes, line, *to.file);
        to.lineEnds.push_back(to.bytes.size());
    } catch (...) {
        to.bytes.resize(whole); // half a line would run into the next one
        throw;
    }
    if (to.rotating) {
        rotate(to, size);
    }
}

/// The line itself is gathered, or even written: what fails here does not cost it.
TOLVANE_COLD void passwriter::rotate(destination& to, unsigned long long length) noexcept
{
    try {
        to.rotating->m_rotation->rotate(to.path, length, [this] { settleAll(); });
    } catch (...) {
        // no memory for the names of the older files: a later line starts a new file
        static_cast<void>(reasonOfException(to));
    }
}

void passwriter::settleAll() noexcept
{
    for (destination& to : m_destinations) {
        settle(to);
    }
}

/// Every line has its try at opening the file: the ones that find it closed to them are lost, and
/// the first one that does not takes all that follow along. When they do not all fit, those behind
/// the first that did not have their tries again.
void passwriter::settle(destination& to) noexcept
{
    if (!to.file) {
        return;
    }
    tolvane::Lines left = {to.bytes.data(), 0, to.lineEnds.data(), to.lineEnds.size(),
                           to.file->m_lineEnd};
    bool isStuck = false;
    while (left.count != 0 && !isOthers()) {
        faultpoint::reach(faultpoint::settling);
        m_progress.move();
        const tolvane::Appended appended =
            tolvane::FileSystem::current().append(to.path, left, !to.attached.isStuck && !isStuck);
        m_progress.move();
        isStuck = isStuck || appended.isStuck;
        if (appended.error != 0) {
            to.attached.lastError.store(appended.error, std::memory_order_relaxed);
        }
        to.counted.written += appended.lines;
        std::size_t tried = appended.lines;
        if (tried != left.count) {
            ++tried;
            ++to.counted.lost[trace::destination];
        }
        left = {left.text, left.endOf(tried), left.ends + tried, left.count - tried, left.end};
    }
    if (!to.lineEnds.empty()) {
        to.attached.isStuck = isStuck;
    }
    to.bytes.clear();
    to.lineEnds.clear();
}

void passwriter::publish() noexcept
{
    if (isOthers()) {
        return;
    }
    for (destination& to : m_destinations) {
        to.counted.publish(to.attached.counts);
    }
}
