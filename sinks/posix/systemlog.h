#pragma once

#include <string>

namespace tolvane {

/// The system's log; tests put one of their own in its place. May be used by any thread.
class SystemLog
{
public:
    virtual ~SystemLog() = default;

    /// Says what the process is called in the log. Throws std::bad_alloc.
    virtual void open(const std::string& ident) const = 0;

    /// \param priority  one of the system's: LOG_ERR, ...
    virtual void write(int priority, const std::string& text) const noexcept = 0;

    /// The one in use.
    static const SystemLog& current() noexcept;

    /// Puts another one in use, which must live as long as any thread of the library. Null: the
    /// system's.
    static void use(const SystemLog* log) noexcept;
};

} // namespace tolvane
