#pragma once

#include "support/narrowtext.h"

/// Narrow text is UTF-8 while such an object lives.
class utf8mode
{
public:
    utf8mode() { tolvane::narrowtext::setUtf8(true); }
    ~utf8mode() { tolvane::narrowtext::setUtf8(false); }

    utf8mode(const utf8mode&) = delete;
    utf8mode& operator=(const utf8mode&) = delete;
};
