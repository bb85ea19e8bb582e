#include "sinks/terminals.h"

#include "support/windows/platform.h"

namespace tolvane {

namespace {

constexpr DWORD sequencesMode = 0x0004; ///< ENABLE_VIRTUAL_TERMINAL_PROCESSING

class WindowsTerminals : public Terminals
{
public:
    /// Consoles of before Windows 10 know no sequences; later ones want to be asked for them.
    bool takesColours(standardstream stream) const noexcept override
    {
        const HANDLE console =
            GetStdHandle(stream == standardstream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
        DWORD mode = 0;
        return GetConsoleMode(console, &mode) &&
               ((mode & sequencesMode) != 0 || SetConsoleMode(console, mode | sequencesMode));
    }

    std::string variable(const char* name) const override
    {
        char value[256]; // a longer one is none of those that are asked for
        const DWORD length = GetEnvironmentVariableA(name, value, sizeof value);
        return length < sizeof value ? std::string(value, length) : std::string();
    }
};

} // namespace

/// Never destroyed: lines are written until the very end of the process.
const Terminals& Terminals::platform() noexcept
{
    static const Terminals* const terminals = new WindowsTerminals;
    return *terminals;
}

} // namespace tolvane
