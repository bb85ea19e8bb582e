// A library that links tolvane, and that a program loads and unloads: a plugin with a sink of its
// own.

#include <tolvane/tolvane.h>

#include <cstdio>
#include <optional>

namespace {

/// Traces when it is destroyed, in a scope that was begun when it was asked to, and in one that
/// begins then.
struct lastwords
{
    lastwords() = default;

    ~lastwords()
    {
        if (!begun) {
            return;
        }
        TOLVANE_LOG(*begun, tl_info) << "in a scope from before";
        {
            TOLVANE_SCOPE(log);
            TOLVANE_LOG(log, tl_info) << "in a new scope";
        }
        std::printf("lost %llu\n", trace::lost(trace::ended));
        std::fflush(stdout);
    }

    lastwords(const lastwords&) = delete;
    lastwords& operator=(const lastwords&) = delete;

    void prepare()
    {
        static const hashedfunction* function = nullptr;
        begun.emplace(function, "void lastwords::begun()");
    }

    std::optional<tolvane::scope> begun;
};

lastwords fromLoading;

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

/// The dispatcher comes later than the object that speaks, and ends before it where both are in one
/// list.
void speakAtEnd()
{
    fromLoading.prepare();
}

/// The object comes when the dispatcher is there.
void speakBeforeDispatcherEnds()
{
    static lastwords words;
    words.prepare();
}

bool sync()
{
    return trace::sync(10000);
}
}
