#pragma once

#include <tolvane/export.h>
#include <tolvane/traceobject.h>

#include <ostream>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Takes the place of a wide stream for a value that only narrow ones can write: has its flags,
/// width, precision, fill and locale.
///
/// Used within one statement of one thread. Throws std::bad_alloc only.
class narrowstream
{
public:
    TOLVANE_EXPORT explicit narrowstream(traceobject& wide);
    TOLVANE_EXPORT ~narrowstream();

    narrowstream(const narrowstream&) = delete;
    narrowstream& operator=(const narrowstream&) = delete;

    std::ostream& stream() noexcept { return *m_narrow; }

    /// Writes to the wide stream what was written here, and sets it as this one was set meanwhile.
    TOLVANE_EXPORT void handOver();

private:
    char usualFill() const;

    traceobject& m_wide;
    std::ostream* m_narrow; ///< owned
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
