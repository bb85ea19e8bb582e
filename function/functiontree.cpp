#include "function/functiontree.h"

#include "support/view.h"

#include <string_view>
#include <utility>
#include <vector>

namespace {

/// The node of a name, made with all that lead to it where it is missing.
functiontreenode& descend(functiontreenode& from, const hashedname* key, std::wstring_view name)
{
    functiontreenode* node = &from;
    for (; !key->isTerminator(); key = key->next) {
        const std::wstring_view component = hashedname::takeComponent(name);
        const auto inserted = node->children.try_emplace(key->hash);
        functiontreenode& child = inserted.first->second;
        if (inserted.second) {
            child.level = node->level;
            child.component = component;
        }
        node = &child;
    }
    return *node;
}

void freeList(functiontreeroot* first) noexcept
{
    while (first) {
        const std::unique_ptr<functiontreeroot> freed(first);
        first = freed->nextReplaced;
    }
}

} // namespace

/// By way of the default constructor, so that without memory the destructor frees what there is.
functiontreenode::functiontreenode(const functiontreenode& other) : functiontreenode()
{
    copy(other);
}

/// Lists the nodes, parents before their children, and frees the children of the last one first:
/// these have none any more.
functiontreenode::~functiontreenode()
{
    functiontreenode* last = this;
    for (functiontreenode* node = this; node; node = node->m_nextFreed) {
        for (auto& child : node->children) {
            if (!child.second.children.empty()) {
                last->m_nextFreed = &child.second;
                last = &child.second;
            }
        }
    }
    functiontreenode* freed = nullptr;
    for (functiontreenode* node = this; node;) {
        functiontreenode* const next = std::exchange(node->m_nextFreed, freed);
        freed = std::exchange(node, next);
    }
    while (freed) {
        functiontreenode* const node = freed;
        freed = std::exchange(node->m_nextFreed, nullptr);
        node->children.clear();
    }
}

functiontreenode& functiontreenode::operator=(const functiontreenode& other)
{
    functiontreenode copied(other);
    level = copied.level;
    component.swap(copied.component);
    children.swap(copied.children);
    return *this;
}

/// This node has no children yet.
void functiontreenode::copy(const functiontreenode& other)
{
    std::vector<std::pair<const functiontreenode*, functiontreenode*>> open = {{&other, this}};
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        to->level = from->level;
        to->component = from->component;
        for (const auto& child : from->children) {
            open.emplace_back(&child.second, &to->children[child.first]);
        }
    }
}

uifunctiontree::reading::reading(const uifunctiontree& tree) noexcept : m_tree(tree)
{
    m_tree.m_readers.fetch_add(1);
    m_root = m_tree.m_root.load();
}

uifunctiontree::reading::~reading()
{
    m_tree.m_readers.fetch_sub(1);
}

uifunctiontree::uifunctiontree() : m_root(new functiontreeroot) {}

uifunctiontree::~uifunctiontree()
{
    delete m_root.load();
    freeList(m_replaced.load());
}

/// The root that was read is not freed before the reading ends, so no other root can have its
/// address meanwhile.
bool uifunctiontree::replace(const reading& read, std::unique_ptr<functiontreeroot>& by) noexcept
{
    functiontreeroot* replaced = read.m_root;
    if (!m_root.compare_exchange_strong(replaced, by.get())) {
        return false;
    }
    static_cast<void>(by.release());
    keepReplaced(replaced);
    return true;
}

/// Puts a list, which may be empty, in front of the one that is there.
void uifunctiontree::keepReplaced(functiontreeroot* first) noexcept
{
    if (!first) {
        return;
    }
    functiontreeroot* last = first;
    while (last->nextReplaced) {
        last = last->nextReplaced;
    }
    last->nextReplaced = m_replaced.load();
    while (!m_replaced.compare_exchange_weak(last->nextReplaced, first)) {
    }
}

/// The list is taken first: nobody has a root of it in hand that does not count as a reader yet.
void uifunctiontree::freeReplaced() noexcept
{
    functiontreeroot* const taken = m_replaced.exchange(nullptr);
    if (m_readers.load() == 0) {
        freeList(taken);
    } else {
        keepReplaced(taken);
    }
}

tracelevel_t hashedfunctiontree<tracelevel_t>::lookup(const hashedname* key) const noexcept
{
    const reading read(*this);
    const functiontreenode* node = &read.root();
    for (; !key->isTerminator(); key = key->next) {
        const auto child = node->children.find(key->hash);
        if (child == node->children.end()) {
            break;
        }
        node = &child->second;
    }
    return node->level;
}

std::map<std::wstring, tracelevel_t> hashedfunctiontree<tracelevel_t>::all() const
{
    struct place
    {
        const functiontreenode* node;
        std::wstring prefix; ///< of its children's names
    };
    const reading read(*this);
    std::map<std::wstring, tracelevel_t> found = {{std::wstring(), read.root().level}};
    std::vector<place> open = {{&read.root(), std::wstring()}};
    while (!open.empty()) {
        const place from = std::move(open.back());
        open.pop_back();
        for (const auto& each : from.node->children) {
            const functiontreenode& child = each.second;
            const std::wstring name = from.prefix + child.component;
            if (child.level != from.node->level) {
                found.emplace(name, child.level);
            }
            open.push_back({&child, name + L"::"});
        }
    }
    return found;
}

/// Changes a copy of the tree and puts it in the tree's place, again and again until nobody else
/// has been quicker.
template <class change_t>
void hashedfunctiontree<tracelevel_t>::change(const change_t& apply)
{
    for (bool isDone = false; !isDone;) {
        const reading read(*this);
        auto changed = std::make_unique<functiontreeroot>(read.root());
        apply(*changed);
        isDone = replace(read, changed);
    }
    freeReplaced();
}

void hashedfunctiontree<tracelevel_t>::set(tracelevel_t level, const tolvane::string& name)
{
    const namechain chain(name);
    change([level, &chain, &name](functiontreenode& root) {
        descend(root, chain.first(), view(name)).level = level;
    });
}

void hashedfunctiontree<tracelevel_t>::set(const std::vector<namedlevel>& levels)
{
    change([&levels](functiontreenode& root) {
        for (const namedlevel& each : levels) {
            const namechain chain(each.name);
            descend(root, chain.first(), view(each.name)).level = each.level;
        }
    });
}

void hashedfunctiontree<tracelevel_t>::clear(const tolvane::string& name)
{
    const namechain chain(name);
    if (chain.first()->isTerminator()) {
        change([](functiontreenode& root) { root.children.clear(); });
        return;
    }
    const long long last = hashedname::removeLast(chain.first());
    change([last, &chain, &name](functiontreenode& root) {
        descend(root, chain.first(), view(name)).children.erase(last);
    });
}

void hashedfunctiontree<tracelevel_t>::reset(tracelevel_t level)
{
    change([level](functiontreenode& root) {
        root.children.clear();
        root.level = level;
    });
}

void hashedfunctiontree<tracelevel_t>::assign(const hashedfunctiontree& other)
{
    change([&other](functiontreenode& root) {
        const reading source(other);
        root = source.root();
    });
}
