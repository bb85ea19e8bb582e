#pragma once

#include <functional>

namespace forks {

enum class outcome
{
    impossible, ///< there are no forks here
    right,
    wrong ///< the work failed or took a minute, or there was no process to be had
};

/// Forks a process that does the work and ends by it, and waits for its end.
/// \param work  returns whether all went well.
outcome run(const std::function<bool()>& work);

} // namespace forks
