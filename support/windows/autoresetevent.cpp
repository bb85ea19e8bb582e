#include "support/autoresetevent.h"

#include "support/windows/platform.h"

#include <new>

namespace tolvane {

namespace {

HANDLE& native(unsigned char* resource) noexcept
{
    return *std::launder(reinterpret_cast<HANDLE*>(resource));
}

} // namespace

AutoResetEvent::AutoResetEvent()
{
    static_assert(sizeof(HANDLE) <= resourceSize);
    new (m_resource) HANDLE(CreateEventW(nullptr, FALSE, FALSE, nullptr));
}

AutoResetEvent::~AutoResetEvent()
{
    CloseHandle(native(m_resource));
}

void AutoResetEvent::set() noexcept
{
    SetEvent(native(m_resource));
}

bool AutoResetEvent::wait(bool timed, unsigned int milliseconds) noexcept
{
    return WaitForSingleObject(native(m_resource), timed ? milliseconds : INFINITE) != WAIT_TIMEOUT;
}

void* AutoResetEvent::handle() noexcept
{
    return native(m_resource);
}

} // namespace tolvane
