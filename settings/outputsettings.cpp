#include "settings/outputsettings.h"

#include "settings/words.h"

#include <algorithm>
#include <utility>

namespace tolvane {

namespace {

/// Whether the sign is part of an operator's name: "money::operator>>", "operator->".
bool isOperators(std::wstring_view text, std::size_t sign) noexcept
{
    const std::size_t end = text.substr(0, sign).find_last_not_of(L"<>=-") + 1;
    return endsInOperator(trimmed(text.substr(0, end)));
}

/// Where the sign stands that the destination follows; npos when there is none.
std::size_t findSign(std::wstring_view text) noexcept
{
    std::size_t sign = text.find(L'>');
    while (sign != std::wstring_view::npos && isOperators(text, sign)) {
        sign = text.find(L'>', sign + 1);
    }
    return sign;
}

} // namespace

bool outputsettings::read(std::wstring_view text)
{
    m_all.clear();
    m_wrong.clear();
    while (!text.empty()) {
        const std::wstring_view part = trimmed(takePart(text, L";\n"));
        if (!part.empty() && !readEntry(part)) {
            m_all.clear();
            return false;
        }
    }
    return true;
}

bool outputsettings::readEntry(std::wstring_view text)
{
    entry made;
    const std::size_t sign = findSign(text);
    if (!made.levels.read(text.substr(0, sign))) {
        return refuse(text, made.levels.wrong());
    }
    if (made.levels.all().empty()) {
        return refuse(text, L"there are no levels");
    }
    if (sign != std::wstring_view::npos) {
        if (const wchar_t* const wrong = made.to.read(text.substr(sign + 1))) {
            return refuse(text, wrong);
        }
    }
    m_all.erase(std::remove_if(m_all.begin(), m_all.end(),
                               [&made](const entry& each) { return each.to.isSamePlace(made.to); }),
                m_all.end());
    m_all.push_back(std::move(made));
    return true;
}

bool outputsettings::refuse(std::wstring_view text, std::wstring_view why)
{
    m_wrong.assign(L"\"").append(text).append(L"\": ").append(why);
    return false;
}

} // namespace tolvane
