#include "trace/threadname.h"

#include "support/threadslot.h"
#include "trace/insidelibrary.h"

namespace slots = tolvane::threadslot;

namespace {

void leave(void* name) noexcept
{
    const insidelibrary inside; // memory is given back
    static_cast<threadname*>(name)->release();
}

} // namespace

threadname* threadname::mine() noexcept
{
    return static_cast<threadname*>(slots::get(slots::threadName));
}

void threadname::setMine(threadname* name) noexcept
{
    threadname* const before = mine();
    slots::set(slots::threadName, name);
    if (before) {
        before->release();
    }
}

void threadname::noticeThreadEnds() noexcept
{
    slots::whenThreadEnds(slots::threadName, &leave);
}
