#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>

struct hashedname;

TOLVANE_BEGIN_DECLARATIONS

/// One registered function: its plain qualified name, and the hashes of the name's "::"-separated
/// components, by which its trace level is found.
///
/// Made by trace::registerfunction from a compiler signature; never changed afterwards, so any
/// thread may read it.
class TOLVANE_EXPORT hashedfunction
{
public:
    /// \param signature  the compiler's text for the function; text that cannot be taken apart is
    /// the name as it
    ///                   stands, and null counts as empty. Only the first 1024 characters are
    ///                   looked at.
    explicit hashedfunction(const char* signature);
    ~hashedfunction();

    hashedfunction(const hashedfunction&) = delete;
    hashedfunction& operator=(const hashedfunction&) = delete;

    /// The plain qualified name, such as "stacktrace::FaultHandler".
    const tolvane::string& name() const noexcept { return m_name; }

    /// The first node of the name's component hashes; for the library's level trees.
    const hashedname* key() const noexcept { return m_key; }

private:
    friend struct hashedfunctiontest;

    static tolvane::string functionname(const char* signature);

    tolvane::string m_name;
    hashedname* m_key; ///< owned, never null
};

TOLVANE_END_DECLARATIONS
