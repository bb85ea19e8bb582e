#pragma once

/// Numbered points on the road of a line, at which a build for tests (TOLVANE_FAULT_POINTS) lets
/// faults happen. In any other build nothing is left of them.
namespace faultpoint {

enum number : int
{
    captured = 1,    ///< a line has come in
    admitted,        ///< it may be staged
    prepared,        ///< there is room in the stage
    filled,          ///< the line is in the stage, unseen
    published,       ///< it is seen
    relieving,       ///< its thread writes what waits, or prunes
    passBegun,       ///< a pass has taken both locks
    drainingLine,    ///< the drain has a line in hand, under the instance lock
    drained,         ///< the stages are empty
    batchTaken,      ///< what waited is the pass's
    batchBegun,      ///< the instance lock is given back
    unpacking,       ///< a line becomes a record
    gathering,       ///< a record becomes bytes for a file
    settling,        ///< bytes go to a file
    callingSink,     ///< a sink is about to be called
    batchWritten,    ///< the sinks have all lines
    passEnded,       ///< the sink lock is given back
    signallingFlush, ///< those who wait for a pass are about to be told
    end
};

#ifdef TOLVANE_FAULT_POINTS
/// A thread has come there. Defined by the test's program.
void reach(number point);
#else
inline void reach(number) noexcept {}
#endif

} // namespace faultpoint
