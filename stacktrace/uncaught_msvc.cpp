// The Microsoft compiler; empty for others, see uncaught_gcc.cpp.
#ifdef _MSC_VER

#include "stacktrace/uncaught.h"

#include <exception>
#include <typeinfo>

namespace faults {

/// Nothing tells the type of an exception but its own catch.
void nameUncaught(tolvane::StandardErrorText& out) noexcept
{
    try {
        throw;
    } catch (const std::exception& exception) {
        out.put(typeid(exception).name());
    } catch (...) {
        out.put("an unknown type");
    }
}

} // namespace faults

#endif
