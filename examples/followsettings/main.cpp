// Levels of a running program that are raised from outside: it follows a file, which says what is
// traced and where it goes.
//
// The library looks at the file once a second. This program changes the file itself, where
// otherwise somebody with an editor would.

#include <tolvane/tolvane.h>

#include <fstream>
#include <iostream>

namespace shop {

void order(int articles)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering";
    TOLVANE_LOG(log, tl_debug) << articles << " articles";
}

} // namespace shop

namespace {

void writeSettings(const char* text)
{
    std::ofstream("shop.settings") << text;
}

bool isInForce(tracelevel_t level)
{
    return trace::level("shop::order") == level;
}

} // namespace

int main()
{
    writeSettings("*=info > stdout");
    if (!trace::followSettings("shop.settings")) {
        return 1;
    }
    shop::order(3);
    trace::sync(1000);

    std::cout << "somebody wants to know more:" << std::endl;
    writeSettings("*=info, shop=debug > stdout");
    while (!isInForce(tl_debug)) {
        trace::flush(100); // till the library's thread has passed once more
    }
    shop::order(12);
}
