#include <tolvane/flushguard.h>

#include <tolvane/trace.h>

#include "trace/sinkfault.h"

#include <exception>

namespace tolvane {

FlushGuard::~FlushGuard()
{
    try {
        trace::sync(m_milliseconds);
    } catch (const std::exception&) {
        reportSinkFault();
    }
}

} // namespace tolvane
