// A library that links tolvane, and that a program loads and unloads: a plugin with a sink of its
// own.

#include <tolvane/tolvane.h>

namespace {

class pluginsink : public tracestream
{
public:
    void log(const formattedline&) override {}
    unsigned long long id() const override { return 1; }
    pluginsink* clone() const override { return new pluginsink; }
};

} // namespace

extern "C" {

void attachSink()
{
    trace::output(pluginsink()).setLevel(tl_info);
}

void removeSink()
{
    trace::remove(pluginsink());
}

void attachFile(const char* name)
{
    trace::output(filetracestream(name)).setLevel(tl_info);
}

void traceLines(int count)
{
    TOLVANE_SCOPE(log);
    for (int line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "line " << line;
    }
}

bool sync()
{
    return trace::sync(10000);
}
}
