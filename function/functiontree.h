#pragma once

#include <tolvane/tracelevel.h>

#include "function/hashedname.h"

#include <unordered_map>

/// One namespace, class or function of which a level was set, or that lies on the way to one.
struct functiontreenode
{
    tracelevel_t level = tl_always;
    std::unordered_map<long long, functiontreenode>
        children; ///< by the hash of their name component
};

/// What the trees have in common: the root. Has no lock: its callers serialise access.
class uifunctiontree
{
public:
    uifunctiontree() : m_root(new functiontreenode) {}
    virtual ~uifunctiontree();

    uifunctiontree(const uifunctiontree&) = delete;
    uifunctiontree& operator=(const uifunctiontree&) = delete;

protected:
    functiontreenode* m_root; ///< owned
};

template <class level_t>
class hashedfunctiontree;

/// A sink's levels, by function. The most specific setting wins.
template <>
class hashedfunctiontree<tracelevel_t> : public uifunctiontree
{
public:
    /// The level of the deepest node that exists on the function's path.
    tracelevel_t lookup(const hashedname* key) const noexcept;

    /// Writes a level at a name's node. A node that is made on the way takes its parent's level as
    /// it is now, and keeps it when the parent's is changed later.
    void set(tracelevel_t level, const tolvane::string& name);

    /// Removes a name's node with everything beneath it, after making the nodes above it if there
    /// are none; for an empty name, everything below the root, whose own level stays.
    void clear(const tolvane::string& name);

    /// Replaces this tree by a copy of another one.
    void assign(const hashedfunctiontree& other) { *m_root = functiontreenode(*other.m_root); }

private:
    static functiontreenode& descend(functiontreenode& from, const hashedname* key);
};
