#pragma once

#include <tolvane/scopestream.h>

/// Looks into a scope.
struct scopetest
{
    static bool hasStream(const tolvane::scopestream& scope) { return scope.m_stream != nullptr; }
    static const hashedfunction* function(const tolvane::scopestream& scope)
    {
        return scope.m_function;
    }
};
