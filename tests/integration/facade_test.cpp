#include <tolvane/tolvane.h>

#include "tests/helpers/attached.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <sstream>
#include <string>
#include <vector>

namespace shop {

/// Members of every kind, whose signatures the compiler words differently.
class cart
{
public:
    cart() { TOLVANE_SCOPE(log); }
    virtual ~cart() { TOLVANE_SCOPE(log); }

    cart(const cart&) = delete;
    cart& operator=(const cart&) = delete;

    void add(const char*) const { TOLVANE_SCOPE(log); }
    static void clear() { TOLVANE_SCOPE(log); }
    bool operator==(const cart&) const
    {
        TOLVANE_SCOPE(log);
        return true;
    }
    int operator()(int number)
    {
        TOLVANE_SCOPE(log);
        return number;
    }
    int& operator[](int) noexcept
    {
        TOLVANE_SCOPE(log);
        return m_number;
    }
    virtual std::string describe(const std::vector<std::string>&)
    {
        TOLVANE_SCOPE(log);
        return {};
    }

private:
    int m_number = 0;
};

template <class article_t>
struct shelf
{
    template <class other_t>
    void put(article_t, other_t)
    {
        TOLVANE_SCOPE(log);
    }
};

template <class first_t, class second_t>
void pack(first_t, second_t)
{
    TOLVANE_SCOPE(log);
}

void order(int articles)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering " << articles;
    TOLVANE_LOG(log, tl_debug) << "details";
    TOLVANE_LOG(log, tl_error) << "out of stock";
}

} // namespace shop

namespace bank {

void pay()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "paying";
    TOLVANE_LOG(log, tl_debug) << "details";
}

void refund()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "refunding";
    TOLVANE_LOG(log, tl_debug) << "more details";
}

} // namespace bank

namespace {

using texts_t = std::vector<std::string>;

/// Whether a line starts as "[2024-03-05 14:07:09.045]: 9c4:[I]: " does.
bool isStamped(const std::string& line)
{
    const std::string pattern = "[0000-00-00 00:00:00.000]:";
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        const char found = at < line.size() ? line[at] : '\0';
        const bool isDigit = found >= '0' && found <= '9';
        if (pattern[at] == '0' ? !isDigit : found != pattern[at]) {
            return false;
        }
    }
    const std::size_t level = line.find(":[", pattern.size());
    return level != std::string::npos && level > pattern.size() &&
           line.find_first_not_of(" 0123456789abcdef", pattern.size()) == level;
}

/// Lines without time stamp and thread: "[I]: shop::order : ordering 3".
texts_t withoutStamps(const std::string& text)
{
    texts_t lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(isStamped(line) ? line.substr(line.find(":[") + 1) : "? " + line);
    }
    return lines;
}

/// A file's text; every line must end in carriage return and line feed.
std::string withoutReturns(const std::string& bytes)
{
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        if (bytes.compare(at, 2, "\r\n") == 0) {
            text += '\n';
            ++at;
        } else {
            text += bytes[at] == '\n' ? '?' : bytes[at];
        }
    }
    return text;
}

} // namespace

TEST_CASE("each sink gets the lines of its levels, for a namespace and for one function",
          "[integration]")
{
    const temporaryfolder folder;
    std::ostringstream console;
    const ostreamtracestream<char> consoleSink(console);
    const filetracestream fileSink(tolvane::string(folder.file("trace.log").c_str()));
    {
        const attached consoleAttached(consoleSink, tl_error);
        const attached fileAttached(fileSink, tl_error);
        consoleAttached.stored().setLevel(tl_info, L"shop");
        fileAttached.stored().setLevel(tl_info, L"bank");
        fileAttached.stored().setLevel(tl_trace, L"bank::refund");

        shop::order(3);
        bank::pay();
        bank::refund();
    }

    CHECK(withoutStamps(console.str()) ==
          texts_t{"[I]: shop::order : ordering 3", "[E]: shop::order : out of stock"});
    CHECK(withoutStamps(withoutReturns(folder.read("trace.log"))) ==
          texts_t{"[E]: shop::order : out of stock", "[I]: bank::pay : paying",
                  "[T]: bank::refund : starting", "[I]: bank::refund : refunding",
                  "[D]: bank::refund : more details", "[T]: bank::refund : exiting"});
}

TEST_CASE("a level for all sinks reaches both of them", "[integration]")
{
    const remembersink first;
    const remembersink second;
    {
        const attached firstAttached(first);
        const attached secondAttached(second);
        trace::setLevel(tl_error);
        trace::setLevel(tl_info, L"bank::pay");

        shop::order(1);
        bank::pay();
        bank::refund();
    }

    const std::vector<std::wstring> expected = {L"out of stock", L"paying"};
    CHECK(first.bodies() == expected);
    CHECK(second.bodies() == expected);
}

TEST_CASE("the compiler's signatures give plain qualified names", "[integration]")
{
    std::ostringstream stream;
    const ostreamtracestream<char> sink(stream);
    {
        const attached attachment(sink, tl_trace);
        {
            shop::cart cart;
            cart.add("x");
            shop::cart::clear();
            static_cast<void>(cart == cart);
            cart(1);
            cart[1];
            cart.describe({});
            shop::shelf<int>().put(1, std::string());
            shop::pack(std::vector<int>(), 'c');
            shop::pack<int, int>(1, 2);
        }
    }

    texts_t names;
    for (const std::string& line : withoutStamps(stream.str())) {
        const std::size_t end = line.find(" : starting");
        if (end != std::string::npos) {
            names.push_back(line.substr(5, end - 5));
        }
    }
    CHECK(names == texts_t{"shop::cart::cart", "shop::cart::add", "shop::cart::clear",
                           "shop::cart::operator==", "shop::cart::operator()",
                           "shop::cart::operator[]", "shop::cart::describe", "shop::shelf::put",
                           "shop::pack", "shop::pack", "shop::cart::~cart"});
}

TEST_CASE("a lambda's scope has a name of its own", "[integration]")
{
    const hashedfunction* function = nullptr;
    const auto work = [&](int) {
        TOLVANE_SCOPE(log);
        function = log_function;
    };

    work(1);

    REQUIRE(function);
    const std::wstring name = function->name().c_str();
    CHECK_FALSE(name.empty());
    CHECK(name.find(L'(') == std::wstring::npos);
}

TEST_CASE("a removed sink gets its pending lines and no later ones", "[integration]")
{
    const remembersink sink;
    {
        const attached attachment(sink, tl_info);
        bank::pay();
    }
    bank::pay();
    trace::sync(10000);

    CHECK(sink.bodies() == std::vector<std::wstring>{L"paying"});
}

TEST_CASE("the writer thread delivers lines without a flush of 0", "[integration]")
{
    const remembersink sink;
    const attached attachment(sink, tl_info);

    bank::pay();
    trace::flush(5000); // a pass may have begun before the line came,
    trace::flush(5000); // the next one has not

    CHECK(sink.bodies() == std::vector<std::wstring>{L"paying"});
}

TEST_CASE("the null object exists once in library and program", "[integration]")
{
    trace::__nullobject << L"nothing" << std::endl;

    CHECK_FALSE(trace::__nullobject.good());
}
