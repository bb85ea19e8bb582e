#include <tolvane/tolvane.h>

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "loaded item " << 42;
}
