#pragma once

#include <tolvane/export.h>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// What one place in the program remembers of the lines that it has traced, see
/// TOLVANE_LOG_FIRST_N, TOLVANE_LOG_EVERY_N and TOLVANE_LOG_EVERY_MS. A place asks one question
/// only. May be used by several threads at once; throws nothing.
class callsite
{
public:
    constexpr callsite() noexcept = default;

    callsite(const callsite&) = delete;
    callsite& operator=(const callsite&) = delete;

    /// Whether this question is one of the first n. Never with 0.
    TOLVANE_EXPORT bool isAmongFirst(unsigned long long n) noexcept;

    /// Whether this question is the first, or the n-th after one that was. Always with 0 or 1.
    TOLVANE_EXPORT bool isEvery(unsigned long long n) noexcept;

    /// Whether this question is the first, or so many milliseconds have passed since one that was.
    /// Always with 0. The system's steady clock is asked.
    TOLVANE_EXPORT bool isDue(unsigned long long milliseconds) noexcept;

    /// A number of any type as one of these; 0 for what is less than 1.
    template <class number_t>
    static constexpr unsigned long long count(number_t number) noexcept
    {
        return number >= 1 ? static_cast<unsigned long long>(number) : 0;
    }

private:
    unsigned long long m_past = 0; ///< questions, or, plus 1, the millisecond of the last line
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
