#pragma once

/// Which of the sinks get the lines.
class sinkchoice
{
public:
    static sinkchoice all() noexcept { return {kind::all, 0}; }
    static sinkchoice allBut(unsigned long long id) noexcept { return {kind::allBut, id}; }
    static sinkchoice only(unsigned long long id) noexcept { return {kind::only, id}; }

    bool has(unsigned long long id) const noexcept
    {
        return m_kind == kind::all || (id == m_id) == (m_kind == kind::only);
    }

private:
    enum class kind
    {
        all,
        allBut,
        only
    };

    sinkchoice(kind which, unsigned long long id) noexcept : m_kind(which), m_id(id) {}

    kind m_kind;
    unsigned long long m_id;
};
