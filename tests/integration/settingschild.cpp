// A program whose tracing is set from outside, which the integration tests start: one scenario per
// run, named by the first argument.

#include <tolvane/tolvane.h>

#include <cstdio>
#include <cstring>
#include <iostream>

namespace shop {

void order()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering";
    TOLVANE_LOG(log, tl_debug) << "in detail";
}

} // namespace shop

namespace bank {

void pay()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "paying";
    TOLVANE_LOG(log, tl_error) << "no money";
}

} // namespace bank

namespace {

void run(bool isRead)
{
    shop::order();
    bank::pay();
    trace::sync(5000);
    std::fprintf(stderr, "read: %d\n", isRead ? 1 : 0);
}

/// Constructed before anything of the library is used, and so destroyed behind the end of tracing,
/// unless that comes with the library's own end.
struct latecaller
{
    ~latecaller()
    {
        if (isActive) {
            run(trace::outputFromEnvironment());
        }
    }

    bool isActive = false;
};

latecaller late;

} // namespace

int main(int count, char** arguments)
{
    const char* const name = count > 1 ? arguments[1] : "";
    late.isActive = std::strcmp(name, "late") == 0;
    if (std::strcmp(name, "usual") == 0 || late.isActive) {
        run(trace::outputFromEnvironment());
    } else if (std::strcmp(name, "null") == 0) {
        run(trace::outputFromEnvironment(nullptr));
    } else {
        run(trace::outputFromEnvironment(name));
    }
}
