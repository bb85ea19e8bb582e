#include "function/functiontree.h"

uifunctiontree::~uifunctiontree()
{
    delete m_root;
}

tracelevel_t hashedfunctiontree<tracelevel_t>::lookup(const hashedname* key) const noexcept
{
    const functiontreenode* node = m_root;
    for (; !key->isTerminator(); key = key->next) {
        const auto child = node->children.find(key->hash);
        if (child == node->children.end()) {
            break;
        }
        node = &child->second;
    }
    return node->level;
}

void hashedfunctiontree<tracelevel_t>::set(tracelevel_t level, const tolvane::string& name)
{
    const namechain chain(name);
    descend(*m_root, chain.first()).level = level;
}

void hashedfunctiontree<tracelevel_t>::clear(const tolvane::string& name)
{
    const namechain chain(name);
    hashedname* const first = chain.first();
    if (first->isTerminator()) {
        m_root->children.clear();
    } else if (first->next->isTerminator()) {
        m_root->children.erase(first->hash);
    } else {
        const long long last = hashedname::removeLast(first->next);
        descend(*m_root, first).children.erase(last);
    }
}

functiontreenode& hashedfunctiontree<tracelevel_t>::descend(functiontreenode& from,
                                                            const hashedname* key)
{
    functiontreenode* node = &from;
    for (; !key->isTerminator(); key = key->next) {
        const auto inserted = node->children.try_emplace(key->hash);
        functiontreenode& child = inserted.first->second;
        if (inserted.second) {
            child.level = node->level;
        }
        node = &child;
    }
    return *node;
}
