// Lines for programs to read: one JSON object a line.

#include <tolvane/tolvane.h>

namespace shop {

void order(const char* article, int count)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << count << " of \"" << article << '"';
    if (count > 10) {
        TOLVANE_LOG(log, tl_warning) << "so many?";
    }
}

} // namespace shop

int main()
{
    const unsigned long long files = 5;
    const unsigned long long kibibytes = 1024;
    trace::output(jsontracestream("shop.json", files, kibibytes)).setLevel(tl_trace);
    trace::nameThread("counter");

    shop::order("lamp", 2);
    shop::order(R"(C:\chairs)", 12);
    trace::sync(1000);
}
