#include "trace/threadstage.h"

#include "trace/traceimpl.h"

namespace threadstage {

void leave(void* value) noexcept
{
    const auto found = reinterpret_cast<std::uintptr_t>(value);
    put(leftBusy); // the memory that is given back must not be asked for amid that
    if (found > leftBusy) {
        stage::release(stageAt(found));
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
