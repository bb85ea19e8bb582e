#include "stacktrace/barereport.h"

#include <tolvane/hashedfunction.h>
#include <tolvane/stacktrace.h>

#include "stacktrace/registry.h"
#include "support/standarderror.h"
#include "trace/traceimpl.h"

namespace {

void put(tolvane::StandardErrorText& out, const tolvane::string& text) noexcept
{
    constexpr unsigned int lastAscii = 0x7F;
    for (unsigned long long i = 0; i < text.length(); ++i) {
        const auto character = static_cast<unsigned int>(text.c_str()[i]);
        out.put(character <= lastAscii ? static_cast<char>(character) : '?');
    }
}

/// Never destroyed: faults come at any time.
const hashedfunction& reporter()
{
    static const auto* const function = new hashedfunction("stacktrace::FaultHandler()");
    return *function;
}

/// When nobody can tell, they are.
bool errorsAreTaken() noexcept
{
    traceimpl* const dispatcher = traceimpl::known();
    return dispatcher && dispatcher->maxLevelSoon(reporter()).value_or(tl_error) >= tl_error;
}

} // namespace

void barereport::prepare()
{
    reporter();
}

void barereport::write(const char* message) noexcept
{
    if (!errorsAreTaken()) {
        return;
    }
    tolvane::StandardErrorText out;
    out.put(message);
    out.put(". Trace follows:\n");
    const stacktrace::Registry* const registry = stacktrace::Registry::made();
    if (registry) {
        registry->visit([&out](const stacktrace& stack) {
            for (unsigned long long depth = 0; const hashedfunction* const function = stack[depth];
                 ++depth) {
                out.put(depth == 0 ? "" : "-->");
                put(out, function->name());
                out.put('\n');
            }
            out.put('\n');
        });
    }
}
