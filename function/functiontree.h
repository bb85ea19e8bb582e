#pragma once

#include <tolvane/tracelevel.h>

#include "function/hashedname.h"
#include "function/namedlevel.h"

#include <atomic>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

/// One namespace, class or function of which a level was set, or that lies on the way to one.
///
/// A name may have any number of components, and the nodes lie as deep: none of its functions calls
/// itself for the nodes below.
struct functiontreenode
{
    functiontreenode() = default;
    functiontreenode(const functiontreenode& other);
    ~functiontreenode();

    functiontreenode& operator=(const functiontreenode& other);

    tracelevel_t level = tl_always;
    std::wstring component; ///< of the name; empty for a root
    std::unordered_map<long long, functiontreenode>
        children; ///< by the hash of their name component

private:
    void copy(const functiontreenode& other);

    functiontreenode* m_nextFreed = nullptr; ///< in the list of those that are being freed
};

/// A root with all that is below it. Nothing of it changes while it is a tree's; a tree that
/// changes gets another root.
struct functiontreeroot : functiontreenode
{
    functiontreeroot() = default;
    explicit functiontreeroot(const functiontreenode& other) : functiontreenode(other) {}

    functiontreeroot(const functiontreeroot&) = delete; // the list is not copied
    functiontreeroot& operator=(const functiontreeroot&) = delete;

    functiontreeroot* nextReplaced = nullptr; ///< in the tree's list of replaced ones; owned
};

/// What the trees have in common: the root, which any thread may read while others replace it.
///
/// Nobody waits for anybody, so that a thread that is stopped amid its work, or lost in a fork,
/// holds up no other one. A replaced root is freed when nobody reads; m_readers and m_root are only
/// accessed in the one order that all threads agree on (memory_order_seq_cst): a reader counts
/// itself first and looks at the root then, so whoever replaces the root, and finds no reader
/// after that, knows that nobody has the old one in hand. A reader that never comes back costs the
/// memory of the roots that are replaced later, until the tree's end.
class uifunctiontree
{
public:
    uifunctiontree();

    /// Nobody else may use the tree any more.
    virtual ~uifunctiontree();

    uifunctiontree(const uifunctiontree&) = delete;
    uifunctiontree& operator=(const uifunctiontree&) = delete;

    /// Who read is gone: the process was forked.
    void forgetReaders() noexcept { m_readers.store(0, std::memory_order_relaxed); }

protected:
    /// Keeps the root that a tree has at this moment from being freed, for a block.
    class reading
    {
    public:
        explicit reading(const uifunctiontree& tree) noexcept;
        ~reading();

        reading(const reading&) = delete;
        reading& operator=(const reading&) = delete;

        const functiontreenode& root() const noexcept { return *m_root; }

    private:
        friend class uifunctiontree;

        const uifunctiontree& m_tree;
        functiontreeroot* m_root; ///< never null
    };

    /// Gives the tree another root.
    /// \param by  taken over when it succeeds.
    /// \return false when somebody else has replaced the root that was read.
    bool replace(const reading& read, std::unique_ptr<functiontreeroot>& by) noexcept;

    /// Frees the roots that were replaced, unless somebody reads; then a later call does. Within
    /// a reading of the caller's own it frees nothing.
    void freeReplaced() noexcept;

private:
    void keepReplaced(functiontreeroot* first) noexcept;

    std::atomic<functiontreeroot*> m_root; ///< owned, never null
    mutable std::atomic<unsigned int> m_readers{0};

    /// List of the replaced roots that are not freed yet; owned. Whoever wants to free them takes
    /// the whole list.
    std::atomic<functiontreeroot*> m_replaced{nullptr};
};

template <class level_t>
class hashedfunctiontree;

/// A sink's levels, by function. The most specific setting wins.
///
/// Any thread may call any member at any time: a lookup sees the tree as it was before or behind
/// each change, and no change is lost. A change that runs out of memory throws std::bad_alloc and
/// leaves the tree as it was.
template <>
class hashedfunctiontree<tracelevel_t> : public uifunctiontree
{
public:
    /// The level of the deepest node that exists on the function's path.
    tracelevel_t lookup(const hashedname* key) const noexcept;

    /// The levels that differ from what surrounds them, by name: an empty one for all that has no
    /// level of its own.
    std::map<std::wstring, tracelevel_t> all() const;

    /// Writes a level at a name's node. A node that is made on the way takes its parent's level as
    /// it is now, and keeps it when the parent's is changed later.
    void set(tracelevel_t level, const tolvane::string& name);

    /// The same for many, in their order, as one change.
    void set(const std::vector<namedlevel>& levels);

    /// Removes a name's node with everything beneath it, after making the nodes above it if there
    /// are none; for an empty name, everything below the root, whose own level stays.
    void clear(const tolvane::string& name);

    /// Removes everything and gives every function this level.
    void reset(tracelevel_t level);

    /// Replaces this tree by a copy of another one.
    void assign(const hashedfunctiontree& other);

private:
    template <class change_t>
    void change(const change_t& apply);
};
