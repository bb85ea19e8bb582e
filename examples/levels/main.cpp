// Levels: more detail from one class, less from the rest, and different levels in different sinks.
//
// A level set for a name holds for everything that the name contains: "shop" for all functions of
// the namespace, "shop::store" for the class, "shop::store::load" for one function. A name that is
// set first takes over the level that its surroundings have by then, so set levels from the general
// to the particular. The trace facade sets the level of every attached sink; the reference that
// trace::output returns sets it for that sink alone.

#include <tolvane/tolvane.h>

#include <iostream>
#include <sstream>

namespace shop {

class store
{
public:
    void load()
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "loading";
        TOLVANE_LOG(log, tl_debug) << "12 articles found";
    }

    void save()
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << "saving";
        TOLVANE_LOG(log, tl_error) << "the disk is full";
    }
};

} // namespace shop

namespace {

/// Levels are looked up when a line is written: what was traced so far is written with the levels
/// so far.
void finish()
{
    trace::sync(1000);
}

void run(const char* heading)
{
    std::cout << heading << std::endl;
    shop::store store;
    store.load();
    store.save();
    finish();
}

} // namespace

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));

    trace::setLevel(tl_info);
    run("everything at info:");

    trace::setLevel(tl_error, "shop");
    run("shop at error:");

    trace::setLevel(tl_debug, "shop::store::load");
    run("shop::store::load at debug:");

    trace::clearLevels("shop");
    run("the settings of shop forgotten:");

    std::ostringstream second;
    tracestream& errors = trace::output(ostreamtracestream<char>(second));
    errors.setLevel(tl_error);
    run("a second sink, at error, beside the first:");
    std::cout << "and the second sink got:" << std::endl << second.str();
    trace::remove(errors); // before the stream goes
}
