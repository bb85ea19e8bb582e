#pragma once

#include <tolvane/noncopyable.h>

#include <cstddef>

namespace tolvane {

/// The platform's event: set() lets one wait() through, now or later, and is then used up.
class AutoResetEvent : public noncopyable_::noncopyable
{
public:
    /// Not set. When the platform has no event to give, waits return at once.
    AutoResetEvent();
    ~AutoResetEvent() override;

    void set() noexcept;

    /// \param timed         false: waits without limit.
    /// \param milliseconds  how long, when timed.
    /// \return false when the time was up.
    bool wait(bool timed, unsigned int milliseconds) noexcept;

    /// What a wait for several events would be given.
    void* handle() noexcept;

private:
    static constexpr std::size_t resourceSize =
        128; ///< room for the platform's objects, checked by its source

    alignas(std::max_align_t) unsigned char m_resource[resourceSize];
};

} // namespace tolvane
