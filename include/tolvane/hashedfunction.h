#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

struct hashedname;

TOLVANE_BEGIN_DECLARATIONS

/// One registered function: its plain qualified name, and the hashes of the name's "::"-separated
/// components, by which its trace level is found.
///
/// Made by trace::registerfunction from a compiler signature; name and hashes never change, so any
/// thread may read it.
class TOLVANE_EXPORT hashedfunction
{
public:
    /// \param signature  the compiler's text for the function; text that cannot be taken apart is
    ///                   the name as it stands, and null counts as empty. Only the first 1024
    ///                   characters are looked at.
    explicit hashedfunction(const char* signature);
    ~hashedfunction();

    hashedfunction(const hashedfunction&) = delete;
    hashedfunction& operator=(const hashedfunction&) = delete;

    /// The plain qualified name, such as "stacktrace::FaultHandler".
    const tolvane::string& name() const noexcept { return m_name; }

    /// The first node of the name's component hashes; for the library's level trees.
    const hashedname* key() const noexcept { return m_key; }

private:
    friend class levelgeneration;
    friend class traceimpl;
    friend struct hashedfunctiontest;

    static tolvane::string functionname(const char* signature);

    /// Counts what may change effective levels; never 0, which stands for "nothing found out yet".
    /// Atomic for every access like m_level, see tolvane::atomicRef: the header of the standard's
    /// own would take long to compile.
    static unsigned int s_levelGeneration;

    tolvane::string m_name;
    hashedname* m_key; ///< owned, never null

    /// The generation of levels above, the effective level of that generation below.
    mutable unsigned long long m_level = 0;
};

TOLVANE_END_DECLARATIONS
