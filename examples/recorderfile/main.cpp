// The last lines of a program that was killed: they are in a recorder's file, of a fixed size,
// whose newest lines take the place of the oldest.
//
// This program plays both parts: it traces, and then reads the file as docs/recorder.md describes
// it, as somebody would who finds it afterwards.

#include <tolvane/tolvane.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace shop {

void order(int articles)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "ordering " << articles << " articles";
}

} // namespace shop

namespace {

unsigned long long number(const std::string& bytes, std::size_t at)
{
    unsigned long long value = 0;
    for (std::size_t byte = 8; byte-- != 0;) {
        value = value * 256 + static_cast<unsigned char>(bytes[at + byte]);
    }
    return value;
}

void show(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const unsigned long long size = number(bytes, 32);
    const unsigned long long end = number(bytes, 48);
    for (unsigned long long at = number(bytes, 40); at != end; ++at) {
        const char byte = bytes[64 + static_cast<std::size_t>(at % size)];
        if (byte != '\0') {
            std::cout << byte;
        }
    }
}

} // namespace

int main()
{
    trace::output(recorderfiletracestream("shop.rec", 4)).setLevel(tl_trace);
    for (int articles = 1; articles <= 4; ++articles) {
        shop::order(articles);
    }
    trace::sync(1000); // what was passed on by now is there, whatever comes

    show("shop.rec");
    std::cout << trace::describe();
}
