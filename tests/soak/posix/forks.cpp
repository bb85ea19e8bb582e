#include "tests/soak/forks.h"

#include "tests/helpers/sanitizer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr unsigned int longestLife = 60; ///< seconds: a child that hangs is not waited for

} // namespace

forks::outcome forks::run(const std::function<bool()>& work)
{
    if (sanitizer::hindersForks) {
        return outcome::impossible;
    }
    const pid_t process = fork();
    if (process == 0) {
        alarm(longestLife);
        _exit(work() ? 0 : 1);
    }
    int status = 1;
    while (process > 0 && waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return process > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? outcome::right
                                                                        : outcome::wrong;
}
