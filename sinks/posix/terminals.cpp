#include "sinks/terminals.h"

#include <unistd.h>

#include <cstdlib>

namespace tolvane {

namespace {

class PosixTerminals : public Terminals
{
public:
    bool takesColours(standardstream stream) const noexcept override
    {
        return ::isatty(stream == standardstream::output ? STDOUT_FILENO : STDERR_FILENO) != 0;
    }

    bool write(standardstream, std::wstring_view) const noexcept override { return false; }

    std::string variable(const char* name) const override
    {
        const char* const value = std::getenv(name);
        return value ? value : "";
    }
};

} // namespace

/// Never destroyed: lines are written until the very end of the process.
const Terminals& Terminals::platform() noexcept
{
    static const Terminals* const terminals = new PosixTerminals;
    return *terminals;
}

} // namespace tolvane
