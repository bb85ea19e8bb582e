// A trace file in UTF-8.
//
// A file sink turns characters into bytes with the conversion facet of the global C++ locale. The
// default, "C", has no characters beyond ASCII, and a line stops at the first one. A program that
// traces other text puts a facet for UTF-8 into the global locale when it starts. Wide characters
// are UTF-16 units on Windows and whole characters on Linux, and the standard has a facet for each.

#include <tolvane/tolvane.h>

#include <codecvt>
#include <locale>
#include <type_traits>

using utf8facet = std::conditional_t<sizeof(wchar_t) == 2, std::codecvt_utf8_utf16<wchar_t>,
                                     std::codecvt_utf8<wchar_t>>;

void greet(const wchar_t* language, const wchar_t* greeting)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << language << ": " << greeting;
}

int main()
{
    std::locale::global(std::locale(std::locale(), new utf8facet));

    trace::output(filetracestream("unicode.log"));
    trace::setLevel(tl_info);
    greet(L"German", L"Gr\u00fc\u00df Gott");
    greet(L"Greek", L"\u03b3\u03b5\u03b9\u03b1 \u03c3\u03bf\u03c5");
    greet(L"Japanese", L"\u3053\u3093\u306b\u3061\u306f");
    greet(L"Emoji", L"\U0001F44B");
    trace::sync(1000);
}
