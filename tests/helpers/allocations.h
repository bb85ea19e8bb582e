#pragma once

#include <functional>

/// The allocations by new, which allocations.cpp counts and makes fail; those of the calling
/// thread, if nothing else is said. Only in the program that is linked with it.
namespace allocations {

/// How many there were since the thread began.
unsigned long long count() noexcept;

/// How many of them are not released again, less what the thread released of others'.
unsigned long long alive() noexcept;

/// How many bytes the process has in use, what the allocator adds at the end of each piece
/// included.
long long bytesInUse() noexcept;

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

/// Lets the allocations of all threads fail for a block.
class shortage
{
public:
    /// \param after  how many succeed before.
    explicit shortage(unsigned long long after = 0) noexcept;
    ~shortage();

    shortage(const shortage&) = delete;
    shortage& operator=(const shortage&) = delete;

    /// Whether an allocation has failed.
    bool wasFelt() const noexcept;
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

/// Does something within one of the calling thread's allocations, as an allocator of the
/// application's may.
class interruption
{
public:
    /// \param after   how many allocations come before.
    /// \param action  must live as long as this object.
    interruption(unsigned long long after, const std::function<void()>& action) noexcept;
    ~interruption();

    interruption(const interruption&) = delete;
    interruption& operator=(const interruption&) = delete;
};

} // namespace allocations
