// Lines for the debugger's window, and for tools that show what programs tell debuggers. Windows
// only. Without a debugger the lines go nowhere, and nobody waits.

#include <tolvane/tolvane.h>

#include <iostream>

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "at work";
}

int main()
{
    trace::output(debuggertracestream()).setLevel(tl_info);
    work();
    std::cout << (trace::sync(10000) ? "told" : "not told") << ", lost: " << trace::lost()
              << std::endl;
}
