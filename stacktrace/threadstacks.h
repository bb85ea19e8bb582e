#pragma once

/// The stacks of all threads, when the process forks. To be called by the thread that forks.
struct threadstacks
{
    static void beforeFork() noexcept;
    static void afterForkInParent() noexcept;

    /// The calling thread alone is left, with another number and the stack that it has.
    static void afterForkInChild() noexcept;
};
