// A flight recorder: every detail of what came before an error, and nothing else.
//
// The recorder takes all lines and keeps the newest ones in memory. An error brings them on to the
// file, the error last. What nobody needs is never written.

#include <tolvane/tolvane.h>

#include <iostream>

namespace shop {

bool pay(int amount)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_debug) << "asking the bank for " << amount;
    return amount <= 100;
}

void order(int amount)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "an order of " << amount;
    if (!pay(amount)) {
        TOLVANE_LOG(log, tl_error) << "the bank refuses";
    }
}

} // namespace shop

int main()
{
    constexpr int lines = 8; // thousands, in a program that is more than an example
    auto& recorder = static_cast<recordertracestream&>(
        trace::output(recordertracestream(lines, filetracestream("shop.log"), tl_error)));
    recorder.setLevel(tl_trace);

    for (const int amount : {10, 20, 30, 500, 40}) {
        shop::order(amount);
    }
    trace::sync(1000);
    std::cout << trace::describe();
    recorder.dump(); // what came since the error
}
