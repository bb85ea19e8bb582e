#include <tolvane/scope.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/scopetest.h"
#include "tests/helpers/traceimpltest.h"
#include "tests/helpers/withoutmemory.h"

#include <catch2/catch.hpp>

#include <complex>
#include <functional>
#include <iomanip>
#include <iterator>
#include <locale>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

// What an application does with the name that it gave to TOLVANE_SCOPE.

namespace {

using texts_t = std::vector<std::wstring>;

const char signature[] = "void a::f(int)";

struct constants
{
    static const int number = 5;
    static const bool isSo = true;
};

struct heldscope
{
    heldqueue queue;
    const hashedfunction* function = nullptr;
    tolvane::scope log{function, signature};
};

void writeToScope(tolvane::scope& log)
{
    TOLVANE_LOG(log, tl_always) << "as a scope";
}

void writeToTraceobject(traceobject& log)
{
    log(tl_error) << L"as a traceobject" << std::endl;
    TOLVANE_LOG(log, tl_always) << "traced " << 1;
    TOLVANE_LOGF(log, tl_always, "traced %d", 2);
}

void writeToStream(std::wostream& log)
{
    log << L"as a stream" << std::endl;
}

template <class stream_t>
void writeToAny(stream_t& log)
{
    log << std::setw(3) << L"a" << 1 << std::endl;
}

} // namespace

namespace application {

struct bystream
{};
std::wostream& operator<<(std::wostream& stream, const bystream&)
{
    return stream << L"bystream";
}

struct bytrace
{};
traceobject& operator<<(traceobject& stream, const bytrace&)
{
    stream << L"bytrace";
    return stream;
}

struct byvalue
{};
std::wostream& operator<<(std::wostream& stream, byvalue)
{
    return stream << L"byvalue";
}

struct changed
{
    int times = 0;
};
std::wostream& operator<<(std::wostream& stream, changed& value)
{
    return stream << L"changed " << ++value.times;
}

struct template_t
{};
template <class char_t, class traits_t>
std::basic_ostream<char_t, traits_t>& operator<<(std::basic_ostream<char_t, traits_t>& stream,
                                                 const template_t&)
{
    return stream << stream.widen('t');
}

template <class value_t>
struct box
{};
template <class value_t>
std::wostream& operator<<(std::wostream& stream, const box<value_t>&)
{
    return stream << L"box";
}

enum plainenum
{
    plain = 4
};
enum class ownenum
{
    own
};
std::wostream& operator<<(std::wostream& stream, ownenum)
{
    return stream << L"ownenum";
}

// The standard's types, found only from within this namespace.

std::wostream& operator<<(std::wostream& stream, const std::string& text)
{
    return stream << text.c_str();
}

template <class value_t>
std::wostream& operator<<(std::wostream& stream, const std::vector<value_t>& values)
{
    for (const value_t& value : values) {
        stream << value << L',';
    }
    return stream;
}

traceobject& operator<<(traceobject& stream, const char* text)
{
    stream << L"'" << std::wstring(text, text + std::char_traits<char>::length(text)) << L"'";
    return stream;
}

texts_t writeAll()
{
    heldscope scope;
    changed counter;
    int object = 0;
    scope.log << bystream() << std::endl;
    scope.log << bytrace() << L' ' << byvalue() << std::endl;
    scope.log << byvalue() << std::endl;
    scope.log << counter << std::endl;
    scope.log << template_t() << std::endl;
    scope.log << box<int>() << std::endl;
    scope.log << plain << std::endl;
    scope.log << ownenum::own << std::endl;
    scope.log << std::string("string") << std::endl;
    scope.log << std::vector<int>{1, 2} << std::endl;
    scope.log << "narrow" << std::endl;
    scope.log << std::complex<double>(1, 2) << std::endl;
    scope.log << tolvane::string("tolvane") << std::endl;
    scope.log << std::hex << 255 << std::endl;
    scope.log << &object << std::endl;
    return scope.queue.texts();
}

} // namespace application

TEST_CASE("a scope takes what a wide stream takes, and an application's own inserters",
          "[trace][scopestream]")
{
    texts_t texts = application::writeAll();

    REQUIRE(texts.size() == 15);
    CHECK(texts.back().substr(0, 2) == L"0x");
    texts.pop_back();
    CHECK(texts == texts_t{L"bystream", L"bytrace byvalue", L"byvalue", L"changed 1", L"t", L"box",
                           L"4", L"ownenum", L"string", L"1,2,", L"'narrow'", L"(1,2)", L"tolvane",
                           L"ff"});
}

TEST_CASE("a scope takes numbers, characters, text and manipulators", "[trace][scopestream]")
{
    heldscope scope;
    std::wstringbuf buffer(L"buffer");
    char narrow[] = "narrow";
    wchar_t wide[] = L"wide";

    scope.log << 1 << std::endl;
    scope.log << 2L << 3U << 4LL << std::endl;
    scope.log << 0.5 << std::endl;
    scope.log << true << std::endl;
    scope.log << 'c' << L'd' << std::endl;
    scope.log << L'd' << std::endl;
    scope.log << narrow << wide << std::endl;
    scope.log << wide << std::endl;
    scope.log << std::wstring(L"string") << std::endl;
    scope.log << std::wstring_view(L"view") << std::endl;
    scope.log << &buffer << std::endl;
    scope.log << std::setw(3) << 1 << std::endl;
    scope.log << std::boolalpha << true << std::endl;
    scope.log << nullptr << std::endl;
    scope.log << static_cast<const void*>(nullptr) << std::endl;
    scope.log << std::flush << L"flushed";
    scope.log << std::endl;

    CHECK(scope.queue.texts() == texts_t{L"1", L"234", L"0.5", L"1", L"cd", L"d", L"narrowwide",
                                         L"wide", L"string", L"view", L"buffer", L"  1", L"true",
                                         L"nullptr", L"0", L"flushed"});
}

TEST_CASE("a constant that is defined nowhere can be inserted", "[trace][scopestream]")
{
    heldscope held;

    held.log << constants::number << L' ' << constants::isSo << std::endl;

    CHECK(held.queue.texts() == texts_t{L"5 1"});
}

TEST_CASE("a scope may be given to whatever takes a stream", "[trace][scopestream]")
{
    heldscope scope;

    writeToScope(scope.log);
    writeToTraceobject(scope.log);
    writeToStream(scope.log);
    writeToAny(scope.log);
    std::wios& characters = scope.log;
    std::ios_base& base = scope.log;
    const int values[] = {1, 2};
    std::copy(values, values + 2, std::ostream_iterator<int, wchar_t>(scope.log, L" "));
    scope.log << std::endl;

    CHECK(&characters == &base);
    CHECK(scope.queue.texts() == texts_t{L"as a scope", L"as a traceobject", L"traced 1",
                                         L"traced 2", L"as a stream", L"  a1", L"1 2 "});
}

TEST_CASE("a scope has the interface of a wide stream", "[trace][scopestream]")
{
    heldscope scope;
    tolvane::scope& log = scope.log;
    std::wostream& stream = log;
    std::wostringstream other;

    CHECK(log);
    CHECK_FALSE(!log);
    CHECK((log.good() && !log.fail() && !log.bad() && !log.eof()));
    log.setstate(tolvane::scope::failbit | tolvane::scope::eofbit);
    CHECK((!log && !log.good() && log.fail() && log.eof() && stream.fail()));
    CHECK(log.rdstate() == stream.rdstate());
    log.clear();
    CHECK(log.good());
    log.exceptions(std::ios_base::badbit);
    CHECK(stream.exceptions() == std::ios_base::badbit);
    CHECK(log.exceptions() == std::ios_base::badbit);
    log.exceptions(std::ios_base::goodbit);

    CHECK(log.flags() == stream.flags());
    log.setf(log.showbase);
    log.setf(log.hex, log.basefield);
    CHECK((stream.flags() & (log.hex | log.showbase | log.basefield)) == (log.hex | log.showbase));
    log.unsetf(log.showbase);
    CHECK((stream.flags() & log.showbase) == 0);
    log.flags(log.dec | log.skipws);
    log.width(9);
    CHECK((stream.width() == 9 && log.width() == 9));
    log.precision(3);
    CHECK((stream.precision() == 3 && log.precision() == 3));
    log.fill(L'.');
    CHECK((stream.fill() == L'.' && log.fill() == L'.'));
    log.copyfmt(other);
    CHECK((log.width() == 0 && log.precision() == 6 && log.fill() == L' '));
    log.tie(&other);
    CHECK((stream.tie() == &other && log.tie() == &other));
    log.tie(nullptr);

    CHECK(log.widen('x') == L'x');
    CHECK(log.narrow(L'x', '?') == 'x');
    CHECK(log.getloc() == stream.getloc());
    CHECK(log.imbue(std::locale::classic()) == stream.getloc());
    const int index = tolvane::scope::xalloc();
    log.iword(index) = 5;
    log.pword(index) = &log;
    CHECK((stream.iword(index) == 5 && stream.pword(index) == &log));
    log.register_callback([](std::ios_base::event, std::ios_base&, int) {}, index);

    std::wstreambuf* const own = log.rdbuf();
    CHECK(own == stream.rdbuf());
    log.rdbuf(other.rdbuf());
    log << L"elsewhere";
    CHECK(log.tellp() == other.tellp());
    log.seekp(1);
    log.seekp(1, std::ios_base::cur);
    log.put(L'X');
    CHECK(other.str() == L"elXewhere");
    log.rdbuf(own);

    log.put(L'a').write(L"bcd", 2).flush();
    log.put(L'\n');
    CHECK(scope.queue.texts() == texts_t{L"abc"});
}

TEST_CASE("a scope builds its stream when it is used as one, and not before",
          "[trace][scopestream]")
{
    heldscope scope;
    CHECK_FALSE(scopetest::hasStream(scope.log));

    TOLVANE_LOG(scope.log, tl_always) << "text" << 1 << 0.5 << L"wide" << true;
    TOLVANE_LOGF(scope.log, tl_always, "%d %s", 1, "text");
    scope.log.reset();
    CHECK(scope.log.takes(tl_always));
    CHECK_FALSE(scopetest::hasStream(scope.log));

    scope.log << L"used";
    CHECK(scopetest::hasStream(scope.log));
}

TEST_CASE("a quiet scope allocates nothing", "[trace][scopestream]")
{
    const hashedfunction* function = nullptr;
    {
        const tolvane::scope first(function, signature);
    }
    const unsigned long long before = allocations::count();
    {
        const tolvane::scope log(function, signature);
    }
    CHECK(allocations::count() == before);
}

TEST_CASE("a chosen level holds for the lines of the stream that follow, whoever chose it",
          "[trace][scopestream]")
{
    heldscope scope;
    const auto levelOfNext = [&scope] {
        scope.log << std::endl;
        return scope.queue.entries().back().level;
    };

    TOLVANE_LOG(scope.log, tl_always) << "gathered";
    CHECK(levelOfNext() == tl_always);
    scope.log(tl_debug);
    CHECK(levelOfNext() == tl_debug);
    const probesink sink(1);
    const attached attachment(sink, tl_info);
    scope.log.reset();
    TOLVANE_LOG(scope.log, tl_info) << "gathered";
    CHECK(levelOfNext() == tl_info);
    traceobject& stream = scope.log;
    stream(tl_error);
    CHECK(levelOfNext() == tl_error);

    const hashedfunction* function = nullptr;
    tolvane::scope other(function, signature);
    TOLVANE_LOG(other, tl_warning) << "gathered, before there is a stream";
    other << std::endl;
    CHECK(scope.queue.entries().back().level == tl_warning);
}

TEST_CASE("a reset through the stream is one of the scope, and the reverse", "[trace][scopestream]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_info);
    const hashedfunction* function = nullptr;
    tolvane::scope log(function, signature);
    traceobject& stream = log;
    CHECK((log.takes(tl_info) && !log.takes(tl_debug)));

    trace::setLevel(tl_debug);
    stream.reset();
    CHECK((log.takes(tl_debug) && stream.takes(tl_debug)));
    trace::setLevel(tl_error);
    log.reset();
    CHECK_FALSE(log.takes(tl_warning));
    CHECK_FALSE(stream.takes(tl_warning));
}

TEST_CASE("a scope queues entry and exit lines around its own, also with a stream",
          "[trace][scopestream]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_trace);
    const heldqueue queue;
    const hashedfunction* function = nullptr;
    const unsigned long long depth = stacktrace::getTrace().size();
    {
        tolvane::scope log(function, signature);
        log << L"stream" << std::endl;
        TOLVANE_LOG(log, tl_info) << "gathered";
        CHECK(stacktrace::getTrace().size() == depth + 1);
        CHECK(stacktrace::getTrace()[depth] == function);
        log << L"not ended";
    }

    const auto entries = queue.entries();
    REQUIRE(entries.size() == 4);
    CHECK(entries[0].type == formattedline::tt_starting);
    CHECK(entries[1].text == L"stream");
    CHECK(entries[2].text == L"gathered");
    CHECK(entries[3].type == formattedline::tt_exiting);
    CHECK(entries[3].function == function);
    CHECK(stacktrace::getTrace().size() == depth);
}

TEST_CASE("a scope queues its exit line by the level of its last reset", "[trace][scopestream]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_debug);
    const heldqueue queue;
    const hashedfunction* function = nullptr;
    {
        const tolvane::scope visited(function, signature);
    }
    {
        tolvane::scope log(function, signature);
        trace::setLevel(tl_trace);
        log.reset();
    }
    REQUIRE(queue.entries().size() == 1);
    CHECK(queue.entries()[0].type == formattedline::tt_exiting);
    {
        tolvane::scope log(function, signature);
        trace::setLevel(tl_debug);
        log.reset();
    }
    REQUIRE(queue.entries().size() == 2);
    CHECK(queue.entries()[1].type == formattedline::tt_starting);
}

TEST_CASE("scopes go as deep as memory does, and leave the call stack as it was",
          "[trace][scopestream]")
{
    constexpr unsigned long long deepest = 1000;
    const hashedfunction* function = nullptr;
    std::thread([&function] {
        const std::function<void(unsigned long long)> nest = [&](unsigned long long depth) {
            const tolvane::scope log(function, signature);
            CHECK(stacktrace::getTrace().size() == depth);
            if (depth < deepest) {
                nest(depth + 1);
            }
            CHECK(stacktrace::getTrace().size() == depth);
        };

        nest(1);
        nest(1); // with room for all of them

        CHECK(stacktrace::getTrace().size() == 0);
    }).join();
}

TEST_CASE("a scope pops one function, whatever others did to the call stack",
          "[trace][scopestream]")
{
    const hashedfunction* function = nullptr;
    std::thread([&function] {
        {
            const tolvane::scope first(function, signature);
            stacktrace::up();
        }
        CHECK(stacktrace::getTrace().size() == 0);
        {
            const tolvane::scope again(function, signature);
            stacktrace::down(function);
        }
        CHECK(stacktrace::getTrace().size() == 1);
        {
            const tolvane::scope again(function, signature);
            stacktrace::up();
        }
        CHECK(stacktrace::getTrace().size() == 0);
    }).join();
}

TEST_CASE("a scope that ends on another thread pops that thread's stack", "[trace][scopestream]")
{
    const hashedfunction* function = nullptr;
    const unsigned long long before = stacktrace::getTrace().size();
    auto scope = std::make_unique<tolvane::scope>(function, signature);
    std::thread([&] {
        const tolvane::scope other(function, signature);
        scope.reset();
        CHECK(stacktrace::getTrace().size() == 0);
    }).join();

    CHECK(stacktrace::getTrace().size() == before + 1);
    stacktrace::up();
}

TEST_CASE("a scope without memory for its entry line is none", "[trace][scopestream]")
{
    const hashedfunction* function = &trace::registerfunction(signature);

    CHECK(withoutMemoryForItsEntryLine([&] { const tolvane::scope log(function, signature); }));
}

TEST_CASE("a scope without memory for its exit line ends without it", "[trace][scopestream]")
{
    const hashedfunction* function = &trace::registerfunction(signature);

    CHECK(withoutMemoryForItsExitLine([&](const auto& raiseLevel, const auto& takeMemory) {
        tolvane::scope log(function, signature);
        raiseLevel();
        log.reset();
        takeMemory();
    }));
}

TEST_CASE("a scope with a stream may end on another thread, which has no memory for a stack",
          "[trace][scopestream]")
{
    const hashedfunction* function = nullptr;
    auto scope = std::make_unique<tolvane::scope>(function, signature);
    *scope << L"not ended";

    std::thread([&scope] {
        const allocations::failure failure;
        scope.reset();
    }).join();

    CHECK(scope == nullptr);
    stacktrace::up(); // it is still on this thread's stack
}

TEST_CASE("a scope registers its function once per pointer, and without a signature names none",
          "[trace][scopestream]")
{
    const hashedfunction* function = nullptr;
    {
        const tolvane::scope first(function, signature);
        CHECK(scopetest::function(first) == function);
    }
    const hashedfunction* const remembered = function;
    const tolvane::scope second(function, nullptr);
    const hashedfunction* nameless = nullptr;
    const tolvane::scope third(nameless, nullptr);

    CHECK(scopetest::function(second) == remembered);
    CHECK(function == remembered);
    REQUIRE(nameless);
    CHECK(nameless->name().empty());
}

TEST_CASE("a scope is neither copied nor moved", "[trace][scopestream]")
{
    STATIC_REQUIRE_FALSE(std::is_copy_constructible_v<tolvane::scope>);
    STATIC_REQUIRE_FALSE(std::is_move_constructible_v<tolvane::scope>);
    STATIC_REQUIRE_FALSE(std::is_copy_assignable_v<tolvane::scope>);
    STATIC_REQUIRE_FALSE(std::is_move_assignable_v<tolvane::scope>);
}
