#include <tolvane/traceobject.h>

#include "trace/scopeentry.h"

#include <locale>

traceobject::traceobject(const hashedfunction*& function, const char* signature)
    : std::basic_ostream<wchar_t>(nullptr), m_function(registered(function, signature))
{
    rdbuf(this);
    enter();
}

bool traceobject::hasPlainNumbers() const
{
    return std::basic_ostream<wchar_t>::getloc() == std::locale::classic();
}
