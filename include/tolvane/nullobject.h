#pragma once

#include <tolvane/export.h>

#include <ostream>

TOLVANE_BEGIN_DECLARATIONS

/// A stream that discards everything, to write to where a scope is not traced; trace::__nullobject
/// is one. Like any stream it is written to by one thread at a time.
class TOLVANE_EXPORT nullobject : public std::basic_ostream<wchar_t>
{
public:
    nullobject();
    ~nullobject() override;

    nullobject(const nullobject&) = delete;
    nullobject& operator=(const nullobject&) = delete;
};

TOLVANE_END_DECLARATIONS
