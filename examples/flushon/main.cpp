// Lines that are there when the program is gone: with trace::flushOn, an error has reached the
// sinks when its statement ends, and with it what was traced before.
//
// Lines are written by a thread of the library, a few milliseconds after they were traced. What
// ends the process at once, an assert, an abort or somebody who kills it, costs these; the line
// that says why would be the first to miss.

#include <tolvane/tolvane.h>

#include <cstdlib>

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "working";
    TOLVANE_LOG(log, tl_error) << "this is the end";
    std::_Exit(0); // no destructor runs, and nothing is written any more
}

int main()
{
    trace::output(filetracestream("flushon.log"));
    trace::setLevel(tl_info);
    trace::flushOn(tl_error);
    work();
}
