#pragma once

#include <tolvane/export.h>
#include <tolvane/string.h>
#include <tolvane/tracestream.h>

TOLVANE_BEGIN_DECLARATIONS

/// A sink for the system's log (syslog). Linux only.
///
/// A line is a message "MyClass::doWork : loaded 12 items" in UTF-8; time, process and level are
/// the log's own to tell. tl_error is LOG_ERR, tl_warning LOG_WARNING, tl_info LOG_INFO, what is
/// finer LOG_DEBUG, and tl_always, with what is no level, LOG_NOTICE.
class TOLVANE_EXPORT syslogtracestream : public tracestream
{
public:
    /// \param ident  what the log calls the program. The process has one such name: it is set
    ///               (openlog) with the first line that an attached sink writes, for the
    ///               application's own messages, too. Empty: what the application has set stays, or
    ///               the program's name.
    explicit syslogtracestream(const tolvane::string& ident = tolvane::string());

    /// Copies the levels and the name.
    syslogtracestream(const syslogtracestream& other);

    syslogtracestream& operator=(const syslogtracestream&) = delete;

    void log(const formattedline& line) override;
    ~syslogtracestream() override;

    /// The same for all: there is one log.
    unsigned long long id() const override;

    syslogtracestream* clone() const override;

private:
    tolvane::string m_ident;
    bool m_isOpen = false; ///< the name is set
};

TOLVANE_END_DECLARATIONS
