// Lines that would fill a file in a loop, written under a condition or now and then.
//
// A statement counts for itself, and only the times at which a sink takes its level.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

constexpr int rarely = 3600000; // milliseconds

void sell(int left)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG_IF(log, tl_warning, left < 2) << left << " left";
    TOLVANE_LOG_FIRST_N(log, tl_info, 2) << "one of the first two, " << left << " left";
    TOLVANE_LOG_EVERY_N(log, tl_info, 4) << "each fourth, " << left << " left";
    TOLVANE_LOG_EVERY_MS(log, tl_info, rarely) << "once an hour, " << left << " left";
    TOLVANE_LOG_EVERY_N(log, tl_debug, 2) << "each second one since that is shown, " << left;
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);
    for (int left = 9; left >= 0; --left) {
        if (left == 2) {
            trace::setLevel(tl_debug);
        }
        shop::sell(left);
    }
    trace::sync(1000);
}
