// Lines of a file that end as the programs want it that read the file.

#include <tolvane/tolvane.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

namespace {

void show(const char* name)
{
    std::ifstream file(name, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    std::cout << name << ": " << std::count(bytes.begin(), bytes.end(), '\r')
              << " carriage returns, " << std::count(bytes.begin(), bytes.end(), '\n')
              << " line feeds" << std::endl;
}

void work()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "one";
    TOLVANE_LOG(log, tl_info) << "two";
}

} // namespace

int main()
{
    trace::output(filetracestream("usual.log"));
    trace::output(filetracestream("unix.log", tolvane::lineend::lf));
    trace::output(rotatingfilestracestream("rotating.log", 3, 1024, 7, tolvane::lineend::lf));
    trace::setLevel(tl_info);

    work();
    trace::sync(1000);

    show("usual.log");
    show("unix.log");
    show("rotating.log");
}
