#include <tolvane/tolvane.h>

#include <iostream>

namespace consumer {

void work(int number)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << number << " from an installed package";
}

} // namespace consumer

int main()
{
    trace::output(ostreamtracestream<char>(std::cout));
    trace::setLevel(tl_info);
    consumer::work(42);
    trace::flush(0);
}
