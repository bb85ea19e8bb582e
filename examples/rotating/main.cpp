// Rotating files: the newest lines are in rotating.log, older ones in rotating.log.0 and
// rotating.log.1, and what is older than that is gone.

#include <tolvane/tolvane.h>

#include <filesystem>
#include <iostream>

namespace weather {

void station(int measurements)
{
    TOLVANE_SCOPE(log);
    for (int i = 1; i <= measurements; ++i) {
        TOLVANE_LOG(log, tl_info) << "measurement " << i << ": wind from the north, no rain";
    }
}

} // namespace weather

int main()
{
    const unsigned long long files = 3;
    const unsigned long long kibibytes = 1; // a new file when the current one is that large
    const unsigned long long days = 7;      // or that old
    trace::output(rotatingfilestracestream("rotating.log", files, kibibytes, days))
        .setLevel(tl_info);

    weather::station(100);
    trace::sync(1000);

    for (const char* const name :
         {"rotating.log", "rotating.log.0", "rotating.log.1", "rotating.log.2"}) {
        std::cout << name << (std::filesystem::exists(name) ? " is there\n" : " is not\n");
    }
    std::cout << "an older file is of 1 KiB: " << std::boolalpha
              << (std::filesystem::file_size("rotating.log.1") / 1024 == 1) << '\n';
}
