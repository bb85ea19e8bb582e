#include <tolvane/tracestream.h>

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/remembersink.h"

#include <catch2/catch.hpp>

#include <memory>
#include <new>
#include <sstream>
#include <type_traits>

/// Calls what only the library calls.
struct tracestreamtest
{
    static void assign(tracestream& to, const tracestream& from) { to = from; }

    static const void* levels(const tracestream& sink) { return sink.m_levels; }

    static bool isCustom(const tracestream& sink) { return sink.m_kind == tracestream::sk_custom; }
    static bool isStream(const tracestream& sink) { return sink.m_kind == tracestream::sk_stream; }
    static bool isFile(const tracestream& sink) { return sink.m_kind == tracestream::sk_file; }
    static bool isRotatingFile(const tracestream& sink)
    {
        return sink.m_kind == tracestream::sk_rotatingfile;
    }
};

namespace {

static_assert(std::is_abstract_v<tracestream>);
static_assert(std::has_virtual_destructor_v<tracestream>);
static_assert(std::is_copy_constructible_v<remembersink>);
static_assert(!std::is_copy_assignable_v<tracestream>, "assignment is for the library only");
static_assert(sizeof(tracestream) == 3 * sizeof(void*),
              "the virtual table, the levels, then what the sink is");

/// Has a clone of its own, as a sink must have that does not want to be the library's.
class derivedfile : public rotatingfilestracestream
{
public:
    using rotatingfilestracestream::rotatingfilestracestream;

    derivedfile* clone() const override { return new derivedfile(*this); }
};

class derivedstream : public ostreamtracestream<char>
{
public:
    using ostreamtracestream<char>::ostreamtracestream;
};

std::unique_ptr<tracestream> cloneOf(const tracestream& sink)
{
    return std::unique_ptr<tracestream>(sink.clone());
}

tracelevel_t levelOf(const tracestream& sink, const char* name)
{
    return sink.level(hashedfunction(name));
}

} // namespace

TEST_CASE("a new sink gives level 0 for every function", "[sinks]")
{
    const remembersink sink;

    CHECK(levelOf(sink, "a") == tl_always);
    CHECK(levelOf(sink, "a::b") == tl_always);
    CHECK(levelOf(sink, "") == tl_always);
}

TEST_CASE("a sink has the levels that were set, for all functions and for names", "[sinks]")
{
    remembersink sink;

    sink.setLevel(tl_info);
    sink.setLevel(tl_debug, L"a::b");

    CHECK(levelOf(sink, "void x(int)") == tl_info);
    CHECK(levelOf(sink, "void a::b(int)") == tl_debug);
    CHECK(levelOf(sink, "void a::b::c(int)") == tl_debug);
    CHECK(levelOf(sink, "void a::c(int)") == tl_info);
}

TEST_CASE("a level without a name leaves the names' own levels", "[sinks]")
{
    remembersink sink;
    sink.setLevel(tl_debug, L"a::b");

    sink.setLevel(tl_warning);
    CHECK(levelOf(sink, "a::b") == tl_debug);
    CHECK(levelOf(sink, "a") == tl_always);
    CHECK(levelOf(sink, "b") == tl_warning);

    sink.setLevel(tl_error, L"");
    CHECK(levelOf(sink, "b") == tl_error);
    CHECK(levelOf(sink, "a::b") == tl_debug);
}

TEST_CASE("a name of a level is not parsed as a signature", "[sinks]")
{
    remembersink sink;

    sink.setLevel(tl_debug, L"void a::b(int)");

    CHECK(levelOf(sink, "a::b") == tl_always);
}

TEST_CASE("clearing to a level gives it to every function", "[sinks]")
{
    remembersink sink;
    sink.setLevel(tl_info);
    sink.setLevel(tl_debug, L"a::b");
    sink.setLevel(tl_trace, L"c");

    sink.clearLevels(tl_warning);

    CHECK(levelOf(sink, "a::b") == tl_warning);
    CHECK(levelOf(sink, "a") == tl_warning);
    CHECK(levelOf(sink, "c") == tl_warning);
    CHECK(levelOf(sink, "") == tl_warning);
}

TEST_CASE("clearing the empty name drops every name and keeps the level of the rest", "[sinks]")
{
    remembersink sink;
    sink.setLevel(tl_info);
    sink.setLevel(tl_debug, L"a::b");

    sink.clearLevels(L"");

    CHECK(levelOf(sink, "a::b") == tl_info);
    CHECK(levelOf(sink, "x") == tl_info);
}

TEST_CASE("clearing a name drops it with all beneath", "[sinks]")
{
    remembersink sink;
    sink.setLevel(tl_warning, L"a");
    sink.setLevel(tl_debug, L"a::b");
    sink.setLevel(tl_trace, L"a::b::c");

    sink.clearLevels(L"a::b");

    CHECK(levelOf(sink, "a::b::c") == tl_warning);
    CHECK(levelOf(sink, "a") == tl_warning);
}

TEST_CASE("a copied sink has its source's levels, and changes of one do not show in the other",
          "[sinks]")
{
    remembersink source;
    source.setLevel(tl_warning);
    source.setLevel(tl_debug, L"a::b");

    remembersink copied(source);
    source.clearLevels(tl_error);

    CHECK(levelOf(copied, "x") == tl_warning);
    CHECK(levelOf(copied, "a") == tl_warning);
    CHECK(levelOf(copied, "a::b::c") == tl_debug);
    CHECK(tracestreamtest::levels(copied) != tracestreamtest::levels(source));
    copied.setLevel(tl_trace);
    CHECK(levelOf(source, "x") == tl_error);
}

TEST_CASE("a clone has no levels", "[sinks]")
{
    filetracestream file(L"name");
    file.setLevel(tl_trace);
    file.setLevel(tl_debug, L"a");

    const std::unique_ptr<tracestream> clone(file.clone());

    CHECK(levelOf(*clone, "x") == tl_always);
    CHECK(levelOf(*clone, "a") == tl_always);
    CHECK(clone->id() == file.id());
}

TEST_CASE("an assigned sink has a copy of the levels, in the tree it had", "[sinks]")
{
    remembersink source;
    source.setLevel(tl_warning);
    source.setLevel(tl_debug, L"a::b");
    remembersink target;
    target.setLevel(tl_trace, L"old");
    const void* const tree = tracestreamtest::levels(target);

    tracestreamtest::assign(target, source);
    source.clearLevels(tl_error);

    CHECK(tracestreamtest::levels(target) == tree);
    CHECK(levelOf(target, "a::b") == tl_debug);
    CHECK(levelOf(target, "old") == tl_warning);
    CHECK(levelOf(source, "a::b") == tl_error);
}

TEST_CASE("a sink assigned to itself keeps its levels", "[sinks]")
{
    remembersink sink;
    sink.setLevel(tl_debug, L"a::b");

    tracestreamtest::assign(sink, sink);

    CHECK(levelOf(sink, "a::b") == tl_debug);
}

TEST_CASE("a sink that runs out of memory throws and leaves nothing behind", "[sinks]")
{
    filetracestream source(L"a name of some length");
    source.setLevel(tl_debug, L"a::b");
    int thrown = 0;
    for (unsigned long long after = 0; after < 4; ++after) {
        const allocations::failure failure(after);
        try {
            const filetracestream copied(source);
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    }

    CHECK(thrown == 4);
}

TEST_CASE("the clone of one of the library's sinks is known for what it is", "[sinks]")
{
    std::ostringstream narrow;
    std::wostringstream wide;
    const filetracestream file(L"name");
    const rotatingfilestracestream rotating(L"name", 2, 1, 1);
    const ostreamtracestream<char> stream(narrow);
    const ostreamtracestream<wchar_t> wideStream(wide);

    CHECK(tracestreamtest::isFile(*cloneOf(file)));
    CHECK(tracestreamtest::isRotatingFile(*cloneOf(rotating)));
    CHECK(tracestreamtest::isStream(*cloneOf(stream)));
    CHECK(tracestreamtest::isStream(*cloneOf(wideStream)));
    CHECK(tracestreamtest::isFile(*cloneOf(*cloneOf(file))));
}

TEST_CASE("what a constructor makes may be part of a derived sink, and is not known", "[sinks]")
{
    std::ostringstream stream;
    const filetracestream file(L"name");
    const std::unique_ptr<tracestream> cloned = cloneOf(file);

    CHECK(tracestreamtest::isCustom(file));
    CHECK(tracestreamtest::isCustom(filetracestream(static_cast<filetracestream&>(*cloned))));
    CHECK(tracestreamtest::isCustom(ostreamtracestream<char>(stream)));
    CHECK(tracestreamtest::isCustom(remembersink()));
    CHECK(tracestreamtest::isCustom(*cloneOf(remembersink())));
}

TEST_CASE("a sink derived from one of the library's is known only where the library's is cloned",
          "[sinks]")
{
    std::ostringstream stream;

    CHECK(tracestreamtest::isCustom(*cloneOf(derivedfile(L"name", 2, 1, 1))));
    CHECK(tracestreamtest::isStream(*cloneOf(derivedstream(stream))));
}

TEST_CASE("an assigned sink stays what it is", "[sinks]")
{
    const std::unique_ptr<tracestream> file = cloneOf(filetracestream(L"name"));
    remembersink custom;

    tracestreamtest::assign(custom, *file);
    CHECK(tracestreamtest::isCustom(custom));
    tracestreamtest::assign(*file, custom);
    CHECK(tracestreamtest::isFile(*file));
}

TEST_CASE("clearing to a level without memory leaves every level as it was", "[sinks]")
{
    remembersink sink;
    sink.setLevel(tl_info);
    sink.setLevel(tl_debug, L"a::b");
    int thrown = 0;
    bool isCleared = false;
    for (unsigned long long after = 0; !isCleared; ++after) {
        try {
            const allocations::failure failure(after);
            sink.clearLevels(tl_warning);
            isCleared = true;
        } catch (const std::bad_alloc&) {
            ++thrown;
            REQUIRE(levelOf(sink, "x") == tl_info);
            REQUIRE(levelOf(sink, "a::b") == tl_debug);
        }
    }

    CHECK(thrown > 1);
    CHECK(levelOf(sink, "a::b") == tl_warning);
}
