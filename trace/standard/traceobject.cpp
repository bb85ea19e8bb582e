#include <tolvane/traceobject.h>

traceobject::traceobject(const hashedfunction*& function, const char* signature)
    : std::basic_ostream<wchar_t>(nullptr), m_function(registered(function, signature))
{
    rdbuf(this);
    enter();
}
