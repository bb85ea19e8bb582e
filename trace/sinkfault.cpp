#include "trace/sinkfault.h"

#include <tolvane/stacktrace.h>
#include <tolvane/string.h>

#include <exception>
#include <new>

namespace {

void report(const char* fault) noexcept
{
    try {
        stacktrace::FaultHandler(tolvane::string(fault));
    } catch (const std::exception&) {
        // another sink's, or no memory: what could be written is
    }
}

} // namespace

void reportSinkFault() noexcept
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        // the lines are lost, and counted
    } catch (const std::exception& fault) {
        report(fault.what());
    }
}
