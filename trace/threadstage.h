#pragma once

#include "support/threadslot.h"
#include "trace/stage.h"

#include <cstdint>

/// The calling thread's stage, where the thread finds it.
namespace threadstage {

// What else may stand in its place; no stage has such an address.
constexpr std::uintptr_t noStage = 0;
constexpr std::uintptr_t busy = 1; ///< the library is at work on this thread, which has no stage
constexpr std::uintptr_t left = 2; ///< the thread is about to end, and has left its stage
constexpr std::uintptr_t leftBusy = 3; ///< both

inline std::uintptr_t place() noexcept
{
    return reinterpret_cast<std::uintptr_t>(
        tolvane::threadslot::get(tolvane::threadslot::lineStage));
}

inline void put(std::uintptr_t value) noexcept
{
    tolvane::threadslot::setUnnoticed(tolvane::threadslot::lineStage,
                                      reinterpret_cast<void*>(value));
}

/// What stands in a place that is none of the above.
inline stage* stageAt(std::uintptr_t place) noexcept
{
    return reinterpret_cast<stage*>(place);
}

/// Null when the thread has none, or has left it.
inline stage* get() noexcept
{
    const std::uintptr_t found = place();
    return found > leftBusy ? stageAt(found) : nullptr;
}

inline bool isBusy(std::uintptr_t place) noexcept
{
    return place == busy || place == leftBusy;
}

inline bool isBusy() noexcept
{
    return isBusy(place());
}

/// Gives the thread a stage, and notices when the thread ends.
void set(stage* mine) noexcept;

/// To be called before the first set().
void noticeThreadEnds() noexcept;

/// What happens when a thread ends that has this in its place. Lines that come afterwards, from
/// other functions that are called at the thread's end, go another way.
void leave(void* value) noexcept;

} // namespace threadstage
