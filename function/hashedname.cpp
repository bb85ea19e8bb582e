#include "function/hashedname.h"

#include "function/componenthash.h"

#include <cwchar>
#include <memory>

namespace {

constexpr const wchar_t* separator = L"::";
constexpr int separatorLength = 2;

struct chaindeleter
{
    void operator()(hashedname* chain) const noexcept { hashedname::destroy(chain); }
};

} // namespace

hashedname* hashedname::build(const tolvane::string& name)
{
    std::unique_ptr<hashedname, chaindeleter> chain(new hashedname);
    hashedname* node = chain.get();
    const wchar_t* rest = name.c_str();
    const wchar_t* const end = rest + name.length();
    while (rest != end) {
        const wchar_t* const found = std::wcsstr(rest, separator);
        const wchar_t* const componentEnd = found ? found : end;
        node->hash = componentHash(rest, static_cast<unsigned long long>(componentEnd - rest));
        node->next = new hashedname;
        node = node->next;
        rest = found ? found + separatorLength : end;
    }
    return chain.release();
}

void hashedname::destroy(hashedname* chain) noexcept
{
    while (chain) {
        hashedname* const next = chain->next;
        delete chain;
        chain = next;
    }
}

long long hashedname::removeLast(hashedname* chain) noexcept
{
    if (chain->isTerminator()) {
        return 0;
    }
    while (!chain->next->isTerminator()) {
        chain = chain->next;
    }
    destroy(chain->next);
    chain->next = nullptr;
    return chain->hash;
}
