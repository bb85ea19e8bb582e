#pragma once

#include "support/coldpath.h"
#include "support/mutex.h"
#include "support/permanent.h"
#include "trace/insidelibrary.h"

#include <atomic>
#include <memory>

/// Holds the single object of a class, and the lock of it.
///
/// The object is made on first use. Its stop() runs at the end of the process, in the order of
/// static destructors. The object itself is never destroyed: destructors of other statics and
/// threads that still run may come later, and must find locks that lock and an object that drops
/// what they bring.
template <class object_t>
class safesingleton
{
public:
    virtual ~safesingleton() = default;

    static object_t& instance()
    {
        object_t* const made = known();
        return made ? *made : make();
    }

    /// Null when nobody has used it yet.
    static object_t* known() noexcept { return s_instance.load(std::memory_order_acquire); }

    /// Held while the object is made, which a fork must not come into.
    static tolvane::Mutex::Impl& makingLock() noexcept
    {
        return tolvane::permanent<tolvane::Mutex::Impl, object_t>();
    }

    mutex m_instanceMutex; ///< outermost lock; recursive, since sinks may call the facade while it
                           ///< is held

private:
    struct stopper
    {
        object_t& object;
        ~stopper() { object.stop(); }
    };

    static object_t& make();

    static inline std::atomic<object_t*> s_instance{nullptr};
};

template <class object_t>
TOLVANE_COLD object_t& safesingleton<object_t>::make()
{
    const insidelibrary inside;
    const tolvane::Auto_Lock<tolvane::Mutex::Impl> turn(&makingLock());
    if (object_t* const made = known()) {
        return *made;
    }
    auto object = std::make_unique<object_t>();
    static const stopper stopAtExit{*object};
    s_instance.store(object.get(), std::memory_order_release);
    return *object.release();
}
