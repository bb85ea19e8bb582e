#include <tolvane/scope.h>

#include "support/coldpath.h"
#include "trace/classiclocale.h"
#include "trace/globallocale.h"
#include "trace/insidelibrary.h"
#include "trace/scopeentry.h"

#include <new>

namespace tolvane {

unsigned long long scope::enter(const hashedfunction*& function, const char* signature)
{
    m_stream = nullptr;
    m_lineLevel = tl_always;
    m_plain = false;
    m_function = scopeentry::known(function);
    m_thread = TOLVANE_THREAD_MARK();
    unsigned long long before = 0;
    m_count = scopeentry::enterQuietly(m_function, m_level, before);
    return m_count ? before : enterAtLength(function, signature);
}

TOLVANE_COLD unsigned long long scope::enterAtLength(const hashedfunction*& function,
                                                     const char* signature)
{
    m_thread = nullptr;
    m_function = scopeentry::registeredPlainly(function, signature);
    m_level = scopeentry::enter(m_function);
    return 0; // is not asked for
}

void scope::leave() noexcept
{
    if (m_stream || !scopeentry::leaveQuietly(m_level)) {
        leaveAtLength();
    }
}

TOLVANE_COLD void scope::leaveAtLength() noexcept
{
    scopeentry::leave(m_function, m_level);
    if (m_stream) {
        m_stream->~traceobject();
    }
}

/// A scope whose lines were gathered keeps the classic locale: its first line was its first use.
TOLVANE_COLD traceobject& scopestream::build() const
{
    {
        const localeturn turn;
        const insidelibrary inside;
        m_stream = new (m_storage) traceobject(*this);
    }
    const insidelibrary inside;
    localeturn::notice(m_stream->getloc());
    if (m_plain) {
        m_stream->imbue(classicLocale());
        m_plain = false;
    }
    return *m_stream;
}

void scopestream::reset()
{
    if (m_stream) {
        m_stream->reset();
    } else {
        m_level = trace::level(*m_function);
    }
}

bool scopestream::asksNow(tracelevel_t level) const
{
    return scopeentry::asksNow(*m_function, m_level, level);
}

} // namespace tolvane
