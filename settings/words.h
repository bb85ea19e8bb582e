#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

// What the texts of settings have in common.

namespace tolvane {

constexpr std::wstring_view blanks = L" \t\r\n";

/// The text without the blanks around it.
inline std::wstring_view trimmed(std::wstring_view text) noexcept
{
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::wstring_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Of ASCII letters.
inline wchar_t lower(wchar_t character) noexcept
{
    return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a')
                                                  : character;
}

/// Whether a text is a word, in any case.
/// \param word  in small letters.
inline bool isSameWord(std::wstring_view text, std::wstring_view word) noexcept
{
    return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                      [](wchar_t left, wchar_t right) { return lower(left) == right; });
}

/// Whether a text ends in the word that operators' names begin with.
inline bool endsInOperator(std::wstring_view text) noexcept
{
    constexpr std::wstring_view keyword = L"operator";
    constexpr std::wstring_view before = L":, \t\r\n";
    if (text.size() < keyword.size()) {
        return false;
    }
    const std::size_t start = text.size() - keyword.size();
    return text.substr(start) == keyword &&
           (start == 0 || before.find(text[start - 1]) != std::wstring_view::npos);
}

/// Takes the part up to the first of some separators from the begin of a text, and the separator
/// with it.
inline std::wstring_view takePart(std::wstring_view& text, std::wstring_view separators) noexcept
{
    const std::wstring_view part = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

} // namespace tolvane
