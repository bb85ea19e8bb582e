// GCC and clang; empty for the Microsoft compiler, see uncaught_msvc.cpp.
#ifndef _MSC_VER

#include "stacktrace/uncaught.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

namespace faults {

namespace {

struct Freer
{
    void operator()(char* name) const noexcept { std::free(name); }
};

} // namespace

void nameUncaught(tolvane::StandardErrorText& out) noexcept
{
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (!type) {
        out.put("an unknown type"); // another language's exception
        return;
    }
    int status = 0;
    const std::unique_ptr<char, Freer> name(
        abi::__cxa_demangle(type->name(), nullptr, nullptr, &status));
    out.put(name ? name.get() : type->name()); // without memory as the compiler writes it
}

} // namespace faults

#endif
