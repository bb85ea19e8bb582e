#include "settings/levelsettings.h"

#include "settings/words.h"
#include "support/levelnames.h"

#include <optional>

namespace tolvane {

namespace {

/// What the names of operators have, and no others.
bool hasForeignSign(std::wstring_view name) noexcept
{
    constexpr std::wstring_view keyword = L"operator";
    const bool isOperator = name.substr(0, keyword.size()) == keyword;
    const std::wstring_view scope = name.substr(0, isOperator ? 0 : name.find(L"::operator"));
    return scope.find_first_of(blanks) != std::wstring_view::npos ||
           scope.find_first_of(L"=*") != std::wstring_view::npos;
}

/// Takes the part up to the next comma, and the comma with it. One that an operator is called by is
/// none of those.
std::wstring_view takeSetting(std::wstring_view& text) noexcept
{
    std::size_t comma = text.find(L',');
    while (comma != std::wstring_view::npos && endsInOperator(text.substr(0, comma))) {
        comma = text.find(L',', comma + 1);
    }
    const std::wstring_view part = text.substr(0, comma);
    text.remove_prefix(std::min(part.size() + 1, text.size()));
    return part;
}

/// Of ASCII.
std::wstring wide(std::string_view word)
{
    return {word.begin(), word.end()};
}

std::optional<tracelevel_t> levelOf(std::wstring_view text)
{
    for (int level = tl_always; level <= tl_trace; ++level) {
        const levelname& name = levelNames[level];
        const bool isMark =
            text.size() == 1 &&
            (lower(text[0]) == lower(static_cast<wchar_t>(name.letter)) || text[0] == L'0' + level);
        if (isMark || isSameWord(text, wide(name.word))) {
            return static_cast<tracelevel_t>(level);
        }
    }
    return std::nullopt;
}

} // namespace

bool levelsettings::read(std::wstring_view text)
{
    m_all.clear();
    m_wrong.clear();
    bylength_t found;
    while (!text.empty()) {
        const std::wstring_view part = trimmed(takeSetting(text));
        if (!part.empty() && !readPart(part, found)) {
            return false;
        }
    }
    for (const auto& each : found) {
        m_all.push_back(each.second);
    }
    return true;
}

std::wstring levelsettings::nameOf(tracelevel_t level)
{
    return hasName(level) ? wide(tolvane::nameOf(level).word)
                          : std::to_wstring(static_cast<int>(level));
}

/// The last equality sign counts: operators have some in their names.
bool levelsettings::readPart(std::wstring_view part, bylength_t& read)
{
    const std::size_t sign = part.rfind(L'=');
    if (sign == std::wstring_view::npos) {
        return refuse(part, L"has no level");
    }
    const std::wstring_view name = trimmed(part.substr(0, sign));
    if (name.empty()) {
        return refuse(part, L"has no name");
    }
    if (name != L"*" && hasForeignSign(name)) {
        return refuse(
            part, L"has a name with a blank, an asterisk or an equality sign, or lacks a comma");
    }
    const std::optional<tracelevel_t> level = levelOf(trimmed(part.substr(sign + 1)));
    if (!level) {
        return refuse(part, L"has a level that is none of always, error, warning, info, verbose, "
                            L"debug, trace and 0 to 6");
    }
    namedlevel setting = {name == L"*" ? string() : string(name), *level};
    read.emplace(setting.name.length(), setting);
    return true;
}

bool levelsettings::refuse(std::wstring_view part, const wchar_t* why)
{
    m_wrong.assign(L"\"").append(part).append(L"\" ").append(why);
    return false;
}

} // namespace tolvane
