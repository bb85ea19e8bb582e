#include "tests/soak/forks.h"

forks::outcome forks::run(const std::function<bool()>&)
{
    return outcome::impossible;
}
