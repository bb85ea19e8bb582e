#pragma once

#include "support/threadid.h"
#include "support/threadslot.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <mutex>
#include <vector>

/// What tolvane::threadslot tells of threads' ends, since the object was made. Only in a program
/// where nobody else wants to know of them; one object at a time.
class toldends
{
public:
    struct told
    {
        tolvane::threadslot::slot_t slot;
        void* value;
        unsigned int thread;
        void* left; ///< what was in the slot at that moment
    };

    /// \param timesBack  how often a value is put into its slot again.
    explicit toldends(int timesBack = 0)
    {
        static const bool isWanted = want();
        static_cast<void>(isWanted);
        const std::lock_guard<std::mutex> lock(mutex());
        all().clear();
        leftBack() = timesBack;
    }

    ~toldends() { leftBack() = 0; }

    toldends(const toldends&) = delete;
    toldends& operator=(const toldends&) = delete;

    std::vector<told> get() const
    {
        const std::lock_guard<std::mutex> lock(mutex());
        return all();
    }

    std::size_t count() const { return get().size(); }

    std::size_t count(tolvane::threadslot::slot_t slot, const void* value) const
    {
        const std::vector<told> known = get();
        return static_cast<std::size_t>(
            std::count_if(known.begin(), known.end(), [&](const told& each) {
                return each.slot == slot && each.value == value;
            }));
    }

private:
    static bool want()
    {
        using namespace tolvane::threadslot;
        whenThreadEnds(callStack, [](void* value) noexcept { note(callStack, value); });
        whenThreadEnds(lineStage, [](void* value) noexcept { note(lineStage, value); });
        return true;
    }

    static void note(tolvane::threadslot::slot_t slot, void* value) noexcept
    {
        {
            const std::lock_guard<std::mutex> lock(mutex());
            all().push_back(
                {slot, value, tolvane::currentThreadId(), tolvane::threadslot::get(slot)});
        }
        if (leftBack() > 0) {
            --leftBack();
            tolvane::threadslot::set(slot, value);
        }
    }

    // never destroyed: threads may end until the very end
    static std::mutex& mutex()
    {
        static auto* const made = new std::mutex;
        return *made;
    }

    static std::vector<told>& all()
    {
        static auto* const made = new std::vector<told>;
        return *made;
    }

    static std::atomic<int>& leftBack()
    {
        static std::atomic<int> left{0};
        return left;
    }
};
