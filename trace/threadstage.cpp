#include "trace/threadstage.h"

#include "trace/traceimpl.h"

namespace threadstage {

void leave(void* value) noexcept
{
    const auto found = reinterpret_cast<std::uintptr_t>(value);
    if (found > leftBusy) {
        stage::release(reinterpret_cast<stage*>(found));
    }
    put(left);
    traceimpl::threadEnds();
}

void set(stage* mine) noexcept
{
    tolvane::threadslot::set(tolvane::threadslot::lineStage, mine);
}

void noticeThreadEnds() noexcept
{
    tolvane::threadslot::whenThreadEnds(tolvane::threadslot::lineStage, &leave);
}

} // namespace threadstage
