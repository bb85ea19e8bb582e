#pragma once

#include <memory>

namespace reliability {

/// Keeps the process from starting threads for a block. On Linux a process of root's becomes one of
/// a user without rights thereby, for good: root has no limits.
class threadlimit
{
public:
    threadlimit();
    ~threadlimit();

    threadlimit(const threadlimit&) = delete;
    threadlimit& operator=(const threadlimit&) = delete;

private:
    struct Impl;

    std::unique_ptr<Impl> m_impl;
};

} // namespace reliability
