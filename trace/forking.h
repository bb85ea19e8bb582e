#pragma once

/// Has the dispatcher of the process, and the stacks of its threads, told of every fork, where
/// processes can fork. Never taken back; any number of times.
void followForks() noexcept;
