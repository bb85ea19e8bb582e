#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracelevel.h>

#include <atomic>

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
    friend class trace;
    friend class traceimpl;
    friend struct hashedfunctiontest;

    /// The effective level as it was found out last, if it still holds.
    bool remembersLevel(tracelevel_t& level) const noexcept
    {
        const unsigned int generation = s_levelGeneration.load(std::memory_order_acquire);
        const unsigned long long remembered = m_level.load(std::memory_order_relaxed);
        level = static_cast<tracelevel_t>(static_cast<unsigned int>(remembered));
        return static_cast<unsigned int>(remembered >> 32) == generation;
    }

    void rememberLevel(unsigned int generation, tracelevel_t level) const noexcept
    {
        m_level.store(static_cast<unsigned long long>(generation) << 32 |
                          static_cast<unsigned int>(level),
                      std::memory_order_relaxed);
    }

    static tolvane::string functionname(const char* signature);

    /// Counts what may change effective levels; never 0, which stands for "nothing found out yet".
    static std::atomic<unsigned int> s_levelGeneration;

    tolvane::string m_name;
    hashedname* m_key; ///< owned, never null

    /// The generation of levels above, the effective level of that generation below.
    mutable std::atomic<unsigned long long> m_level{0};
};

TOLVANE_END_DECLARATIONS
