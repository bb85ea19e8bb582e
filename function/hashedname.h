#pragma once

#include <tolvane/string.h>

#include <string_view>

/// A name as a chain of hashes, one node per "::"-separated component, left to right, and a
/// terminator, which alone has no next.
struct hashedname
{
    long long hash = 0;
    hashedname* next = nullptr; ///< owned; null marks the terminator

    bool isTerminator() const noexcept { return next == nullptr; }

    /// Builds the chain of a name. An empty name is a lone terminator; a trailing "::" adds
    /// nothing; a leading one makes a first, empty component.
    static hashedname* build(const tolvane::string& name);

    /// Takes the first component from the begin of a name, and the "::" behind it.
    static std::wstring_view takeComponent(std::wstring_view& name) noexcept;

    /// Frees a chain from a node on; null is ignored.
    static void destroy(hashedname* chain) noexcept;

    /// Makes the last component the terminator.
    /// \return its hash; 0 when the chain has no component.
    static long long removeLast(hashedname* chain) noexcept;
};

/// Owns the chain of a name for a block.
class namechain
{
public:
    explicit namechain(const tolvane::string& name) : m_first(hashedname::build(name)) {}
    ~namechain() { hashedname::destroy(m_first); }

    namechain(const namechain&) = delete;
    namechain& operator=(const namechain&) = delete;

    hashedname* first() const noexcept { return m_first; }

private:
    hashedname* m_first;
};
