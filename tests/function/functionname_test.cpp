#include "function/functionname.h"

#include <catch2/catch.hpp>

namespace {

struct example
{
    const char* signature;
    const char* name;
};

const example workedExamples[] = {
    {"void __cdecl stacktrace::FaultHandler(const class tolvane::string &)",
     "stacktrace::FaultHandler"},
    {"class tolvane::string __cdecl hashedfunction::functionname(const char *)",
     "hashedfunction::functionname"},
    {"virtual void __cdecl tracestream::log(const class formattedline &)", "tracestream::log"},
    {"static void __cdecl a::b::c(void)", "a::b::c"},
    {"void foo(int)", "foo"},
    {"foo(void)", "foo"},
    {"void  __cdecl foo (void)", "foo"},
    {"__cdecl foo::~foo(void)", "foo::~foo"},
    {"int __cdecl bar<int>::baz<double>(double)", "bar::baz"},
    {"void __cdecl ns::cls<struct x>::run(void)", "ns::cls::run"},
    {"class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > "
     "__cdecl "
     "ns::f(int)",
     "ns::f"},
    {"void __cdecl foo::operator ()(int)", "foo::operator ()"},
    {"bool __cdecl foo::operator ==(const class foo &) const", "foo::operator =="},
    {"void *__cdecl foo::operator new(unsigned __int64)", "foo::operator new"},
    {"__cdecl foo::operator class tolvane::string(void) const", "foo::operator tolvane::string"},
    {"void __cdecl foo::operatorX(void)", "foo::operatorX"},
    {"main", "main"},
    {"bool __cdecl foo::operator <(const class foo &) const", "bool __cdecl foo::operator <"},
    {"void __cdecl `anonymous namespace'::helper(void)", "namespace'::helper"},
    {"auto __cdecl foo::<lambda_1>::operator ()(void) const", "foo::::operator ()"},
    {"int (__cdecl *__cdecl getfn(void))(int)", "int"},
    {"char (&__cdecl arr(void))[10]", "char"},
    {"", ""},
};

} // namespace

TEST_CASE("a signature gives the function's plain qualified name", "[function]")
{
    for (const example& pair : workedExamples) {
        CAPTURE(pair.signature);

        CHECK(extractFunctionName(pair.signature) == pair.name);
    }
}
