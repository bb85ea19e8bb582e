// Lines by formats with braces, by whatever makes their text. Nothing here is run.

#include <tolvane/format.h>

#include <string>

int work(const std::string& name);

int work(const std::string& name)
{
    TOLVANE_SCOPE(log);
    TOLVANE_FMT(log, tl_info, "{} of {:>5}", 1, name);
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime(name), 1, 0.5);
    TOLVANE_FMT(log, tl_info, "alone");
    return 1;
}
