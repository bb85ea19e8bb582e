// Every sink as programs make them, by texts of all kinds and by paths, and what <chrono> makes of
// a line's time. Nothing here is run.

#include <tolvane/chrono.h>
#include <tolvane/tolvane.h>

#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

namespace {

class ownsink : public tracestream
{
public:
    void log(const formattedline& line) override { m_latest = tolvane::timePoint(line); }
    unsigned long long id() const override { return 1; }
    ownsink* clone() const override { return new ownsink(*this); }

private:
    std::chrono::system_clock::time_point m_latest;
};

template <class sink_t>
void use(const sink_t& sink)
{
    const sink_t copy(sink);
    tracestream& attached = trace::output(copy);
    attached.setLevel(tl_info);
    trace::setLevel(copy, tl_debug, "shop");
    trace::setLevel(copy, tl_error);
    trace::clearLevels(copy, "shop");
    trace::remove(attached);
}

template <class name_t>
void useFiles(const name_t& name)
{
    use(filetracestream(name));
    use(filetracestream(name, tolvane::lineend::lf));
    use(rotatingfilestracestream(name, 5, 1024, 7));
    use(rotatingfilestracestream(name, 5, 1024, 7, tolvane::lineend::lf));
    use(jsontracestream(name));
    use(jsontracestream(name, 5, 1024));
    use(recorderfiletracestream(name, 64));
    use(recordertracestream(1000, filetracestream(name)));
    use(recordertracestream(1000, filetracestream(name), tl_warning));
    trace::followSettings(name);
}

void useSystem()
{
#if defined(_WIN32)
    use(debuggertracestream());
#else
    use(syslogtracestream());
    use(syslogtracestream("shop"));
#endif
}

} // namespace

void work();

void work()
{
    std::wostringstream wide;
    use(ownsink());
    use(ostreamtracestream<char>(std::cout));
    use(ostreamtracestream<wchar_t>(wide));
    use(consoletracestream());
    use(consoletracestream(std::cout));
    useSystem();
    useFiles("shop.log");
    useFiles(L"shop.log");
    useFiles(std::string("shop.log"));
    useFiles(std::wstring(L"shop.log"));
    useFiles(std::string_view("shop.log"));
    useFiles(std::wstring_view(L"shop.log"));
    useFiles(tolvane::string("shop.log"));
    useFiles(std::filesystem::path("logs") / "shop.log");
}
