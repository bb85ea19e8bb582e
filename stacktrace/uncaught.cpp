#include "stacktrace/uncaught.h"

#include "stacktrace/structuredexception.h"
#include "support/standarderror.h"

#include <cstring>
#include <exception>

namespace faults {

namespace {

/// Piece by piece: there may be no memory to put them together.
void say(const char* text) noexcept
{
    tolvane::writeStandardError(text, std::strlen(text));
}

/// Without memory for the name of a fault, whose thread may have none.
void sayType() noexcept
{
    try {
        throw;
    } catch (const StructuredException&) {
        say("StructuredException");
    } catch (...) {
        nameUncaught(&say);
    }
}

void sayWhat()
{
    try {
        throw;
    } catch (const std::exception& exception) {
        say("  what():  ");
        say(exception.what());
        say("\n");
    }
}

} // namespace

void sayUncaught() noexcept
{
    if (!std::current_exception()) {
        say("terminate called without an active exception\n");
        return;
    }
    say("terminate called after throwing an instance of '");
    sayType();
    say("'\n");
    try {
        sayWhat();
    } catch (...) {
        // not derived from std::exception, or what() throws
    }
}

} // namespace faults
