#include "support/thread.h"

#include "support/autoresetevent.h"
#include "support/coldpath.h"
#include "support/nativethread.h"

#include <memory>

namespace tolvane {

/// What the new thread is told.
struct ThreadControl::Start
{
    Thread* thread;
    ThreadControl* control;
    bool autoDelete;
    AutoResetEvent
        stored; ///< set when the controller holds id and handle and is not touched any more
};

ThreadControl::~ThreadControl()
{
    close();
    delete m_thread;
}

TOLVANE_COLD void ThreadControl::startNow()
{
    m_startError = 0;
    auto record = std::make_unique<Start>();
    record->thread = m_thread;
    record->control = this;
    record->autoDelete = m_autoDelete;
    unsigned int id = 0;
    int error = 0;
    void* const handle = nativethread::start(enter, record.get(), id, error);
    if (!handle) {
        m_startError = error;
        return;
    }
    m_handle = handle;
    m_id = id;
    record.release()->stored.set(); // the thread's now
}

bool ThreadControl::ended() const noexcept
{
    void* const handle = m_handle;
    return handle && nativethread::ended(handle);
}

unsigned int ThreadControl::enter(void* argument)
{
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    start->stored.wait(false, 0);
    const unsigned int result = start->thread->run();
    if (start->autoDelete) {
        delete start->control;
    }
    return result;
}

void ThreadControl::close() noexcept
{
    if (void* const handle = m_handle.exchange(nullptr)) {
        nativethread::close(handle);
    }
}

} // namespace tolvane
