#include "sinks/posix/systemlog.h"

#include <syslog.h>

#include <atomic>
#include <set>

namespace tolvane {

namespace {

class SystemsLog : public SystemLog
{
public:
    /// The system keeps no copy of the name, so all of them stay.
    void open(const std::string& ident) const override
    {
        static auto* const idents = new std::set<std::string>; // the sink lock guards it
        ::openlog(idents->insert(ident).first->c_str(), LOG_PID, LOG_USER);
    }

    void write(int priority, const std::string& text) const noexcept override
    {
        ::syslog(priority, "%s", text.c_str());
    }
};

/// Never destroyed: lines are written until the very end of the process.
const SystemLog& systems = *new SystemsLog;

std::atomic<const SystemLog*> replacement{nullptr};

} // namespace

const SystemLog& SystemLog::current() noexcept
{
    const SystemLog* const replaced = replacement.load(std::memory_order_acquire);
    return replaced ? *replaced : systems;
}

void SystemLog::use(const SystemLog* log) noexcept
{
    replacement.store(log, std::memory_order_release);
}

} // namespace tolvane
