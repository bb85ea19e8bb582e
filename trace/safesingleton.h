#pragma once

#include "support/mutex.h"

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

    static object_t& instance();

    mutex m_instanceMutex; ///< outermost lock; recursive, since sinks may call the facade while it
                           ///< is held

private:
    struct stopper
    {
        object_t& object;
        ~stopper() { object.stop(); }
    };
};

template <class object_t>
object_t& safesingleton<object_t>::instance()
{
    static auto* const object = new object_t;
    static const stopper stopAtExit{*object};
    return *object;
}
