// Formats: lines for people who know printf. See docs/formats.md

#include <tolvane/tolvane.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>

namespace shop {

struct price
{
    int cents;
};

std::wostream& operator<<(std::wostream& stream, const price& value)
{
    return stream << value.cents / 100 << L"." << value.cents / 10 % 10 << value.cents % 10;
}

void order(const std::string& article, std::uint8_t count)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOGF(log, tl_info, "%d of %s", count, article);
    TOLVANE_LOGF(log, tl_info, "|%6d|%-6d|%06d|%+d|%x|%#X|", 42, 42, 42, 42, 255, 255);
    TOLVANE_LOGF(log, tl_info, "|%.2f|%10.3e|%g|%5.1f%%|", 3.14159, 31415.9, 0.5, 99.5);
    TOLVANE_LOGF(log, tl_info, "|%10s|%-10s|%.4s|%c|%*d|", article, L"wide", article, 'x', 5, 7);

    // known by its type, and of any type that can be inserted
    TOLVANE_LOGF(log, tl_info, "%d %d %s %d", article, true, 1.5, std::string_view("view"));
    TOLVANE_LOGF(log, tl_info, "|%8s|%-8s|", price{1995}, price{250});

    // nothing that is given is lost
    TOLVANE_LOGF(log, tl_info, "too few: %d %5.1f", 1);
    TOLVANE_LOGF(log, tl_info, "too many:", 1, "two", 3.0);
    TOLVANE_LOGF(log, tl_info, "no text: [%s]", static_cast<const char*>(nullptr));
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);

    shop::order("pencils", 12);

    trace::sync(1000);
}
