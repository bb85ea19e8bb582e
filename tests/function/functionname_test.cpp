#include "function/functionname.h"

#include "tests/function/functionnamemodel.h"
#include "tests/helpers/sanitizer.h"

#include <catch2/catch.hpp>

#include <iterator>
#include <random>
#include <string>

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

/// Results that follow from the single steps.
const example singleSteps[] = {
    // brackets are skipped with what they hold, nested ones too
    {"int (&__cdecl ns::f(void))[10]", "int"},
    {"void ns::f(int (&)[3])", "ns::f"},
    {"void ns::f(int) [with T = a::b<int>]", "ns::f"},
    {"void ns::f(int) [with T = std::array<int [2], 3>]", "ns::f"},
    {"void ns[1]::f(int)", "ns[1]::f"},
    {"void f[(](int)", "f[(]"},
    {"x[", "x["},
    {"]f(int)", "]f"},
    {"f(int)]", "f(int)]"},
    // white space in front of the parameter list, one or more
    {"void foo  (int)", "foo"},
    {"void foo\t(int)", "foo"},
    {"void\tfoo(int)", "foo"},
    {"void\nfoo(int)", "foo"},
    {"void\rfoo(int)", "foo"},
    {"void\vfoo(int)", "void\vfoo"},
    {" (int)", " (int)"},
    {"(int)", "(int)"},
    {" foo(int)", "foo"},
    // words for elaborated types
    {"void ns::class foo(int)", "ns::foo"},
    {"void ns::struct foo(int)", "ns::foo"},
    {"void ns::typename foo(int)", "ns::foo"},
    {"void ns::enum foo(int)", "foo"},
    {"void ns::Class foo(int)", "foo"},
    {"class foo(int)", "foo"},
    {":class foo(int)", "foo"},
    {"::class foo(int)", "::foo"},
    {"x class foo(int)", "foo"},
    {"x xclass foo(int)", "foo"},
    {"(class foo(int)", "foo"},
    // operators
    {"void a::operator\t==(int)", "a::operator \t=="},
    {"void a::operator==(int)", "a::operator =="},
    {"void a::operator   ==(int)", "=="},
    {"void a::operator()(int)", "a::operator ()"},
    {"void a::operator ()(int)", "a::operator ()"},
    {"void* a::operator new[](unsigned)", "a::operator new[]"},
    {"int& a::operator[](int)", "a::operator []"},
    {"a& a::operator,(int)", "a::operator ,"},
    {"a a::operator->(void)", "a a::operator ->"},
    {"bool a::operator>(int)", "bool a::operator >"},
    {"bool a::operator<<(int)", "bool a::operator <<"},
    {"bool operator==(int)", "operator =="},
    {"operator==(int)", "operator =="},
    {"operator ==(int)", "=="},
    {"void xoperator==(int)", "xoperator=="},
    {"void operator_x(int)", "operator_x"},
    {"void operator7(int)", "operator7"},
    {"void operator~(int)", "operator ~"},
    {"void Operator==(int)", "Operator=="},
    {"void operatorX::operator==(int)", "operatorX::operator=="},
    // nesting
    {"void f<(1 > 2)>(int)", "void f<(1 > 2)>"},
    {"void a<b<c> >::f(int)", "a::f"},
    {"void a<b>::c<d>::f(int (*)(int))", "a::c::f"},
    {"f", "f"},
    {"f)", "f)"},
    {"a b", "a b"},
};

} // namespace

TEST_CASE("a signature gives the function's plain qualified name", "[function]")
{
    for (const example& pair : workedExamples) {
        CAPTURE(pair.signature);

        CHECK(extractFunctionName(pair.signature) == pair.name);
    }
}

TEST_CASE("a signature is taken apart by every single step's rule", "[function]")
{
    for (const example& pair : singleSteps) {
        CAPTURE(pair.signature);

        CHECK(extractFunctionName(pair.signature) == pair.name);
    }
}

TEST_CASE("only the first 1024 characters of a signature are scanned", "[function]")
{
    const std::string filler(1024 - 5, 'x');

    // the parameter list opens at the last character that is scanned, or right behind it
    CHECK(extractFunctionName("void " + filler.substr(2) + "()") == filler.substr(2));
    CHECK(extractFunctionName("void f() " + filler + "(int)") == "f");
    // what is not scanned does not close anything
    const std::string unclosed = "void " + filler + "(int)";
    CHECK(extractFunctionName(unclosed) == unclosed);
}

TEST_CASE("random signatures give what a second implementation gives", "[function]")
{
    const char* const tokens[] = {
        " ",      " ",    " ",      "  ",       "\t",   "(",        ")",        "<",  ">",
        "::",     "::",   ":",      "[",        "]",    "operator", "operator", "a",  "bc",
        "struct", "foo",  "class",  "typename", "void", "~x",       "*",        "&",  "_",
        "7",      "()",   "(int)",  "(int)",    "<T>",  "==",       "[10]",     ",",  "const",
        "`x'",    "new ", "class ", "struct ",  "(",    ")",        "\n",       "\r", ".",
    };
    const int rounds = sanitizer::present ? 20000 : 200000;
    std::mt19937 random(20240305);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    int differences = 0;

    for (int round = 0; round < rounds; ++round) {
        std::string signature;
        for (std::size_t left = below(24); left > 0; --left) {
            signature += tokens[below(std::size(tokens))];
        }
        if (extractFunctionName(signature) != modelFunctionName(signature)) {
            ++differences;
            CAPTURE(signature);
            CHECK(extractFunctionName(signature) == modelFunctionName(signature));
        }
    }

    CHECK(differences == 0);
}

TEST_CASE("random signatures of about 1024 characters give what a second implementation gives",
          "[function]")
{
    const char characters[] = "ab: ()<>[]";
    std::mt19937 random(1024);

    for (int round = 0; round < 300; ++round) {
        std::string signature;
        const std::size_t length = 1020 + random() % 10;
        while (signature.size() < length) {
            signature += random() % 100 < 90 ? 'x' : characters[random() % (sizeof characters - 1)];
        }
        CAPTURE(signature);
        CHECK(extractFunctionName(signature) == modelFunctionName(signature));
    }
}
