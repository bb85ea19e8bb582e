// Levels of one sink among several, without a reference to keep: another sink for the same place
// stands for the one that is attached.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

void load()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "loading";
    TOLVANE_LOG(log, tl_debug) << "12 articles";
}

void save()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "saving";
    TOLVANE_LOG(log, tl_error) << "the disk is full";
}

} // namespace shop

namespace {

void run(const char* heading)
{
    std::cout << heading << std::endl;
    shop::load();
    shop::save();
    trace::sync(1000); // lines are judged when they are written
}

} // namespace

int main()
{
    const ostreamtracestream<char> console(std::cout);
    trace::output(console);
    trace::output(filetracestream("shop.log"));

    trace::setLevel(tl_info);
    run("both at info:");

    trace::setLevel(console, tl_error);
    run("the console at error:");

    trace::setLevel(console, tl_debug, "shop::load");
    trace::setLevel(filetracestream("shop.log"), tl_error, "shop");
    run("one function at debug there, and the file at error:");

    trace::clearLevels(console, "shop::load");
    run("what the console had for the function forgotten:");

    trace::setLevel(filetracestream("another.log"), tl_trace); // is not attached: nothing happens
    std::cout << trace::describe();
}
