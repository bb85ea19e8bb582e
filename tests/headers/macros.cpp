// Every macro, as programs of all kinds use them: with every warning, in every language from C++17
// on, without exceptions and type information, too. Nothing here is run.

#include <tolvane/tolvane.h>

#include <iomanip>
#include <string>

namespace {

struct limits
{
    static const int lines = 5;
};

struct point
{
    int x;
    int y;
};

std::wostream& operator<<(std::wostream& stream, const point& value)
{
    return stream << L'(' << value.x << L';' << value.y << L')';
}

struct shelf
{
    int log;

    int count() const
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "hides a member";
        return 1;
    }
};

template <class... values_t>
void anyNumber(const values_t&... values)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOGF(log, tl_info, "%d", values...);
    TOLVANE_LOGF(log, tl_info, L"%d", 1, values...);
}

template <class value_t>
void everyMacro(const value_t& value, const std::string& text, bool condition)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "text" << value << text << L"wide" << 'c' << 0.5 << limits::lines
                              << std::hex << std::setw(8) << point{1, 2} << std::endl;
    TOLVANE_LOGF(log, tl_info, "%s %d %-5.2f %*x", text, value, 0.5, limits::lines, 255U);
    TOLVANE_LOGF(log, tl_info, L"%s", point{1, 2});
    TOLVANE_LOGF(log, tl_info, "alone");
    TOLVANE_LOG_IF(log, tl_info, condition) << limits::lines;
    TOLVANE_LOG_FIRST_N(log, tl_info, limits::lines) << 1;
    TOLVANE_LOG_EVERY_N(log, tl_info, text.size()) << 2;
    TOLVANE_LOG_EVERY_MS(log, tl_info, 1000) << 3;
    TOLVANE_HERE(tl_info) << text << limits::lines;
    log(tl_debug) << 1 << L"text" << std::endl;

    if (condition)
        TOLVANE_HERE(tl_info) << "no braces";
    else
        TOLVANE_LOG(log, tl_info) << "no braces";

    const auto inner = [&](int count) {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "within another scope" << count;
        return count;
    };
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "within another one" << inner(1) << [&] {
            TOLVANE_LOG(log, tl_error) << "within a line";
            TOLVANE_HERE(tl_error) << "the same";
            return 2;
        }();
    }
    TOLVANE_HERE(tl_info) << [&] {
        TOLVANE_LOG_FIRST_N(log, tl_info, 1) << "once";
        TOLVANE_HERE(tl_error) << "within";
        return inner(2);
    }();

    traceobject& stream = log;
    TOLVANE_LOG(stream, tl_info) << 1;
}

} // namespace

int work();

int work()
{
    everyMacro(1, "text", true);
    everyMacro(0.5, "text", false);
    anyNumber();
    anyNumber(1, "text", point{1, 2});
    return shelf{1}.count();
}
