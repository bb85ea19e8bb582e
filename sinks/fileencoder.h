#pragma once

#include <tolvane/formattedline.h>

#include "sinks/timestamp.h"

#include <locale>
#include <string>

class filetracestream;

/// Makes the bytes that files get of records, with the global locale of when it was made.
class fileencoder
{
public:
    fileencoder();

    fileencoder(const fileencoder&) = delete;
    fileencoder& operator=(const fileencoder&) = delete;

    /// Appends the bytes of a line, its end included, as the sink writes them. Throws
    /// std::bad_alloc, or what the locale's facet throws; a part may be appended then.
    /// \return by how much the sink's file counts as larger.
    unsigned long long append(std::string& bytes, const formattedline& line,
                              const filetracestream& sink);

    /// The line's text, as the line keeps it.
    const tolvane::string& text(const formattedline& line);

private:
    timestamp m_stamp; ///< many lines share that of their second
    const std::locale m_locale;
};
