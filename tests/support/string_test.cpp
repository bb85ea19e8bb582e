#include <tolvane/string.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"

#include <catch2/catch.hpp>

#include <cstring>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

using tolvane::string;

namespace {

/// The fields as the library and its users share them.
struct layout
{
    wchar_t inlineBuffer[8];
    wchar_t* heap;
    unsigned long long length;
    unsigned long long capacity;
    char* narrow;
};

static_assert(sizeof(string) == sizeof(layout), "the layout is part of the library's boundary");
static_assert(alignof(string) == alignof(layout));
static_assert(sizeof(string::size_type) == 8);
static_assert(!std::is_polymorphic_v<string>);
static_assert(std::is_nothrow_destructible_v<string>);

layout fieldsOf(const string& text)
{
    layout fields;
    std::memcpy(&fields, &text, sizeof fields);
    return fields;
}

std::wstring wide(const string& text)
{
    return std::wstring(text.c_str(), static_cast<std::size_t>(text.length()));
}

bool isInline(const string& text)
{
    return static_cast<const void*>(text.c_str()) == static_cast<const void*>(&text);
}

const wchar_t* const sevenCharacters = L"1234567";
const wchar_t* const eightCharacters = L"12345678";

/// Not in the character set of the "C" locale on any platform.
const wchar_t* const unconvertible = L"\u0416";

} // namespace

TEST_CASE("a string made of nothing, or of a null pointer, is empty", "[support]")
{
    const string texts[] = {string(), string(static_cast<const char*>(nullptr)),
                            string(static_cast<const wchar_t*>(nullptr)), string(""), string(L"")};

    for (const string& text : texts) {
        CHECK(text.empty());
        CHECK(text.length() == 0);
        CHECK(wide(text).empty());
        CHECK(text.c_str()[0] == 0);
    }
}

TEST_CASE("a string made of nothing holds null pointers and zeros", "[support]")
{
    const string text;

    const layout fields = fieldsOf(text);

    for (const wchar_t character : fields.inlineBuffer) {
        CHECK(character == 0);
    }
    CHECK(fields.heap == nullptr);
    CHECK(fields.length == 0);
    CHECK(fields.capacity == 0);
    CHECK(fields.narrow == nullptr);
}

TEST_CASE("a text of 7 characters lives in the string, one of 8 on the heap", "[support]")
{
    const string seven(sevenCharacters);
    const string eight(eightCharacters);

    CHECK(isInline(seven));
    CHECK(fieldsOf(seven).heap == nullptr);
    CHECK(fieldsOf(seven).length == 7);
    CHECK(fieldsOf(seven).capacity == 0);
    CHECK(wide(seven) == sevenCharacters);
    CHECK(seven.c_str()[7] == 0);
    CHECK_FALSE(isInline(eight));
    CHECK(fieldsOf(eight).heap == eight.c_str());
    CHECK(fieldsOf(eight).inlineBuffer[0] == 0);
    CHECK(fieldsOf(eight).length == 8);
    CHECK(fieldsOf(eight).capacity == 8);
    CHECK(wide(eight) == eightCharacters);
    CHECK(eight.c_str()[8] == 0);
}

TEST_CASE("a text of up to 7 characters needs no allocation, a longer one needs one", "[support]")
{
    const unsigned long long before = allocations::count();
    const string seven(sevenCharacters);
    const unsigned long long between = allocations::count();
    const string eight(eightCharacters);
    const unsigned long long after = allocations::count();

    CHECK(between == before);
    CHECK(after == between + 1);
}

TEST_CASE("a short text keeps the heap buffer of a long one, but empties it", "[support]")
{
    string text(L"a long text");
    const wchar_t* const heap = text.c_str();

    text.assign(L"short");

    CHECK(wide(text) == L"short");
    CHECK(isInline(text));
    CHECK(fieldsOf(text).heap == heap);
    CHECK(heap[0] == 0);
    CHECK(fieldsOf(text).capacity == 11);
}

TEST_CASE("a long text that fits takes the kept heap buffer again", "[support]")
{
    string text(L"a long text");
    const wchar_t* const heap = text.c_str();
    text.assign(L"short");

    text.assign(eightCharacters);

    CHECK(text.c_str() == heap);
    CHECK(wide(text) == eightCharacters);
    CHECK(fieldsOf(text).inlineBuffer[0] == 0);
    CHECK(fieldsOf(text).capacity == 11);
}

TEST_CASE("a heap buffer is replaced only for a longer text, and by one of its very size",
          "[support]")
{
    string text(L"12345678901");
    const wchar_t* const heap = text.c_str();

    text.assign(L"abcdefghijk");
    CHECK(text.c_str() == heap);
    CHECK(fieldsOf(text).capacity == 11);

    text.assign(L"abcdefghijkl");
    CHECK(fieldsOf(text).capacity == 12);
    CHECK(wide(text) == L"abcdefghijkl");
}

TEST_CASE("emptying a string keeps its heap buffer", "[support]")
{
    string text(eightCharacters);
    const wchar_t* const heap = text.c_str();

    SECTION("with an empty wide text")
    {
        text.assign(L"");
    }
    SECTION("with a null wide text")
    {
        text.assign(static_cast<const wchar_t*>(nullptr));
    }
    SECTION("with an empty narrow text")
    {
        text.assign("");
    }
    SECTION("with a null narrow text")
    {
        text.assign(static_cast<const char*>(nullptr));
    }
    SECTION("with an empty string")
    {
        text = string();
    }
    SECTION("by erasing everything")
    {
        text.erase(string::npos);
    }

    CHECK(text.empty());
    CHECK(text.c_str()[0] == 0);
    CHECK(fieldsOf(text).heap == heap);
    CHECK(heap[0] == 0);
}

TEST_CASE("a count bounds what is assigned from a wide text", "[support]")
{
    string text;

    CHECK(wide(text.assign(L"abcdefghij", 3)) == L"abc");
    CHECK(wide(text.assign(L"abcdefghij", 9)) == L"abcdefghi");
    CHECK(wide(text.assign(L"abc", 9)) == L"abc");
    CHECK(wide(text.assign(L"abc", 0)).empty());
    CHECK(wide(text.assign(L"abcdefghij", string::npos)) == L"abcdefghij");
    CHECK(wide(text.assign(L"abcdefghij", string::npos - 1)) == L"abcdefghij");
    CHECK(wide(text.assign(L"abcdefghij", string::npos / sizeof(wchar_t) + 2)) == L"abcdefghij");
}

TEST_CASE("a count keeps a text without an end from being read beyond", "[support]")
{
    const std::vector<wchar_t> unended(20, L'x'); // its very end, for the address sanitizer
    string text;

    text.assign(unended.data(), 20);
    text.append(unended.data(), 20);

    CHECK(wide(text) == std::wstring(40, L'x'));
}

TEST_CASE("a narrow text is converted when it is assigned", "[support]")
{
    CHECK(wide(string("short")) == L"short");
    CHECK(wide(string("a longer narrow text")) == L"a longer narrow text");
    CHECK(fieldsOf(string("narrow text")).narrow == nullptr);
    CHECK(fieldsOf(string("a longer text")).capacity == 13);
}

TEST_CASE("a narrow text in the locale's encoding gives its wide characters", "[support]")
{
    const localeguard guard;
    const multibytelocale encoding;
    const std::string bytes = "a" + encoding.bytes + "b";

    const string text(bytes.c_str());

    CHECK(wide(text) == std::wstring(L"a") + multibytelocale::character + L"b");
    CHECK(std::string(text.narrow()) == bytes);
}

TEST_CASE("a narrow text that does not convert becomes as many question marks as it has bytes",
          "[support]")
{
    const localeguard guard;
    const multibytelocale encoding;
    const std::string cut = "abc" + encoding.bytes.substr(0, encoding.bytes.size() - 1);
    if (std::mbstowcs(nullptr, cut.c_str(), 0) != static_cast<std::size_t>(-1)) {
        WARN("this runtime converts a character that is cut");
        return;
    }

    CHECK(wide(string(cut.c_str())) == std::wstring(cut.size(), L'?'));
}

TEST_CASE("a copied string has the text, and a narrow copy of its own", "[support]")
{
    const string source(L"a text of some length");
    source.narrow();

    const string copied(source);

    CHECK(wide(copied) == L"a text of some length");
    CHECK(copied.c_str() != source.c_str());
    CHECK(fieldsOf(copied).capacity == copied.length());
    REQUIRE(fieldsOf(copied).narrow != nullptr);
    CHECK(fieldsOf(copied).narrow != fieldsOf(source).narrow);
    CHECK(std::string(fieldsOf(copied).narrow) == "a text of some length");
}

TEST_CASE("a copy of a string without a narrow copy has an empty one", "[support]")
{
    const string source(L"text");

    const string copied(source);

    REQUIRE(fieldsOf(copied).narrow != nullptr);
    CHECK(std::string(fieldsOf(copied).narrow).empty());
    CHECK(std::string(copied.narrow()) == "text");
}

TEST_CASE("assignment takes the wide text only", "[support]")
{
    string target(L"old text");
    target.narrow();
    const string source(L"the new text");

    target = source;

    CHECK(wide(target) == L"the new text");
    CHECK(std::string(fieldsOf(target).narrow) == "old text");
    CHECK(std::string(target.narrow()) == "the new text");
}

TEST_CASE("a string may be assigned to itself, whole or in part", "[support]")
{
    for (const wchar_t* const original : {L"abcdef", L"abcdefghijklmnop"}) {
        string text(original);
        const string& alias = text;
        text = alias;
        CHECK(wide(text) == original);

        text.assign(text.c_str());
        CHECK(wide(text) == original);

        text.assign(text.c_str() + 2);
        CHECK(wide(text) == original + 2);
    }
    string text(L"abcdefghijklmnop");
    text.assign(text.c_str() + 12); // from the heap into the inline buffer
    CHECK(wide(text) == L"mnop");
}

TEST_CASE("text is appended within the inline buffer, out of it and on the heap", "[support]")
{
    string text;

    text.append(L"abc");
    CHECK(isInline(text));
    text.append(L"defg");
    CHECK(isInline(text));
    CHECK(wide(text) == L"abcdefg");
    text.append(L"h");
    CHECK_FALSE(isInline(text));
    CHECK(wide(text) == L"abcdefgh");
    CHECK(fieldsOf(text).capacity == 8);
    text.append(L"ijkl");
    CHECK(wide(text) == L"abcdefghijkl");
    CHECK(fieldsOf(text).capacity == 12);
    CHECK(fieldsOf(text).inlineBuffer[0] == 0);
}

TEST_CASE("an append that fits the kept heap buffer moves a short text there", "[support]")
{
    string text(L"123456789012");
    const wchar_t* const heap = text.c_str();
    text.assign(L"abc");

    text.append(L"defghijkl");

    CHECK(text.c_str() == heap);
    CHECK(wide(text) == L"abcdefghijkl");
    CHECK(fieldsOf(text).capacity == 12);
}

TEST_CASE("an append that fits allocates nothing, any other allocates once", "[support]")
{
    string text(L"123456789012");
    text.erase(4);

    const unsigned long long before = allocations::count();
    text.append(L"abcd");
    const unsigned long long between = allocations::count();
    text.append(L"e");
    const unsigned long long after = allocations::count();

    CHECK(between == before);
    CHECK(after == between + 1);
    CHECK(wide(text) == L"56789012abcde");
}

TEST_CASE("a count bounds what is appended, and null appends nothing", "[support]")
{
    string text(L"ab");

    text.append(L"cdef", 2).append(L"e", 10).append(L"x", 0).append(nullptr).append(nullptr, 5);

    CHECK(wide(text) == L"abcde");
}

TEST_CASE("a string may be appended to itself, whole or in part", "[support]")
{
    for (const std::wstring original : {L"ab", L"abcd", L"abcdefg", L"abcdefghijklm"}) {
        string whole(original.c_str());
        whole.append(whole.c_str(), whole.length());
        CHECK(wide(whole) == original + original);

        string part(original.c_str());
        part.append(part.c_str() + 1);
        CHECK(wide(part) == original + original.substr(1));

        string roomy(L"a buffer with a lot of room for more");
        roomy.assign(original.c_str());
        roomy.append(roomy.c_str(), roomy.length());
        CHECK(wide(roomy) == original + original);
    }
    string shortOnHeap(L"abcdefghij");
    shortOnHeap.erase(7);
    shortOnHeap.append(shortOnHeap.c_str());
    CHECK(wide(shortOnHeap) == L"hijhij");
}

TEST_CASE("a sum is the left text with the right one behind it", "[support]")
{
    const string left(L"left ");
    const string right(L"and right");
    left.narrow();

    const string sum = left + right;

    CHECK(wide(sum) == L"left and right");
    CHECK(std::string(fieldsOf(sum).narrow) == "left ");
    CHECK(wide(left) == L"left ");
    CHECK(wide(right) == L"and right");
    CHECK(wide(string() + string()).empty());
}

TEST_CASE("a part of a string is what lies from a position on, at most the count", "[support]")
{
    const string text(L"abcdefghij");

    CHECK(wide(text.substr(0)) == L"abcdefghij");
    CHECK(wide(text.substr(2)) == L"cdefghij");
    CHECK(wide(text.substr(2, 3)) == L"cde");
    CHECK(wide(text.substr(8, 3)) == L"ij");
    CHECK(wide(text.substr(9, string::npos)) == L"j");
    CHECK(wide(text.substr(2, 0)).empty());
    CHECK(wide(text.substr(10)).empty());
    CHECK(wide(text.substr(11)).empty());
    CHECK(wide(text.substr(string::npos, string::npos)).empty());
}

TEST_CASE("erasing removes from the front", "[support]")
{
    string text(L"abcdefghijkl");
    const wchar_t* const heap = text.c_str();

    text.erase(0);
    CHECK(wide(text) == L"abcdefghijkl");
    text.erase(3);
    CHECK(wide(text) == L"defghijkl");
    text.erase(5);
    CHECK(wide(text) == L"ijkl");
    CHECK(text.c_str()[4] == 0);
    CHECK(fieldsOf(text).heap == heap);
    CHECK(fieldsOf(text).capacity == 12);
    text.erase(4);
    CHECK(text.empty());
    text.erase(0);
    CHECK(text.empty());
    text.erase(string::npos);
    CHECK(text.empty());

    string inlined(L"abcdef");
    inlined.erase(2);
    CHECK(wide(inlined) == L"cdef");
    CHECK(isInline(inlined));
    inlined.erase(string::npos);
    CHECK(inlined.empty());
    CHECK(inlined.c_str()[0] == 0);
}

TEST_CASE("a short text that was left on the heap is read, copied and extended as any other",
          "[support]")
{
    string text(L"abcdefghij");
    text.erase(7);

    CHECK(wide(string(text)) == L"hij");
    CHECK(wide(text + string(L"k")) == L"hijk");
    CHECK(wide(text.substr(1, 1)) == L"i");
    CHECK(std::string(text.narrow()) == "hij");
    text.append(L"k");
    CHECK(wide(text) == L"hijk");
    text.append(L"lmnopqrs");
    CHECK(wide(text) == L"hijklmnopqrs");
}

TEST_CASE("comparing with a narrow text tells the order of the first difference", "[support]")
{
    const string text(L"mnop");

    CHECK(text.compare("mnop") == 0);
    CHECK(text.compare("mnoq") == -1);
    CHECK(text.compare("mnoo") == 1);
    CHECK(text.compare("mno") == 1);
    CHECK(text.compare("mnopq") == -1);
    CHECK(text.compare("Mnop") == 1);
    CHECK(text.compare("") == 1);
    CHECK(text.compare(nullptr) == 1);
    CHECK(string().compare("") == 0);
    CHECK(string().compare(nullptr) == 0);
    CHECK(string().compare("a") == -1);
    CHECK(string(L"\uFFFF").compare("z") == 1);
}

TEST_CASE("strings are compared by their characters, with texts of every kind", "[support]")
{
    const string text(L"mnop");

    CHECK(text == string("mnop"));
    CHECK(text == "mnop");
    CHECK(L"mnop" == text);
    CHECK(text == std::string("mnop"));
    CHECK(text == std::wstring_view(L"mnop"));
    CHECK_FALSE(text == "mnopq");
    CHECK_FALSE(text == "mno");
    CHECK(text != "Mnop");
    CHECK_FALSE(text != L"mnop");
    CHECK(string() == "");
    CHECK(text < "mnoq");
    CHECK("mno" < text);
    CHECK_FALSE(text < "mnop");
    CHECK_FALSE(text < std::wstring(L"mno"));
    CHECK(string() < text);
}

TEST_CASE("a string is made of the standard's texts, up to the first NUL", "[support]")
{
    using namespace std::string_literals;
    using namespace std::string_view_literals;

    CHECK(wide(string("abc"s)) == L"abc");
    CHECK(wide(string("abcdef"sv.substr(0, 3))) == L"abc");
    CHECK(wide(string(L"abc"s)) == L"abc");
    CHECK(wide(string(L"abcdef"sv.substr(0, 3))) == L"abc");
    CHECK(wide(string("ab\0c"s)) == L"ab");
    CHECK(wide(string(L"ab\0c"s)) == L"ab");
    CHECK(wide(string("ab\0c"sv)) == L"ab");
    CHECK(wide(string(L"ab\0c"sv)) == L"ab");
    CHECK(string(std::string_view()).empty());
    CHECK(string(std::wstring_view()).empty());
}

TEST_CASE("strings are keys of hashed containers", "[support]")
{
    std::unordered_set<string> names{"one", L"two", "a name that is a long one"};
    string shortOnHeap("a name that is a long one");
    shortOnHeap.erase(shortOnHeap.length());
    shortOnHeap.append(L"two");

    CHECK(names.count("one") == 1);
    CHECK(names.count(shortOnHeap) == 1);
    CHECK(names.count("three") == 0);
}

TEST_CASE("a narrow stream takes a string with its width and fill", "[support]")
{
    std::ostringstream stream;

    stream << string(L"abc") << '|' << std::setfill('.') << std::setw(5) << string("de") << '|'
           << std::setw(0) << string();

    CHECK(stream.str() == "abc|...de|");
}

TEST_CASE("the narrow text of an empty string is empty, not null", "[support]")
{
    const string text;

    REQUIRE(text.narrow() != nullptr);
    CHECK(std::string(text.narrow()).empty());
}

TEST_CASE("the narrow text follows the changes of the wide one", "[support]")
{
    string text(L"first");
    CHECK(std::string(text.narrow()) == "first");

    text.assign(L"the second text");

    const char* const narrow = text.narrow();
    CHECK(std::string(narrow) == "the second text");
    CHECK(fieldsOf(text).narrow == narrow);
}

TEST_CASE("every character that does not convert becomes one question mark among its neighbours",
          "[support]")
{
    const std::wstring bad = unconvertible;
    const auto narrowOf = [](const std::wstring& text) {
        return std::string(string(text.c_str()).narrow());
    };

    CHECK(narrowOf(bad) == "?");
    CHECK(narrowOf(L"a" + bad) == "a?");
    CHECK(narrowOf(bad + L"a") == "?a");
    CHECK(narrowOf(L"ab" + bad + L"cd") == "ab?cd");
    CHECK(narrowOf(L"a" + bad + bad + L"b" + bad) == "a??b?");
    CHECK(narrowOf(std::wstring(100, L'x') + bad + std::wstring(100, L'y')) ==
          std::string(100, 'x') + "?" + std::string(100, 'y'));
    CHECK(narrowOf(L"what? " + bad) == "what? ?");
}

TEST_CASE("a multibyte neighbour of an unconvertible character survives", "[support]")
{
    const localeguard guard;
    const multibytelocale encoding;
    // half of a surrogate pair is no character in any encoding
    const std::wstring mixed =
        std::wstring(multibytelocale::character) + wchar_t(0xD800) + multibytelocale::character;

    const string text(mixed.c_str());

    CHECK(std::string(text.narrow()) == encoding.bytes + "?" + encoding.bytes);
}

TEST_CASE("a number is rendered in decimal", "[support]")
{
    CHECK(wide(string::number(0)) == L"0");
    CHECK(wide(string::number(11)) == L"11");
    CHECK(wide(string::number(-1)) == L"-1");
    CHECK(wide(string::number(1234567)) == L"1234567");
    CHECK(wide(string::number(std::numeric_limits<long long>::max())) == L"9223372036854775807");
    CHECK(wide(string::number(std::numeric_limits<long long>::min())) == L"-9223372036854775808");
}

TEST_CASE("an exchange swaps the wide texts and leaves the narrow copies", "[support]")
{
    for (const wchar_t* const leftText : {L"", L"short", L"a long left text"}) {
        for (const wchar_t* const rightText : {L"", L"tiny", L"a long right text"}) {
            string left(leftText);
            string right(rightText);
            left.narrow();
            const layout leftBefore = fieldsOf(left);
            const layout rightBefore = fieldsOf(right);

            left.swapText(right);

            CHECK(wide(left) == rightText);
            CHECK(wide(right) == leftText);
            CHECK(fieldsOf(left).heap == rightBefore.heap);
            CHECK(fieldsOf(left).capacity == rightBefore.capacity);
            CHECK(fieldsOf(left).narrow == leftBefore.narrow);
            CHECK(fieldsOf(right).narrow == nullptr);
        }
    }
}

TEST_CASE("a text may be given a length and written by the caller", "[support]")
{
    for (const std::size_t length : {0U, 1U, 7U, 8U, 20U}) {
        for (const wchar_t* const before :
             {L"", L"short", L"twelve chars", L"a text of thirty characters..."}) {
            string text(before);
            const unsigned long long room = text.capacity();

            wchar_t* const characters = text.overwrite(length);
            std::wmemset(characters, L'x', length);

            CHECK(wide(text) == std::wstring(length, L'x'));
            CHECK((length == 0 || isInline(text) == (length < 8)));
            CHECK(text.c_str()[length] == 0);
            CHECK(text.capacity() == (length > 7 && length > room ? length : room));
        }
    }
}

TEST_CASE("a string that is made longer keeps its text, and has what is written behind it",
          "[support]")
{
    for (const wchar_t* before : {L"", L"abc", L"a long text before"}) {
        for (const unsigned long long added : {0ULL, 1ULL, 4ULL, 5ULL, 50ULL}) {
            string text(before);
            string plain(before);

            wchar_t* const characters = text.extend(added);
            std::wmemset(characters, L'x', added);
            plain.append(std::wstring(added, L'x').c_str());

            CHECK(wide(text) == wide(plain));
            CHECK(text.capacity() == plain.capacity());
            CHECK(isInline(text) == isInline(plain));
        }
    }
}

TEST_CASE("a string that runs out of memory throws and keeps its text", "[support]")
{
    const wchar_t* const longer = L"a text that is longer than the buffer";
    string text(eightCharacters);
    int thrown = 0;
    const auto attempt = [&thrown](const auto& action) {
        try {
            action();
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    };

    {
        const allocations::failure failure;
        attempt([&] { text.assign(longer); });
        attempt([&] { text.append(longer); });
        attempt([&] { string made(longer); });
        attempt([&] { string made(text); });
        attempt([&] { text.narrow(); });
    }
    {
        const allocations::failure failure(1); // the copy's second allocation
        attempt([&] { string made(text); });
    }

    CHECK(thrown == 6);
    CHECK(wide(text) == eightCharacters);
}
