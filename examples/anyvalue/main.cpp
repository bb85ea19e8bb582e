// What can be traced: whatever has an operator<<, for wide streams or for narrow ones.

#include <tolvane/tolvane.h>

#include <filesystem>
#include <iomanip>
#include <iostream>
#include <string_view>
#include <system_error>

namespace shop {

struct money
{
    int cents;
};

/// As for std::cout.
std::ostream& operator<<(std::ostream& stream, const money& amount)
{
    return stream << amount.cents / 100 << '.' << std::setfill('0') << std::setw(2)
                  << amount.cents % 100;
}

enum state
{
    open,
    closed,
};

std::ostream& operator<<(std::ostream& stream, state value)
{
    return stream << (value == open ? "open" : "closed");
}

void show()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "a price: " << money{1205} << ", the shop: " << closed;
    TOLVANE_LOG(log, tl_info) << std::hex << std::setfill('0') << std::setw(6) << 0xC0FFEE
                              << " in this line";
    TOLVANE_LOG(log, tl_info) << 255 << " is decimal again";
    TOLVANE_LOG(log, tl_info) << std::quoted("a \"quoted\" text") << ' '
                              << std::string_view("and a view") << ' ' << std::boolalpha << true;
    TOLVANE_LOG(log, tl_info) << std::filesystem::path("orders") << ' '
                              << std::error_code(0, std::generic_category());
    const unsigned char bytes[] = {'b', 'y', 't', 'e', 's', 0};
    TOLVANE_LOG(log, tl_info) << bytes;
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);
    shop::show();
    trace::sync(1000);
}
