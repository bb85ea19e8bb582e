// Levels that change while a function runs.
//
// A line is made by the level that is in force at its statement: what is raised takes effect with
// the next line, also in functions that were entered before. Of a line that no sink takes, nothing
// is evaluated.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

int count = 0;

int countedOnce()
{
    return ++count;
}

void serve()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_debug) << "suppressed " << countedOnce();
    trace::setLevel(tl_debug, "shop::serve");
    TOLVANE_LOG(log, tl_debug) << "raised, asked " << countedOnce() << " time";
    trace::sync(1000); // sinks ask, too, when lines are written
    trace::setLevel(tl_error, "shop::serve");
    TOLVANE_LOGF(log, tl_info, "suppressed again: %d", countedOnce());
    TOLVANE_LOG(log, tl_error) << "asked " << count << " time in all";
}

} // namespace shop

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);
    shop::serve();
    trace::sync(1000);
}
