// Text beyond ASCII, by one call at the start of main.
//
// From then on narrow text is UTF-8, whatever the locale: literals of a source file in UTF-8, names
// of files, and what the library's own sinks write. Bytes that are none become U+FFFD.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

void greet()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "gr\u00f6\u00dfe \u65e5\u672c, " << L"and wide: gr\u00f6\u00dfe";
    TOLVANE_LOGF(log, tl_info, "%-8s|", "\u20ac 5");
    TOLVANE_LOG(log, tl_info) << "no character: \xff.";
}

} // namespace shop

int main()
{
    trace::useUtf8();
    trace::output(ostreamtracestream<char>(std::cout));
    trace::output(filetracestream("gr\u00f6\u00dfe.log"));
    trace::setLevel(tl_info);
    shop::greet();
    trace::sync(1000);
}
