#pragma once

#include <tolvane/export.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/scopestream.h>
#include <tolvane/tracelevel.h>

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// Where a line comes from when its function has opened no scope; made by TOLVANE_HERE for one
/// line. The function is not on the thread's call stack, and has no entry and exit lines.
///
/// Used only by the thread that made it. Throws std::bad_alloc only; the destructor throws nothing.
class place : public scopestream
{
public:
    /// \param function   the statement's pointer, a static one. Null: the function is registered and
    ///                   the pointer set, once however many threads come here at the same time.
    /// \param signature  the compiler's text for the function; not looked at when the pointer is
    ///                   set, and null counts as empty.
    /// \param level      the line's.
    place(const hashedfunction*& function, const char* signature, tracelevel_t level)
        : m_isEntered(!isIdle(function, level)),
          m_isWaiting(m_isEntered && enter(function, signature, level))
    {}

    ~place()
    {
        if (m_isEntered) {
            leave();
        }
    }

    place(const place&) = delete;
    place& operator=(const place&) = delete;

    /// Whether there is a line to be made; only once.
    bool isWaiting() const noexcept { return m_isWaiting; }
    void finish() noexcept { m_isWaiting = false; }

private:
    /// Whether it takes no more to find that nobody takes the line.
    static bool isIdle(const hashedfunction*& function, tracelevel_t level)
    {
        const hashedfunction* const known = TOLVANE_ACQUIRE(function);
        tracelevel_t greatest = tl_always;
        return known && known->remembersLevel(greatest) && level > greatest;
    }

    TOLVANE_EXPORT bool enter(const hashedfunction*& function, const char* signature,
                              tracelevel_t level);
    TOLVANE_EXPORT void leave() noexcept;

    bool m_isEntered; ///< the stream's fields are set
    bool m_isWaiting; ///< some sink takes the line, which is not there yet
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
