#include <tolvane/place.h>

#include "trace/scopeentry.h"

namespace tolvane {

/// \return whether some sink takes lines of the level.
bool place::enter(const hashedfunction*& function, const char* signature, tracelevel_t level)
{
    m_function = scopeentry::registeredPlainly(function, signature);
    m_stream = nullptr;
    m_level = scopeentry::level(*m_function);
    m_lineLevel = tl_always;
    m_plain = false;
    return level <= m_level;
}

void place::leave() noexcept
{
    if (m_stream) {
        m_stream->~traceobject();
    }
}

} // namespace tolvane
