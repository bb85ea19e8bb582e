#include "tests/function/functionnamemodel.h"

#include <cctype>
#include <cstdint>
#include <list>
#include <utility>

namespace {

using position = std::int64_t;

/// Whether a keyword ends right before position i and stands behind ":" or a space.
bool keywordMatches(const std::string& signature, position i, const std::string& keyword)
{
    const auto length = static_cast<position>(keyword.size());
    if (!(i >= length + 2)) {
        return false;
    }
    const auto start = static_cast<std::size_t>(i - length);
    if (signature.substr(start, keyword.size()) != keyword) {
        return false;
    }
    const char before = signature[start - 1];
    return before == ':' || before == ' ';
}

struct scan
{
    std::uint64_t nesting = 0;
    position mark = 0;
    std::uint64_t total = 0;
    std::list<std::pair<position, position>> pieces; // start and length
    bool stopped = false;

    void addPiece(position start, position length)
    {
        pieces.emplace_front(start, length);
        total += static_cast<std::uint64_t>(length);
    }
};

void closer(scan& state, position i)
{
    if (state.nesting == 0 && state.mark != 0 && state.mark > i + 1) {
        state.addPiece(i + 1, state.mark - i - 1);
        state.mark = 0;
    }
    state.nesting += 1;
}

void opener(scan& state, position i)
{
    state.nesting -= 1;
    if (state.nesting == 0) {
        state.mark = i;
    }
}

void separator(scan& state, const std::string& signature, position i)
{
    const char behind = signature[static_cast<std::size_t>(i) + 1];
    if (state.mark > i + 2 || (state.mark == i + 2 && behind != ' ')) {
        state.addPiece(i + 1, state.mark - i - 1);
    }
    if (keywordMatches(signature, i, "class")) {
        state.mark = i - 5;
    } else if (keywordMatches(signature, i, "struct")) {
        state.mark = i - 6;
    } else if (keywordMatches(signature, i, "typename")) {
        state.mark = i - 8;
    } else if (keywordMatches(signature, i, "operator")) {
        state.mark = i;
        state.addPiece(i, 1);
    } else if (state.total != 0) {
        state.stopped = true;
        state.mark = 0;
    } else {
        state.mark -= 1;
    }
}

scan scanBackwards(const std::string& signature, position n)
{
    scan state;
    std::uint64_t square = 0;
    for (position i = n - 1; i >= 0 && !state.stopped; --i) {
        const char c = signature[static_cast<std::size_t>(i)];
        if (c == '[' && square > 0) {
            square -= 1;
        }
        if (c == ']') {
            square += 1;
        }
        if (square > 0 || c == '[') {
            continue;
        }
        if (c == ')' || c == '>') {
            closer(state, i);
        }
        if (c == '(' || c == '<') {
            opener(state, i);
        }
        const bool blank = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        if (blank && state.mark != 0 && state.nesting == 0) {
            separator(state, signature, i);
        }
    }
    return state;
}

std::string spelled(const std::string& name)
{
    if (name.size() < 8 || name.find("operator") == std::string::npos) {
        return name;
    }
    const std::size_t p = name.find("operator");
    if (p > 0 && !(name[p - 1] == ':' || name[p - 1] == ' ')) {
        return name;
    }
    std::size_t j = p + 8;
    if (j != name.size()) {
        const int next = static_cast<unsigned char>(name[j]);
        if (std::isalnum(next) != 0 || next == '_') {
            return name;
        }
    }
    while (j < name.size() && name[j] == ' ') {
        ++j;
    }
    const std::string upToKeyword = name.substr(0, p + 8);
    return j < name.size() ? upToKeyword + " " + name.substr(j) : upToKeyword + " ()";
}

} // namespace

std::string modelFunctionName(const std::string& signature)
{
    const std::size_t n = signature.size() > 1024 ? 1024 : signature.size();
    if (n == 0) {
        return signature;
    }
    scan state = scanBackwards(signature, static_cast<position>(n));
    if (!state.stopped && state.mark != 0) {
        state.addPiece(0, state.mark);
    }
    if (state.total == 0 || state.pieces.empty()) {
        return signature;
    }
    std::string name;
    for (const auto& piece : state.pieces) {
        name += signature.substr(static_cast<std::size_t>(piece.first),
                                 static_cast<std::size_t>(piece.second));
    }
    return spelled(name);
}
