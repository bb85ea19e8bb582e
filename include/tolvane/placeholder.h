#pragma once

namespace tolvane {

/// What a %-format says of one of its arguments, see TOLVANE_LOGF.
struct placeholder
{
    /// Stands for a precision that is not there.
    static constexpr int none = -1;

    /// Whether nothing is said but the kind.
    constexpr bool isPlain() const noexcept
    {
        return !isLeft && !hasPlus && !hasBlank && !isAlternative && !hasZeros && width == 0 &&
               precision == none;
    }

    char kind = 0;              ///< one of diouxXfFeEgGaAcspn
    bool isLeft = false;        ///< "-"
    bool hasPlus = false;       ///< "+"
    bool hasBlank = false;      ///< " "
    bool isAlternative = false; ///< "#"
    bool hasZeros = false;      ///< "0"
    bool asksWidth = false;     ///< "*", which an argument of its own replaces
    bool asksPrecision = false; ///< the same
    int width = 0;              ///< characters at least
    int precision = none;       ///< digits, or characters of a text at most
    bool isShort = false;       ///< "h", or "hh"
};

} // namespace tolvane
