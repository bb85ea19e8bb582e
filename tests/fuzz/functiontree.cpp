#include "function/functiontree.h"

#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace {

/// A name's components, of which two with equal hashes are one.
using path_t = std::vector<std::uint32_t>;

std::uint32_t hashOf(const std::wstring& component)
{
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const wchar_t character : component) {
        const auto unit = static_cast<std::uint16_t>(character);
        hash = (hash ^ (unit & 0xFFU)) * 0x100000001b3;
        hash = (hash ^ (unit >> 8U)) * 0x100000001b3;
    }
    return static_cast<std::uint32_t>(hash);
}

path_t pathOf(const std::wstring& name)
{
    path_t path;
    std::size_t start = 0;
    while (start < name.size()) {
        const std::size_t end = std::min(name.find(L"::", start), name.size());
        path.push_back(hashOf(name.substr(start, end - start)));
        start = end + 2;
    }
    return path;
}

/// The levels of all nodes by their whole paths.
class model
{
public:
    tracelevel_t lookup(path_t path) const
    {
        while (m_levels.count(path) == 0) {
            path.pop_back();
        }
        return m_levels.at(path);
    }

    void set(tracelevel_t level, const path_t& path)
    {
        make(path);
        m_levels[path] = level;
    }

    void clear(const path_t& path)
    {
        if (!path.empty()) {
            make(path_t(path.begin(), path.end() - 1));
        }
        const tracelevel_t root = m_levels[{}];
        for (auto node = m_levels.begin(); node != m_levels.end();) {
            const path_t& other = node->first;
            const bool isBelow =
                other.size() >= path.size() && std::equal(path.begin(), path.end(), other.begin());
            node = isBelow ? m_levels.erase(node) : std::next(node);
        }
        m_levels.emplace(path_t(), root);
    }

    void reset(tracelevel_t level) { m_levels = {{path_t(), level}}; }

private:
    /// A node takes its parent's level when it is made.
    void make(const path_t& path)
    {
        for (std::size_t length = 1; length <= path.size(); ++length) {
            const auto end = path.begin() + static_cast<std::ptrdiff_t>(length);
            m_levels.emplace(path_t(path.begin(), end), m_levels.at(path_t(path.begin(), end - 1)));
        }
    }

    std::map<path_t, tracelevel_t> m_levels = {{path_t(), tl_always}};
};

struct pair
{
    hashedfunctiontree<tracelevel_t> tree;
    model levels;
};

std::wstring chosenName(fuzz::choices& input)
{
    // the last two have the same hash
    static constexpr const wchar_t* pieces[] = {L"::", L"a",      L"b",        L"A",       L":",
                                                L"::", L"\u00E4", L"sljcxeqs", L"ylkmzhxp"};
    constexpr std::size_t mostPieces = 8;
    std::wstring name;
    for (std::size_t count = input.below(mostPieces); count != 0; --count) {
        name += input.of(pieces);
    }
    return name;
}

tracelevel_t chosenLevel(fuzz::choices& input)
{
    return static_cast<tracelevel_t>(static_cast<int>(input.below(10)) - 1);
}

void checkLookup(const pair& both, const std::wstring& name)
{
    const namechain chain(name.c_str());
    fuzz::check(both.tree.lookup(chain.first()) == both.levels.lookup(pathOf(name)),
                "the level that applies to a name");
}

void change(fuzz::choices& input, pair& both, const pair& other, const std::wstring& name)
{
    const tracelevel_t level = chosenLevel(input);
    switch (input.below(8)) {
    case 0:
        both.tree.clear(name.c_str());
        both.levels.clear(pathOf(name));
        break;
    case 1:
        both.tree.reset(level);
        both.levels.reset(level);
        break;
    case 2:
        both.tree.assign(other.tree);
        both.levels = other.levels;
        break;
    default:
        both.tree.set(level, name.c_str());
        both.levels.set(level, pathOf(name));
        break;
    }
}

} // namespace

void fuzz::functiontree(choices& input)
{
    pair pairs[2];
    std::vector<std::wstring> names = {L"", L"a", L"a::b", L"::a"};
    while (!input.empty()) {
        const std::size_t changed = input.below(2);
        names.push_back(chosenName(input));
        change(input, pairs[changed], pairs[1 - changed], names.back());
        checkLookup(pairs[changed], names.back());
    }
    for (const std::wstring& name : names) {
        checkLookup(pairs[0], name);
        checkLookup(pairs[1], name);
    }
}
