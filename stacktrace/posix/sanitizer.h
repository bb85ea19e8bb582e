#pragma once

#include <signal.h>
#include <ucontext.h>

// Where a program is checked by the address sanitizer, whose report of a fault says more than any
// other, the fault that nobody catches is given to it: its handler is called with what the signal
// came with, and ends the process.

namespace faults {

/// To be called first outside of any handler.
/// \return whether there is such a sanitizer.
bool isUnderSanitizer() noexcept;

/// Keeps what a signal came with, until the thread's next one. For use in its handler. Of several
/// threads that fault at the very same moment one may go without.
void keepForSanitizer(int number, const siginfo_t& information, const ucontext_t& context) noexcept;

/// Gives back what was kept last.
/// \return the signal's number; 0 when that was not the calling thread's.
int takeForSanitizer(siginfo_t& information, ucontext_t& context) noexcept;

} // namespace faults
