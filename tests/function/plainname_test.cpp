#include "function/plainname.h"

#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/trace.h>

#include "tests/helpers/scopetest.h"

#include <catch2/catch.hpp>

#include <string>
#include <vector>

namespace {

struct example
{
    const char* name;
    const char* gcc;
    const char* clang;
    const char* microsoft;
};

constexpr const char* notWritten = nullptr;

const example examples[] = {
    {"main", "int main()", "int main()", "int __cdecl main(void)"},
    {"shop::cart::total", "int shop::cart::total(int) const", "int shop::cart::total(int) const",
     "int __cdecl shop::cart::total(int) const"},
    {"shop::cart::count", "static int shop::cart::count()", "static int shop::cart::count()",
     "static int __cdecl shop::cart::count(void)"},
    {"shop::cart::take", "virtual void shop::cart::take() &&", "virtual void shop::cart::take() &&",
     "virtual void __cdecl shop::cart::take(void) &&"},
    // lambdas
    {"shop::cart::total::lambda", "shop::cart::total(int) const::<lambda(int)>",
     "auto shop::cart::total(int)::(anonymous class)::operator()(int) const",
     "auto __cdecl shop::cart::total::<lambda_1>::operator ()(int) const"},
    {"shop::cart::total::lambda",
     "shop::cart::total(int) const::<lambda(auto:1)> mutable [with auto:1 = int]",
     "auto shop::cart::total(int)::(anonymous class)::operator()(auto) [x:auto = int]",
     "auto __cdecl shop::cart::total::<lambda_2>::operator ()<int>(int)"},
    {"main::lambda::lambda", "main()::<lambda()>::<lambda()>",
     "auto main()::(anonymous class)::operator()()::(anonymous class)::operator()() const",
     "auto __cdecl main::<lambda_1>::operator ()::<lambda_1>::operator ()(void) const"},
    {"shop::lambda", "shop::<lambda(int)>", "auto shop::(lambda)::operator()(int) const",
     "auto __cdecl shop::<lambda_1>::operator ()(int) const"},
    {"lambda", "<lambda()>", "auto (anonymous class)::operator()() const",
     "auto __cdecl <lambda_1>::operator ()(void) const"},
    {"shop::make", notWritten, notWritten, "class <lambda_1> __cdecl shop::make(void)"},
    // constructors, destructors
    {"shop::cart::cart", "shop::cart::cart(int)", "shop::cart::cart(int)",
     "__cdecl shop::cart::cart(int)"},
    {"shop::cart::~cart", "virtual shop::cart::~cart()", "virtual shop::cart::~cart()",
     "virtual __cdecl shop::cart::~cart(void)"},
    {"shop::box::box", "shop::box<T>::box() [with T = int]", "shop::box<int>::box() [T = int]",
     "__cdecl shop::box<int>::box(void)"},
    // operators
    {"shop::money::operator+", "shop::money shop::money::operator+(const shop::money&) const",
     "money shop::money::operator+(const money &) const",
     "class shop::money __cdecl shop::money::operator +(const class shop::money &) const"},
    {"shop::money::operator<", "bool shop::money::operator<(const shop::money&) const",
     "bool shop::money::operator<(const money &) const",
     "bool __cdecl shop::money::operator <(const class shop::money &) const"},
    {"shop::operator<", "bool shop::operator<(const box<T>&, const box<T>&) [with T = int]",
     "bool shop::operator<(const box<T> &, const box<T> &) [T = int]",
     "bool __cdecl shop::operator <<int>(const class shop::box<int> &,const class shop::box<int> "
     "&)"},
    {"shop::operator<<", "std::ostream& shop::operator<<(std::ostream&, const shop::money&)",
     "std::ostream &shop::operator<<(std::ostream &, const money &)",
     "class std::basic_ostream<char,struct std::char_traits<char> > &__cdecl shop::operator "
     "<<(class std::basic_ostream<char,struct std::char_traits<char> > &,const class shop::money "
     "&)"},
    {"shop::money::operator<=>", "auto shop::money::operator<=>(const shop::money&) const",
     "auto shop::money::operator<=>(const money &) const",
     "auto __cdecl shop::money::operator <=>(const class shop::money &) const"},
    {"shop::money::operator>>=", "shop::money& shop::money::operator>>=(int)",
     "money &shop::money::operator>>=(int)",
     "class shop::money &__cdecl shop::money::operator >>=(int)"},
    {"shop::money::operator->", "shop::money* shop::money::operator->()",
     "money *shop::money::operator->()",
     "class shop::money *__cdecl shop::money::operator ->(void)"},
    {"shop::money::operator->*", "int shop::money::operator->*(int)",
     "int shop::money::operator->*(int)", "int __cdecl shop::money::operator ->*(int)"},
    {"shop::money::operator,", "shop::money& shop::money::operator,(int)",
     "money &shop::money::operator,(int)",
     "class shop::money &__cdecl shop::money::operator ,(int)"},
    {"shop::money::operator()", "bool shop::money::operator()(int) const",
     "bool shop::money::operator()(int) const", "bool __cdecl shop::money::operator ()(int) const"},
    {"shop::money::operator[]", "int shop::money::operator[](int) const",
     "int shop::money::operator[](int) const", "int __cdecl shop::money::operator [](int) const"},
    {"shop::money::operator new", "static void* shop::money::operator new(std::size_t)",
     "static void *shop::money::operator new(std::size_t)",
     "static void *__cdecl shop::money::operator new(unsigned __int64)"},
    {"shop::money::operator new[]", "static void* shop::money::operator new [](std::size_t)",
     "static void *shop::money::operator new[](std::size_t)",
     "static void *__cdecl shop::money::operator new[](unsigned __int64)"},
    {"shop::money::operator delete", "static void shop::money::operator delete(void*)",
     "static void shop::money::operator delete(void *)",
     "static void __cdecl shop::money::operator delete(void *)"},
    {"shop::operator\"\"_eur", "shop::money shop::operator\"\"_eur(long double)",
     "money shop::operator\"\"_eur(long double)",
     "class shop::money __cdecl shop::operator \"\"_eur(long double)"},
    {"shop::money::operator bool", "shop::money::operator bool() const",
     "bool shop::money::operator bool() const", "__cdecl shop::money::operator bool(void) const"},
    {"shop::money::operator const char*", "shop::money::operator const char*() const",
     "const char *shop::money::operator const char *() const",
     "__cdecl shop::money::operator const char *(void) const"},
    {"shop::money::operator vector", "shop::money::operator std::vector<int>() const",
     "std::vector<int> shop::money::operator vector() const",
     "__cdecl shop::money::operator class std::vector<int,class std::allocator<int> >(void) const"},
    {"shop::money::operator void (*)(int)", notWritten,
     "fn shop::money::operator void (*)(int)() const", notWritten},
    // templates
    {"shop::box::put", "void shop::box<T>::put(T) [with T = int]",
     "void shop::box<int>::put(T) [T = int]", "void __cdecl shop::box<int>::put(int)"},
    {"shop::box::get", "U shop::box<T>::get(U) [with U = double; T = int]",
     "U shop::box<int>::get(U) [T = int, U = double]",
     "double __cdecl shop::box<int>::get<double>(double)"},
    {"shop::box::put::local::g", "static void shop::box<T>::put(T)::local::g() [with T = int]",
     "static void shop::box<int>::put(int)::local::g() [T = int]",
     "static void __cdecl shop::box<int>::put::local::g(void)"},
    {"shop::box::f", "void shop::box<'>'>::f()", "void shop::box<'\\''>::f()",
     "void __cdecl shop::box<(3>2)>::f(void)"},
    {"shop::box::f", "void shop::box<(& shop::money::operator<)>::f()",
     "void shop::box<&shop::money::operator<>::f()",
     "void __cdecl shop::box<&shop::money::operator>>::f(void)"},
    {"shop::sum", "decltype ((t + 1)) shop::sum(T) [with T = int; decltype ((t + 1)) = int]",
     "<dependent type> shop::sum(T) [T = int]", "int __cdecl shop::sum<int>(int)"},
    {"shop::sorted", "void shop::sorted(T) requires (C<T>) [with T = int]",
     "void shop::sorted(T) requires C<T> [T = int]", "void __cdecl shop::sorted<int>(int)"},
    // local classes, and what has no name
    {"shop::order::line::operator=",
     "shop::order()::line& shop::order()::line::operator=(const shop::order()::line&)",
     "line &shop::order()::line::operator=(const line &)",
     "struct shop::order::line &__cdecl shop::order::line::operator =(const struct "
     "shop::order::line &)"},
    {"shop::order::line::total", notWritten, notWritten,
     "`void __cdecl shop::order(void)'::`2'::line::total(void)"},
    {"shop::{anonymous}::hidden::f",
     "shop::{anonymous}::hidden* shop::{anonymous}::hidden::f(shop::{anonymous}::hidden)",
     "shop::(anonymous namespace)::hidden *shop::(anonymous namespace)::hidden::f(hidden)",
     "struct shop::`anonymous-namespace'::hidden *__cdecl "
     "shop::`anonymous-namespace'::hidden::f(struct shop::`anonymous-namespace'::hidden)"},
    {"shop::{unnamed}::f", "void shop::<unnamed struct>::f()", "void shop::(anonymous struct)::f()",
     "void __cdecl shop::<unnamed-type-x>::f(void)"},
    // types before the name, and around it
    {"shop::handler", "int (* shop::handler(int))(int)", "int (*shop::handler(int))(int)",
     "int (__cdecl *__cdecl shop::handler(int))(int)"},
    {"shop::bytes", "char (& shop::bytes())[10]", "char (&shop::bytes())[10]",
     "char (&__cdecl shop::bytes(void))[10]"},
    {"shop::member", "int (shop::box<int>::* shop::member())(int) const",
     "int (shop::money::*shop::member())(int) const",
     "int (__cdecl shop::money::* __cdecl shop::member(void))(int)"},
    {"shop::call", "void shop::call(void (*)(int), int (&)[3])",
     "void shop::call(void (*)(int), int (&)[3])",
     "void __cdecl shop::call(void (__cdecl *)(int),int (&)[3]) noexcept"},
    {"shop::wide", "std::string shop::wide[abi:cxx11](std::string)",
     "unsigned long shop::wide(long long)", "void __cdecl shop::wide(__int64 *)"},
    {"shop::any", "decltype(auto) shop::any()", "decltype(auto) shop::any()",
     "decltype(auto) __cdecl shop::any(void)"},
    {"f", "int ::f()", "std::map<int, X> f()", "class std::map<int,struct X> *__cdecl f(void)"},
};

/// Of a scope that is made as the macros make it.
std::wstring nameOf(const tolvane::scope& scope)
{
    return scopetest::function(scope)->name().c_str();
}

struct traced
{
    std::vector<std::wstring> names;

    int total() const
    {
        TOLVANE_SCOPE(log);
        CHECK(nameOf(log) == L"{anonymous}::traced::total");
        auto inner = [](auto value) mutable {
            TOLVANE_SCOPE(log);
            CHECK(nameOf(log) == L"{anonymous}::traced::total::lambda");
            return value;
        };
        const auto other = [&](int value) -> int {
            TOLVANE_SCOPE(log);
            CHECK(nameOf(log) == L"{anonymous}::traced::total::lambda");
            return value;
        };
        return inner(1) + other(1);
    }

    traced& operator<<(int)
    {
        TOLVANE_SCOPE(log);
        CHECK(nameOf(log) == L"{anonymous}::traced::operator<<");
        return *this;
    }

    bool operator()(int)
    {
        TOLVANE_SCOPE(log);
        CHECK(nameOf(log) == L"{anonymous}::traced::operator()");
        return true;
    }

    explicit operator std::vector<int>() const
    {
        TOLVANE_SCOPE(log);
        CHECK(nameOf(log) == L"{anonymous}::traced::operator vector");
        return {};
    }

    template <class value_t>
    struct nested
    {
        template <class other_t>
        static void call(other_t)
        {
            TOLVANE_SCOPE(log);
            CHECK(nameOf(log) == L"{anonymous}::traced::nested::call");
        }
    };
};

} // namespace

TEST_CASE("a name is as a person would type it, with every compiler", "[function][plainname]")
{
    for (const example& example : examples) {
        for (const char* const signature : {example.gcc, example.clang, example.microsoft}) {
            if (signature) {
                CAPTURE(signature);
                CHECK(plainName(signature) == example.name);
            }
        }
    }
}

TEST_CASE("scopes have plain names, whatever compiled them", "[function][plainname]")
{
    traced object;
    object.total();
    object << 1;
    object(1);
    static_cast<void>(static_cast<std::vector<int>>(object));
    traced::nested<std::vector<int>>::call(1.5);
}

TEST_CASE("a text that is no function's stays", "[function][plainname]")
{
    for (const char* const text : {"",
                                   "main",
                                   "shop::order",
                                   "a task",
                                   "shop::money::operator()",
                                   "operator",
                                   "()",
                                   "(",
                                   "f(",
                                   "f)",
                                   "f(int",
                                   "f<(int)",
                                   "f(int]",
                                   "a ? b(c)",
                                   "::",
                                   "a::(b)",
                                   "[with T]",
                                   "x::operator ",
                                   "x::operator@(int)",
                                   "x::operator(int)",
                                   ";f()",
                                   "\xC3\xA4"}) {
        CAPTURE(text);
        CHECK(plainName(text) == text);
    }
}

TEST_CASE("a scope with a text that is no function's has it as its name", "[function][plainname]")
{
    static const hashedfunction* function = nullptr;
    static const hashedfunction* nothing = nullptr;
    const tolvane::scope scope(function, "a task");
    const tolvane::scope empty(nothing, nullptr);
    CHECK(nameOf(scope) == L"a task");
    CHECK(nameOf(empty).empty());
}

TEST_CASE("a stream of class traceobject and a registration extract names as ever",
          "[function][plainname]")
{
    const char* const text = "bool __cdecl shop::money::operator ()(int) const";
    CHECK(std::wstring(trace::registerfunction(text).name().c_str()) ==
          L"shop::money::operator ()");
}

TEST_CASE("a long text takes no longer than its length", "[function][plainname]")
{
    constexpr std::size_t many = 200000;
    const auto repeated = [](const std::string& piece) {
        std::string text;
        while (text.size() < many) {
            text += piece;
        }
        return text;
    };
    for (const std::string piece : {"(", "<", "a<", "(a<", "(b::*", "[", "operator<", "a::", "(a ",
                                    "'", "`", "()::", "decltype(", "a<>::", "x::operator y"}) {
        const std::string text = repeated(piece);
        CHECK_FALSE(plainName(text).empty());
        CHECK_FALSE(plainName(text + "f()").empty());
    }
    CHECK(plainName("void " + repeated("a::") + "f()") == repeated("a::") + "f");
}
