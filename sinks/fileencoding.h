#pragma once

#include <tolvane/lineend.h>
#include <tolvane/string.h>

#include <locale>
#include <string>

/// Appends the bytes of one line in a trace file: the text as the locale's conversion facet
/// (std::codecvt<wchar_t, char, std::mbstate_t>) gives it, up to the first character that it does
/// not convert, or in UTF-8 where that is in use, and a line end. Every line feed, in the text too,
/// is what lines end in.
void appendEncodedLine(std::string& bytes, const tolvane::string& text, const std::locale& locale,
                       tolvane::lineend end = tolvane::lineend::crlf);
