// Lines on the console: coloured by their level where standard output is a terminal, and plain in a
// file or a pipe. Run it by hand to see the colours, and with NO_COLOR=1 to do without them.

#include <tolvane/tolvane.h>

#include <iostream>

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "always";
    TOLVANE_LOG(log, tl_error) << "an error";
    TOLVANE_LOG(log, tl_warning) << "a warning";
    TOLVANE_LOG(log, tl_info) << "what goes on";
    TOLVANE_LOG(log, tl_verbose) << "what goes on, at length";
    TOLVANE_LOG(log, tl_debug) << "for the author";
}

int main()
{
    trace::output(consoletracestream(std::cout)).setLevel(tl_trace); // without argument: std::cerr
    work();
    trace::sync(1000);
}
