#include "function/hashedname.h"

#include "function/componenthash.h"

#include <algorithm>
#include <memory>

namespace {

constexpr std::wstring_view separator = L"::";

struct chaindeleter
{
    void operator()(hashedname* chain) const noexcept { hashedname::destroy(chain); }
};

} // namespace

hashedname* hashedname::build(const tolvane::string& name)
{
    std::unique_ptr<hashedname, chaindeleter> chain(new hashedname);
    hashedname* node = chain.get();
    std::wstring_view rest(name.c_str(), static_cast<std::size_t>(name.length()));
    while (!rest.empty()) {
        const std::wstring_view component = takeComponent(rest);
        node->hash = componentHash(component.data(), component.size());
        node->next = new hashedname;
        node = node->next;
    }
    return chain.release();
}

std::wstring_view hashedname::takeComponent(std::wstring_view& name) noexcept
{
    const std::wstring_view component = name.substr(0, name.find(separator));
    name.remove_prefix(std::min(component.size() + separator.size(), name.size()));
    return component;
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
