#pragma once

/// Reports the exception that is being handled, a hardware fault of a sink, where it must go no
/// further: in a destructor, or at the end of the process. A want of memory is not reported.
void reportSinkFault() noexcept;
