#pragma once

#include "sinks/standardbuffer.h"

#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace tolvane {

/// Where the standard streams lead, and what the environment says of it; tests put an object of
/// their own in its place. All members may be called from any thread.
class Terminals
{
public:
    virtual ~Terminals() = default;

    /// Whether a stream leads, at this moment, to a terminal that knows sequences for colours.
    virtual bool takesColours(standardstream stream) const noexcept = 0;

    /// Writes a text to a stream that leads, at this moment, to a terminal which takes characters:
    /// bytes it would show by a code page.
    /// \return false for any other, and when it is not taken.
    virtual bool write(standardstream stream, std::wstring_view text) const noexcept = 0;

    /// Which stream a buffer writes to: see standardStreamOf().
    virtual std::optional<standardstream> streamOf(std::streambuf* buffer) const;

    /// A variable of the environment; empty when it is not set.
    virtual std::string variable(const char* name) const = 0;

    /// Those in use.
    static const Terminals& current() noexcept;

    /// Puts others in use; they must live as long as any thread of the library. Null: the
    /// platform's.
    static void use(const Terminals* terminals) noexcept;

    static const Terminals& platform() noexcept;
};

} // namespace tolvane
