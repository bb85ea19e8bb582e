#include "support/criticalsection.h"

#include "support/windows/platform.h"

#include <new>

namespace tolvane {

namespace {

CRITICAL_SECTION* native(unsigned char* resource) noexcept
{
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(resource));
}

} // namespace

CriticalSection::CriticalSection()
{
    static_assert(sizeof(CRITICAL_SECTION) <= resourceSize);
    // The locks are held for fractions of a microsecond, most of the time, so that trying again
    // beats sleeping.
    constexpr DWORD triesBeforeSleep = 300;
    InitializeCriticalSectionAndSpinCount(new (m_resource) CRITICAL_SECTION, triesBeforeSleep);
}

CriticalSection::~CriticalSection()
{
    DeleteCriticalSection(native(m_resource));
}

void CriticalSection::enter() noexcept
{
    EnterCriticalSection(native(m_resource));
}

bool CriticalSection::tryEnter() noexcept
{
    return TryEnterCriticalSection(native(m_resource)) != 0;
}

void CriticalSection::leave() noexcept
{
    LeaveCriticalSection(native(m_resource));
}

/// The system keeps the owner's number in the place of a handle.
bool CriticalSection::isMine() const noexcept
{
    const auto* const section = std::launder(reinterpret_cast<const CRITICAL_SECTION*>(m_resource));
    return reinterpret_cast<ULONG_PTR>(section->OwningThread) == GetCurrentThreadId();
}

/// No process is ever copied.
void CriticalSection::adopt() noexcept {}

} // namespace tolvane
