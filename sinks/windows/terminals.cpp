#include "sinks/terminals.h"

#include "support/windows/platform.h"

namespace tolvane {

namespace {

constexpr DWORD sequencesMode = 0x0004; ///< ENABLE_VIRTUAL_TERMINAL_PROCESSING

/// Characters; consoles of before Windows 8 take no more than 64 KB at once.
constexpr std::size_t longestPiece = 16384;

HANDLE handleOf(standardstream stream) noexcept
{
    return GetStdHandle(stream == standardstream::output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

class WindowsTerminals : public Terminals
{
public:
    /// Consoles of before Windows 10 know no sequences; later ones want to be asked for them.
    bool takesColours(standardstream stream) const noexcept override
    {
        const HANDLE console = handleOf(stream);
        DWORD mode = 0;
        return GetConsoleMode(console, &mode) &&
               ((mode & sequencesMode) != 0 || SetConsoleMode(console, mode | sequencesMode));
    }

    bool write(standardstream stream, std::wstring_view text) const noexcept override
    {
        const HANDLE console = handleOf(stream);
        DWORD mode = 0;
        if (!GetConsoleMode(console, &mode)) {
            return false;
        }
        while (!text.empty()) {
            const std::wstring_view piece = text.substr(0, longestPiece);
            DWORD written = 0;
            if (!WriteConsoleW(console, piece.data(), static_cast<DWORD>(piece.size()), &written,
                               nullptr) ||
                written == 0) {
                return false;
            }
            text.remove_prefix(written);
        }
        return true;
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
