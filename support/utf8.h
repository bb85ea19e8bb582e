#pragma once

#include <string>
#include <string_view>

/// UTF-8 text and the platform's wide text, which is UTF-16 or UTF-32. Whatever is not well-formed
/// becomes U+FFFD and costs nothing of what is around it. A byte-order mark is text like any other.
namespace tolvane::utf8 {

/// Appends what a text in UTF-8 says. Of ill-formed bytes, each longest part that could have been
/// the start of a character is one U+FFFD, as the Unicode standard recommends.
void appendWide(std::wstring& to, std::string_view text);

/// Appends a wide text in UTF-8. A lone surrogate is one U+FFFD, and so is what is no character.
void appendNarrow(std::string& to, std::wstring_view text);

/// As appendWide(), but that each ill-formed byte is kept, as a lone surrogate from U+DC80 to
/// U+DCFF: names of files need not be UTF-8.
void appendWideWithBytes(std::wstring& to, std::string_view text);

/// As appendNarrow(), but that such a surrogate is the byte again.
void appendBytes(std::string& to, std::wstring_view text);

} // namespace tolvane::utf8
