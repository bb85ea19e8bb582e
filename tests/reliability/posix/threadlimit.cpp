#include "tests/reliability/threadlimit.h"

#include <grp.h>
#include <sys/resource.h>
#include <unistd.h>

namespace reliability {

namespace {

/// Nobody's: the limit counts all threads of a user. It does not hold for root.
constexpr uid_t ownUser = 54321;

} // namespace

struct threadlimit::Impl
{
    rlimit before = {};
};

threadlimit::threadlimit() : m_impl(std::make_unique<Impl>())
{
    if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setuid(ownUser) != 0)) {
        return;
    }
    getrlimit(RLIMIT_NPROC, &m_impl->before);
    const rlimit none = {1, m_impl->before.rlim_max};
    setrlimit(RLIMIT_NPROC, &none);
}

threadlimit::~threadlimit()
{
    setrlimit(RLIMIT_NPROC, &m_impl->before);
}

} // namespace reliability
