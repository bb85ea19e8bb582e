#pragma once

#include <tolvane/export.h>

#include <ostream>

TOLVANE_BEGIN_DECLARATIONS

/// A stream that discards everything, to write to where a scope is not traced; trace::__nullobject
/// is one. Any number of threads may write to one object, since an insertion into a failed stream
/// does nothing.
class TOLVANE_EXPORT nullobject : public std::basic_ostream<wchar_t>
{
public:
    nullobject();
    ~nullobject() override;

    nullobject(const nullobject&) = delete;
    nullobject& operator=(const nullobject&) = delete;
};

TOLVANE_END_DECLARATIONS
