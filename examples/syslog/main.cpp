// Lines for the system's log; see them by "journalctl -t tolvane_example". Linux only.

#include <tolvane/tolvane.h>

#include <iostream>

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "at work";
    TOLVANE_LOG(log, tl_warning) << "it may take a while";
}

int main()
{
    trace::output(syslogtracestream("tolvane_example")).setLevel(tl_info);
    work();
    std::cout << (trace::sync(10000) ? "logged" : "not logged") << ", lost: " << trace::lost()
              << std::endl;
}
