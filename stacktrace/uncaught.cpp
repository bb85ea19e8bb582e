#include "stacktrace/uncaught.h"

#include "stacktrace/structuredexception.h"

#include <exception>

namespace faults {

namespace {

/// Without memory for the name of a fault, whose thread may have none.
void sayType(tolvane::StandardErrorText& out) noexcept
{
    try {
        throw;
    } catch (const StructuredException&) {
        out.put("StructuredException");
    } catch (...) {
        nameUncaught(out);
    }
}

void sayWhat(tolvane::StandardErrorText& out)
{
    try {
        throw;
    } catch (const std::exception& exception) {
        out.put("  what():  ");
        out.put(exception.what());
        out.put('\n');
    }
}

} // namespace

void sayUncaught() noexcept
{
    tolvane::StandardErrorText out;
    if (!std::current_exception()) {
        out.put("terminate called without an active exception\n");
        return;
    }
    out.put("terminate called after throwing an instance of '");
    sayType(out);
    out.put("'\n");
    try {
        sayWhat(out);
    } catch (...) {
        // not derived from std::exception, or what() throws
    }
}

} // namespace faults
