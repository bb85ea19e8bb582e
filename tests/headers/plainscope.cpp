// A traced function of a program without exceptions and type information. Nothing here is run.

#include <tolvane/tolvane.h>

#include <complex>
#include <iomanip>
#include <string>
#include <string_view>

#if defined(__cpp_rtti) || defined(__cpp_exceptions)
#error "compile it without them"
#endif

namespace {

struct point
{
    int x;
    int y;
};

std::wostream& operator<<(std::wostream& stream, const point& value)
{
    return stream << L'(' << value.x << L';' << value.y << L')';
}

} // namespace

void work(const std::string& narrow, const std::wstring& wide);

void work(const std::string& narrow, const std::wstring& wide)
{
    TOLVANE_SCOPE(log);
    char buffer[] = "buffer";
    TOLVANE_LOG(log, tl_info) << "text" << narrow << std::string_view(narrow) << buffer
                              << narrow.c_str() << 'c';
    TOLVANE_LOG(log, tl_info) << L"text" << wide << std::wstring_view(wide) << wide.c_str() << L'c'
                              << tolvane::string(narrow.c_str());
    TOLVANE_LOG(log, tl_info) << 1 << 2L << 3ULL << static_cast<short>(4) << 0.5F << 0.5 << 0.5L
                              << true << static_cast<void*>(buffer) << nullptr;
    TOLVANE_LOG(log, tl_info) << std::hex << std::setw(8) << std::complex<double>(1, 2)
                              << point{1, 2} << std::endl;
    TOLVANE_LOGF(log, tl_info, "%s %d %s", narrow, 1, point{1, 2});
    TOLVANE_LOG_IF(log, tl_info, !wide.empty()) << wide;
    TOLVANE_LOG_FIRST_N(log, tl_info, 3) << 1;
    TOLVANE_LOG_EVERY_N(log, tl_info, narrow.size()) << 2;
    TOLVANE_LOG_EVERY_MS(log, tl_info, 1000) << 3;
    log(tl_debug) << L"text" << point{1, 2} << std::endl;
    log << 1 << L"text" << std::boolalpha << true << std::endl;
    log.reset();
    traceobject& stream = log;
    TOLVANE_LOG(stream, tl_info) << 1;
}
