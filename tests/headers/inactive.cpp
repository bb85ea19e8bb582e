// Statements that are to leave nothing in the object.

#define TOLVANE_ACTIVE_LEVEL tl_warning

#include <tolvane/tolvane.h>

int evaluate();
int run();

int run()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "unwanted" << evaluate();
    TOLVANE_LOGF(log, tl_info, "unwanted %d", evaluate());
    TOLVANE_LOG_IF(log, tl_info, evaluate() != 0) << "unwanted";
    TOLVANE_LOG_FIRST_N(log, tl_info, 1) << "unwanted" << evaluate();
    TOLVANE_LOG_EVERY_N(log, tl_info, 2) << "unwanted" << evaluate();
    TOLVANE_LOG_EVERY_MS(log, tl_info, 3) << "unwanted" << evaluate();
    TOLVANE_HERE(tl_info) << "unwanted" << evaluate();
    if (log.takes(tl_error))
        TOLVANE_HERE(tl_debug) << "unwanted" << evaluate();
    else
        TOLVANE_HERE(tl_trace) << "unwanted" << evaluate();
    TOLVANE_HERE(tl_error) << "wanted";
    return 0;
}
