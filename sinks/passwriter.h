#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/tracestream.h>

#include "sinks/attachedsink.h"
#include "sinks/fileencoder.h"
#include "sinks/passprogress.h"
#include "sinks/sinkchoice.h"
#include "trace/lineunpacker.h"
#include "trace/packedlines.h"

#include <array>
#include <exception>
#include <list>
#include <string>
#include <vector>

class filetracestream;
class recordertracestream;
class rotatingfilestracestream;

/// Hands the lines of one pass to the sinks.
///
/// Among the library's own sinks the files get all lines first, and the streams, which may block,
/// then; each group line by line across its sinks, in the order of their ids. Beside a sink of the
/// application's all sinks get each line in the order of their ids before the next one.
///
/// What goes to files is gathered and written at the end of the pass, with one opening per file,
/// and before every call of a sink that may block or look at files. The files then hold what they
/// would hold if every line had been written at once: their bytes, their order, where they rotate,
/// and which line is lost when a file cannot be opened or is full. Lines are not gathered with two
/// names that may be those of one file.
///
/// Every line adds one to one of the counts of every sink. The counts are those of all lines so far
/// before each call of a stream or of an application's sink, since a thread may end within, and
/// when write() returns.
///
/// A sink may fork. The lines that are not written yet are then those of the process that began the
/// pass: in the other one they are dropped, uncounted, gathered ones included.
///
/// Caller holds the sink lock from construction to destruction.
class passwriter
{
public:
    /// Throws std::bad_alloc; nothing is written or counted then.
    passwriter(sinkmap_t& sinks, passprogress& progress,
               const sinkchoice& which = sinkchoice::all());

    passwriter(const passwriter&) = delete;
    passwriter& operator=(const passwriter&) = delete;

    /// Writes a whole batch. What a sink throws costs this sink this line. A hardware fault costs
    /// it all lines from then on: it is marked as faulty, and not called any more. The thread is
    /// not cancelled within a sink, nor does a sink's writing send it a signal. (A sink that ends
    /// it all the same, by pthread_exit, brings the terminate handler on, which ends this thread
    /// alone.)
    void write(const packedlines& batch) noexcept;

    /// The same for lines that a recorder has kept, whatever the levels, within the recorder's own
    /// call. Leaves no line behind, but in a process that a sink has forked.
    /// \param last  comes behind them; may be null.
    void write(std::list<formattedline>& kept, const formattedline* last) noexcept;

    /// Has recorders hand on what they keep.
    /// \param recorder  that one, when it is one of the sinks; null: all of them.
    void dump(const recordertracestream* recorder = nullptr) noexcept;

    /// The first hardware fault that came from a sink; null without one. To be thrown on when all
    /// locks are given back.
    std::exception_ptr fault() const noexcept { return m_fault; }

private:
    /// What this pass counted for a sink and has not published yet.
    struct tally
    {
        unsigned long long written = 0;
        unsigned long long refused = 0;
        unsigned long long lost[sinkcounts::reasons] = {};

        void publish(sinkcounts& counts) noexcept;
    };

    struct destination
    {
        explicit destination(attachedsink& target);

        bool isCustom() const noexcept { return !isStream && !file; }

        attachedsink& attached;
        bool isStream;         ///< one of the library's stream sinks
        filetracestream* file; ///< the sink, when it is one of the library's file sinks
        rotatingfilestracestream* rotating; ///< the sink, when it is the library's rotating one
        recordertracestream* recorder;      ///< the sink, when it is one
        std::string path;                   ///< of a file sink
        std::string bytes;                  ///< gathered
        std::vector<std::size_t> lineEnds;  ///< in bytes

        /// The file is not there. Once it is, it may turn out to be another sink's, too.
        bool isMissing = false;

        tally counted;

        // The sink's level for the function of the last line, as of this generation of levels.
        const hashedfunction* lastFunction = nullptr;
        unsigned int generation = 0;
        tracelevel_t level = tl_always;
    };

    /// Sinks that get each line before the next one.
    using group_t = std::vector<destination*>;

    bool isOthers() const noexcept;
    void group();
    bool filesDiffer();
    void makeRoom(std::size_t lines) noexcept;
    void writeTo(const group_t& sinks, const packedlines& batch) noexcept;
    void offer(destination& to, const queuedline& line) noexcept;
    void give(destination& to, const formattedline& record) noexcept;
    void giveAll(const formattedline& record) noexcept;
    const formattedline* recordOf(const queuedline& line) noexcept;
    static tracelevel_t levelOf(destination& of, const hashedfunction& function) noexcept;
    void writeToFile(destination& to, const formattedline& line);
    void callSink(destination& to, const formattedline& line);
    void handOn(const destination& to);
    void collect(destination& to) noexcept;
    trace::lossreason reasonOfException(destination& to);
    void gather(destination& to, const formattedline& line);
    void rotate(destination& to, unsigned long long length) noexcept;
    void stopGathering() noexcept;
    void settleAll() noexcept;
    void settle(destination& to) noexcept;
    void publish() noexcept;

    passprogress& m_progress;
    const unsigned int m_forks; ///< when the pass began
    std::vector<destination> m_destinations;
    std::array<group_t, 2> m_groups;
    fileencoder m_encoder;
    lineunpacker m_unpacker;
    const queuedline* m_unpacked = nullptr; ///< whose record was made last
    const formattedline* m_record = nullptr;
    bool m_gathers = true;
    bool m_isWithinCall = false; ///< of a recorder, which stands for the sinks
    std::exception_ptr m_fault;
};
