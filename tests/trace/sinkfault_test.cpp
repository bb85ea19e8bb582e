#include "trace/sinkfault.h"

#include <tolvane/ostreamtracestream.h>
#include <tolvane/trace.h>

#include "stacktrace/structuredexception.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <iostream>
#include <new>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace {

template <class exception_t>
void reportThrown(const exception_t& thrown)
{
    std::ostringstream reported;
    std::streambuf* const standardError = std::cerr.rdbuf(reported.rdbuf());
    try {
        throw thrown;
    } catch (...) {
        reportSinkFault();
    }
    trace::remove(ostreamtracestream<char>(std::cerr)); // a report attaches it
    std::cerr.rdbuf(standardError);
}

} // namespace

TEST_CASE("a sink's fault that must go no further is reported, a want of memory is not", "[trace]")
{
    const probesink sink(1);
    const attached all(sink, tl_error);

    reportThrown(std::bad_alloc());
    CHECK(sink.events().size() == 1); // the clone's
    reportThrown(StructuredException("the sink's fault"));

    const std::vector<std::string> events = sink.events();
    CHECK(std::count(events.begin(), events.end(), "1: the sink's fault. Trace follows:") == 1);
}
