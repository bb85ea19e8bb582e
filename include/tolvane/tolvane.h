#pragma once

/// Everything that an application needs to trace.

#include <tolvane/export.h>

#if !defined(TOLVANE_IS_TOO_OLD) // the one error says so

#include <tolvane/callsite.h>
#include <tolvane/consoletracestream.h>
#include <tolvane/filetracestream.h>
#include <tolvane/flushguard.h>
#include <tolvane/formattedline.h>
#include <tolvane/formatwriter.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/jsontracestream.h>
#include <tolvane/lineend.h>
#include <tolvane/nullobject.h>
#include <tolvane/operand.h>
#include <tolvane/operands.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/pathname.h>
#include <tolvane/place.h>
#include <tolvane/placeholder.h>
#include <tolvane/recorderfiletracestream.h>
#include <tolvane/recordertracestream.h>
#include <tolvane/rotatingfilestracestream.h>
#include <tolvane/scope.h>
#include <tolvane/scopestream.h>
#include <tolvane/stacktrace.h>
#include <tolvane/string.h>
#include <tolvane/trace.h>
#include <tolvane/tracedline.h>
#include <tolvane/tracelevel.h>
#include <tolvane/traceobject.h>
#include <tolvane/tracestream.h>

#if defined(_WIN32)
#include <tolvane/debuggertracestream.h>
#else
#include <tolvane/syslogtracestream.h>
#endif

#endif
