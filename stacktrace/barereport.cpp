#include "stacktrace/barereport.h"

#include <tolvane/hashedfunction.h>
#include <tolvane/stacktrace.h>

#include "stacktrace/registry.h"
#include "support/standarderror.h"
#include "trace/traceimpl.h"

#include <cstddef>
#include <cstring>

namespace {

/// What is written, until there is enough of it.
class barewriter
{
public:
    ~barewriter() { flush(); }

    void put(char character) noexcept
    {
        if (m_count == sizeof m_bytes) {
            flush();
        }
        m_bytes[m_count++] = character;
    }

    void put(const char* text) noexcept
    {
        for (; *text != '\0'; ++text) {
            put(*text);
        }
    }

    void put(const tolvane::string& text) noexcept
    {
        constexpr unsigned int lastAscii = 0x7F;
        for (unsigned long long i = 0; i < text.length(); ++i) {
            const auto character = static_cast<unsigned int>(text.c_str()[i]);
            put(character <= lastAscii ? static_cast<char>(character) : '?');
        }
    }

private:
    void flush() noexcept
    {
        tolvane::writeStandardError(m_bytes, m_count);
        m_count = 0;
    }

    char m_bytes[512];
    std::size_t m_count = 0;
};

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
    barewriter writer;
    writer.put(message);
    writer.put(". Trace follows:\n");
    const stacktrace::Registry* const registry = stacktrace::Registry::made();
    if (registry) {
        registry->visit([&writer](const stacktrace& stack) {
            for (unsigned long long depth = 0; const hashedfunction* const function = stack[depth];
                 ++depth) {
                writer.put(depth == 0 ? "" : "-->");
                writer.put(function->name());
                writer.put('\n');
            }
            writer.put('\n');
        });
    }
}
