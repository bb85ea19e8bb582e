#include "settings/destination.h"

#include "settings/words.h"

#include <cwchar>

namespace tolvane {

namespace {

/// Digits. More of them may not fit.
constexpr std::size_t longestFigure = 19;

/// Takes the figure behind the last colon from the end of a text, and the colon with it.
bool takeFigure(std::wstring_view& text, unsigned long long& figure)
{
    const std::size_t colon = text.rfind(L':');
    if (colon == std::wstring_view::npos) {
        return false;
    }
    const std::wstring_view digits = trimmed(text.substr(colon + 1));
    if (digits.empty() || digits.size() > longestFigure ||
        digits.find_first_not_of(L"0123456789") != std::wstring_view::npos) {
        return false;
    }
    figure = std::wcstoull(std::wstring(digits).c_str(), nullptr, 10);
    text = text.substr(0, colon);
    return true;
}

} // namespace

const wchar_t* destination::read(std::wstring_view text)
{
    text = trimmed(text);
    if (isSameWord(text, L"stdout")) {
        *this = {};
        kind = standardOutput;
        return nullptr;
    }
    if (isSameWord(text, L"stderr")) {
        *this = {};
        return nullptr;
    }
    const std::wstring_view word = trimmed(takePart(text, L":"));
    if (isSameWord(word, L"file")) {
        return readFile(file, text);
    }
    if (isSameWord(word, L"rotating")) {
        return readRotating(text);
    }
    if (isSameWord(word, L"json")) {
        return readFile(jsonFile, text);
    }
    return L"the destination is none of stdout, stderr, file:PATH, rotating:PATH:FILES:KIB and "
           L"json:PATH";
}

const wchar_t* destination::readFile(kind_t as, std::wstring_view text)
{
    text = trimmed(text);
    if (text.empty()) {
        return L"the file has no path";
    }
    *this = {};
    kind = as;
    path = string(text);
    return nullptr;
}

const wchar_t* destination::readRotating(std::wstring_view text)
{
    unsigned long long readFiles = 0;
    unsigned long long readSize = 0;
    if (!takeFigure(text, readSize) || !takeFigure(text, readFiles)) {
        return L"behind the path of rotating files, their number and their size in KiB are missing";
    }
    const wchar_t* const wrong = readFile(rotatingFile, text);
    if (!wrong) {
        files = readFiles;
        maxsize = readSize;
    }
    return wrong;
}

} // namespace tolvane
