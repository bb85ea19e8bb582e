// A day in a shop, which traces what it does as a program would that people use. docs/guide.md
// walks through it.

#include "cart.h"
#include "money.h"
#include "office.h"
#include "till.h"

#include <tolvane/tolvane.h>

#include <filesystem>
#include <iostream>

namespace {

void attachSinks()
{
    const consoletracestream console(std::cout);
    trace::output(console);
    trace::setLevels("*=info, shop::till=warning, shop::cart=warning");

    const filetracestream file(std::filesystem::path("shop.log"), tolvane::lineend::lf);
    trace::output(file);
    trace::setLevel(file, tl_warning);

    const jsontracestream tills("tills.json");
    trace::output(tills);
    trace::setLevel(tills, tl_debug, "shop::till");
    trace::setLevel(tills, tl_debug, "shop::cart");

    const recordertracestream recorder(8, filetracestream("error.log"), tl_error);
    trace::output(recorder);
    trace::setLevel(recorder, tl_trace);
}

shop::money morning()
{
    return shop::open({shop::till(1, {{"Zo\u00eb", {"lamp", "pen"}}, {"J\u00fcrgen", {"chair"}}}),
                       shop::till(2, {{"\u85e4\u539f", {"pen", "globe", "pen"}}})});
}

/// A sum was wrong yesterday: the console shows how it is made.
shop::money afternoon()
{
    const consoletracestream console(std::cout);
    trace::sync(1000); // lines are judged when they are written
    trace::setLevel(console, tl_debug, "shop::cart");
    trace::setLevel(console, tl_debug, "shop::money::operator+");
    const shop::money taken = shop::open({shop::till(3, {{"Ann", {"chair", "chair", "lamp"}}})});
    trace::sync(1000);
    trace::clearLevels(console, "shop::money");
    trace::setLevel(console, tl_warning, "shop::cart");
    return taken;
}

} // namespace

int main()
{
    const tolvane::FlushGuard guard;
    trace::useUtf8();
    trace::nameThread("office");
    attachSinks();
    if (!trace::outputFromEnvironment("SHOP_TRACE")) {
        return 1;
    }
    trace::flushOn(tl_error);

    shop::takeStock("stock.txt");
    const shop::money early = morning();
    const shop::money late = afternoon();
    const bool isDeposited = shop::deposit(early + late);
    std::cout << (isDeposited ? "all is well" : "see error.log") << std::endl;

    trace::sync(1000);
    std::cout << trace::describe();
}
