// Braces: lines by formats as std::format has them. See docs/formats.md

#include <tolvane/format.h>
#include <tolvane/tolvane.h>

#include <iostream>
#include <string>

namespace shop {

void order(const std::string& article, int count)
{
    TOLVANE_SCOPE(log);
    TOLVANE_FMT(log, tl_info, "{} of {:>9}, {:.2f} each", count, article, 0.5);
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime(article + " {:04d}"), count);
    TOLVANE_FMT(log, tl_debug, "not evaluated: {}", ++count);
    TOLVANE_LOG(log, tl_info) << count;
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);

    shop::order("pencils", 12);

    trace::sync(1000);
}
