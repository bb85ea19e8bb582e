// Why do I see nothing? trace::describe tells what is attached, at which levels, and what became of
// the lines.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

void order(int articles)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering " << articles << " articles";
}

} // namespace shop

int main()
{
    std::cout << trace::describe();

    trace::output(filetracestream("shop.log"));
    shop::order(3);
    trace::sync(1000);
    std::cout << trace::describe();

    trace::setLevels("*=error, shop=info");
    shop::order(12);
    trace::sync(1000);
    std::cout << trace::describe();
}
