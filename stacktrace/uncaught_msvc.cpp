// The Microsoft compiler; empty for others, see uncaught_gcc.cpp.
#ifdef _MSC_VER

#include "stacktrace/uncaught.h"

#include <exception>
#include <typeinfo>

namespace faults {

/// Nothing tells the type of an exception but its own catch.
void nameUncaught(void (*use)(const char* name)) noexcept
{
    try {
        throw;
    } catch (const std::exception& exception) {
        use(typeid(exception).name());
    } catch (...) {
        use("an unknown type");
    }
}

} // namespace faults

#endif
