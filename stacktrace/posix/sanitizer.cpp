#include "stacktrace/posix/sanitizer.h"

#include "support/threadid.h"

#include <dlfcn.h>

#include <atomic>

namespace faults {

namespace {

/// One for all threads: a program under the sanitizer ends with its first such fault.
struct KeptSignal
{
    std::atomic<bool> isInUse{false};
    unsigned int thread = 0;
    int number = 0;
    siginfo_t information = {};
    ucontext_t context = {};
};

KeptSignal kept;

} // namespace

bool isUnderSanitizer() noexcept
{
    static const bool found = dlsym(RTLD_DEFAULT, "__asan_init") != nullptr;
    return found;
}

void keepForSanitizer(int number, const siginfo_t& information, const ucontext_t& context) noexcept
{
    if (kept.isInUse.exchange(true, std::memory_order_acquire)) {
        return;
    }
    kept.thread = tolvane::currentThreadId();
    kept.number = number;
    kept.information = information;
    kept.context = context;
    kept.context.uc_mcontext.fpregs = nullptr; // they are gone with the handler's frame
    kept.isInUse.store(false, std::memory_order_release);
}

int takeForSanitizer(siginfo_t& information, ucontext_t& context) noexcept
{
    if (kept.isInUse.exchange(true, std::memory_order_acquire)) {
        return 0;
    }
    const int number = kept.thread == tolvane::currentThreadId() ? kept.number : 0;
    information = kept.information;
    context = kept.context;
    kept.isInUse.store(false, std::memory_order_release);
    return number;
}

} // namespace faults
