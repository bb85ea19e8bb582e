#include "tests/helpers/childprocess.h"

#include <catch2/catch.hpp>

#include <string>

TEST_CASE("a fault that nobody catches is also reported by the sanitizer", "[integration]")
{
    const childresult result =
        childprocess::run(childprocess::beside("tolvane_fault_application"),
                          {"unheard", "unused", "fault"}, {{"ASAN_OPTIONS", "handle_segv=1"}});

    CHECK(result.error.find("what():  The thread attempts to read") != std::string::npos);
    CHECK(result.error.find("ERROR: AddressSanitizer: SEGV on unknown address") !=
          std::string::npos);
    CHECK(result.error.find("readNowhere") != std::string::npos);
}
