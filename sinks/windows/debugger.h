#pragma once

namespace tolvane {

/// Who debugs the process; tests put somebody of their own in its place. May be told something by
/// any thread.
class Debugger
{
public:
    virtual ~Debugger() = default;

    virtual void tell(const wchar_t* text) const noexcept = 0;

    /// The one in use.
    static const Debugger& current() noexcept;

    /// Puts another one in use, which must live as long as any thread of the library. Null: the
    /// system's.
    static void use(const Debugger* debugger) noexcept;
};

} // namespace tolvane
