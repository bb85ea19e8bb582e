// Lines by formats with braces, by whatever makes their text. Nothing here is run.

#include <tolvane/format.h>

#include <string>

namespace {

struct limits
{
    static const int lines = 5;
};

template <class... values_t>
void anyNumber(const values_t&... values)
{
    TOLVANE_SCOPE(log);
    TOLVANE_FMT(log, tl_info, "{} {}", values...);
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime("{}"), values...);
}

} // namespace

int work(const std::string& name);

int work(const std::string& name)
{
    TOLVANE_SCOPE(log);
    TOLVANE_FMT(log, tl_info, "{} of {:>5}", 1, name);
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime(name), 1, 0.5);
    TOLVANE_FMT(log, tl_info, "alone");
    TOLVANE_FMT(log, tl_info, "{} {}", limits::lines, std::string("moved"));
    TOLVANE_FMT(log, tl_info, tolvane::atRuntime("alone"));
    anyNumber(1, name);
    return 1;
}
