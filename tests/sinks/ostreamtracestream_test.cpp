#include <tolvane/ostreamtracestream.h>

#include <tolvane/hashedfunction.h>

#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"

#include <catch2/catch.hpp>

#include <cstdint>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <type_traits>

namespace {

using sink = ostreamtracestream<char>;

static_assert(std::is_base_of_v<tracestream, sink>);
static_assert(std::is_base_of_v<tolvane::nonassignable_::nonassignable, sink>);
static_assert(!std::is_copy_assignable_v<sink>);
static_assert(std::is_same_v<decltype(std::declval<const sink&>().clone()), sink*>);

/// Remembers what it held at each flush.
class flushbuffer : public std::stringbuf
{
public:
    std::string atFlush;
    int flushes = 0;

protected:
    int sync() override
    {
        ++flushes;
        atFlush = str();
        return 0;
    }
};

const hashedfunction& function()
{
    static const hashedfunction registered("void f(int)");
    return registered;
}

formattedline lineOf(const std::wstring& text)
{
    formattedline line = formattedlinetest::text(tl_info, function(), text.c_str());
    formattedlinetest::time(line) = 0;
    formattedlinetest::threadId(line) = 1;
    return line;
}

const std::string prefix = "[1970-01-01 00:00:00.000]:   1:[I]: f : ";

} // namespace

TEST_CASE("each line reaches the stream with one newline", "[sinks]")
{
    std::ostringstream stream;
    sink output(stream);

    output.log(lineOf(L"first"));
    output.log(lineOf(L"second"));

    CHECK(stream.str() == prefix + "first\n" + prefix + "second\n");
}

TEST_CASE("the stream is flushed after every line, behind its newline", "[sinks]")
{
    flushbuffer buffer;
    std::ostream stream(&buffer);
    sink output(stream);

    output.log(lineOf(L"first"));
    CHECK(buffer.flushes == 1);
    CHECK(buffer.atFlush == prefix + "first\n");

    output.log(lineOf(L"second"));
    CHECK(buffer.flushes == 2);
    CHECK(buffer.atFlush == prefix + "first\n" + prefix + "second\n");
}

TEST_CASE("lines are written unformatted", "[sinks]")
{
    std::ostringstream stream;
    stream.width(200);
    stream.fill('*');
    sink output(stream);

    output.log(lineOf(L"text"));

    CHECK(stream.str() == prefix + "text\n");
    CHECK(stream.width() == 200);
}

TEST_CASE("a character that does not convert is a question mark in the stream", "[sinks]")
{
    std::ostringstream stream;
    sink output(stream);

    output.log(lineOf(L"a\u0416b"));

    CHECK(stream.str() == prefix + "a?b\n");
}

TEST_CASE("a line is cut to as many bytes as it has wide characters, its newline follows",
          "[sinks]")
{
    const localeguard guard;
    const multibytelocale encoding;
    std::ostringstream stream;
    sink output(stream);
    const std::size_t extra = encoding.bytes.size() - 1;

    output.log(lineOf(std::wstring(multibytelocale::character) + L"abcdef"));
    output.log(lineOf(std::wstring(L"abc") + multibytelocale::character));

    const std::string cut = std::string("abcdef").substr(0, 6 - extra);
    CHECK(stream.str() == prefix + encoding.bytes + cut + "\n" + prefix + "abc" +
                              encoding.bytes.substr(0, 1) + "\n");
}

TEST_CASE("a stream that has failed is left alone, and the sink throws nothing", "[sinks]")
{
    std::ostringstream stream;
    stream.setstate(std::ios::badbit);
    sink output(stream);

    CHECK_NOTHROW(output.log(lineOf(L"lost")));
    CHECK(stream.bad());
    stream.clear();
    output.log(lineOf(L"found"));
    CHECK(stream.str() == prefix + "found\n");
}

TEST_CASE("a stream sink is identified by its stream's address", "[sinks]")
{
    std::ostringstream first;
    std::ostringstream second;
    const sink output(first);
    const sink same(first);
    const sink other(second);
    std::ostream& base = first;

    CHECK(output.id() == reinterpret_cast<std::uintptr_t>(&base));
    CHECK(output.id() == same.id());
    CHECK(output.id() != other.id());
}

TEST_CASE("a clone of a stream sink writes to the same stream and has no levels", "[sinks]")
{
    std::ostringstream stream;
    sink output(stream);
    output.setLevel(tl_trace);

    const std::unique_ptr<sink> clone(output.clone());
    clone->log(lineOf(L"cloned"));

    CHECK(stream.str() == prefix + "cloned\n");
    CHECK(clone->id() == output.id());
    CHECK(clone->level(function()) == tl_always);
}

TEST_CASE("a stream outlives its sink untouched", "[sinks]")
{
    flushbuffer buffer;
    std::ostream stream(&buffer);
    {
        const sink output(stream);
    }

    CHECK(buffer.flushes == 0);
    stream << "still open";
    CHECK(buffer.str() == "still open");
}

TEST_CASE("a wide stream gets the wide text", "[sinks]")
{
    std::wostringstream stream;
    ostreamtracestream<wchar_t> output(stream);

    output.log(lineOf(L"a\u0416b"));

    CHECK(stream.str() == std::wstring(prefix.begin(), prefix.end()) + L"a\u0416b\n");
}
