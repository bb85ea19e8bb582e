#pragma once

#include <tolvane/hashedfunction.h>
#include <tolvane/trace.h>
#include <tolvane/traceobject.h>

#include "stacktrace/callstack.h"
#include "support/atomicref.h"

// What a scope does on entry beside beginning its stream, to be compiled into its constructor.

inline const hashedfunction* traceobject::registered(const hashedfunction*& function,
                                                     const char* signature)
{
    const hashedfunction* const known =
        tolvane::atomicRef(function).load(std::memory_order_acquire);
    return known ? known : registerOnce(function, signature);
}

inline void traceobject::enter()
{
    m_level = trace::level(*m_function);
    stacktrace::myTrace().push(m_function);
    if (takes(tl_trace)) {
        queueEntry();
    }
}
