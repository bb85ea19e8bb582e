// The library's text, tolvane::string: made of narrow and of wide text, compared, hashed, printed.
// A path names a file as it is.

#include <tolvane/tolvane.h>

#include <filesystem>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>

namespace {

/// A sink that counts lines by function.
class countingsink : public tracestream
{
public:
    explicit countingsink(std::map<tolvane::string, int>& counts) : m_counts(&counts) {}

    void log(const formattedline& line) override { ++(*m_counts)[line.function()]; }

    unsigned long long id() const override { return 1; }

    countingsink* clone() const override { return new countingsink(*m_counts); }

private:
    std::map<tolvane::string, int>* m_counts;
};

void write(const tolvane::string& text)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << text << ", " << text.length() << " characters";
}

void compare()
{
    TOLVANE_SCOPE(log);
    const tolvane::string text = std::string("shop");
    TOLVANE_LOG(log, tl_info) << std::boolalpha << (text == tolvane::string(L"shop")) << ' '
                              << (text < tolvane::string(std::wstring_view(L"shoq")));
    const std::unordered_set<tolvane::string> texts = {"lamp", L"lamp", std::string("chair")};
    TOLVANE_LOG(log, tl_info) << texts.size() << " texts";
}

} // namespace

int main()
{
    trace::useUtf8();
    std::map<tolvane::string, int> counts;
    trace::output(countingsink(counts));
    trace::output(filetracestream(std::filesystem::path("shop.log")));
    trace::setLevel(tl_info);

    write("gr\u00f6\u00dfe");
    write(L"gr\u00f6\u00dfe");
    compare();
    trace::sync(1000);

    for (const auto& [function, count] : counts) {
        std::cout << function << ": " << count << std::endl;
    }
    trace::remove(countingsink(counts)); // before what it counts in
}
