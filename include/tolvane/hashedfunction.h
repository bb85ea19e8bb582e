#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <type_traits>

struct hashedname;

TOLVANE_BEGIN_DECLARATIONS

/// One registered function: its plain qualified name, and the hashes of the name's "::"-separated
/// components, by which its trace level is found.
///
/// Made by trace::registerfunction from a compiler signature, or by a scope; name and hashes never
/// change, so any thread may read it.
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

    /// The greatest level that an attached sink gives the function, if it has been found out since
    /// levels or sinks changed last; trace::level() finds it out. Takes no lock.
    /// \return whether it has.
    bool remembersLevel(tracelevel_t& level) const noexcept
    {
        const unsigned long long remembered = TOLVANE_READ(m_level);
        level = static_cast<tracelevel_t>(static_cast<unsigned int>(remembered));
        return static_cast<unsigned int>(remembered >> generationShift) ==
               TOLVANE_READ(s_levelGeneration);
    }

private:
    friend class levelgeneration;
    friend class traceimpl;
    friend struct hashedfunctiontest;

    /// Says that a text is a name already.
    struct plain
    {};

    hashedfunction(plain, const tolvane::string& name);

    static tolvane::string functionname(const char* signature);

    /// Counts what may change effective levels; never 0, which stands for "nothing found out yet".
    /// Atomic for every access like m_level, see tolvane::atomicRef: the header of the standard's
    /// own would take long to compile.
    static unsigned int s_levelGeneration;

    /// A function keeps the generation above its level.
    static constexpr unsigned int generationShift = 32;

    tolvane::string m_name;
    hashedname* m_key; ///< owned, never null

    /// The generation of levels above, the effective level of that generation below.
    mutable unsigned long long m_level = 0;
};

TOLVANE_END_DECLARATIONS
