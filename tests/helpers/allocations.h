#pragma once

/// The calling thread's allocations by new, which allocations.cpp counts and makes fail. Only in
/// the program that is linked with it.
namespace allocations {

/// How many there were since the thread began.
unsigned long long count() noexcept;

/// Lets the calling thread's allocations fail for a block.
class failure
{
public:
    /// \param after  how many succeed before.
    explicit failure(unsigned long long after = 0) noexcept;
    ~failure();

    failure(const failure&) = delete;
    failure& operator=(const failure&) = delete;
};

/// Lets the calling thread's allocations fail for a block where null is asked for instead of an
/// exception.
class nothrowfailure
{
public:
    nothrowfailure() noexcept;
    ~nothrowfailure();

    nothrowfailure(const nothrowfailure&) = delete;
    nothrowfailure& operator=(const nothrowfailure&) = delete;
};

} // namespace allocations
