#pragma once

/// What a traced function writes:
///
///     void store::load(const std::string& name)
///     {
///         TOLVANE_SCOPE(log);
///         TOLVANE_LOG(log, tl_info) << "loading " << name;
///         TOLVANE_LOGF(log, tl_debug, "%d items, %s", count, name);
///     }

#include <tolvane/callsite.h>
#include <tolvane/export.h>
#include <tolvane/formatwriter.h>
#include <tolvane/operands.h>
#include <tolvane/place.h>
#include <tolvane/scopestream.h>
#include <tolvane/tracedline.h>
#include <tolvane/tracelevel.h>

/// The compiler's text for the enclosing function.
#if defined(_MSC_VER)
#define TOLVANE_SIGNATURE __FUNCSIG__
#else
#define TOLVANE_SIGNATURE __PRETTY_FUNCTION__
#endif

/// Opens the enclosing function's scope under the given name, which may be that of another one
/// around it: a block's, or that of the function in which a lambda stands.
#define TOLVANE_SCOPE(name)                                  \
    TOLVANE_SHADOWING                                        \
    static const hashedfunction* name##_function = nullptr;  \
    tolvane::scope name(name##_function, TOLVANE_SIGNATURE); \
    TOLVANE_NO_SHADOWING static_cast<void>(0)

/// Statements above this level, a constant, compile to nothing. A source file defines it before it
/// includes the first of the library's headers.
#if defined(TOLVANE_ACTIVE_LEVEL)
#define TOLVANE_IS_ACTIVE(level) (static_cast<int>(level) <= static_cast<int>(TOLVANE_ACTIVE_LEVEL))
#define TOLVANE_IF_ACTIVE(level)                                                   \
    for (bool tolvane_isDone = false; TOLVANE_IS_ACTIVE(level) && !tolvane_isDone; \
         tolvane_isDone = true)
#else
#define TOLVANE_IS_ACTIVE(level) true
#define TOLVANE_IF_ACTIVE(level)
#endif

/// Whether a line is to be made.
#define TOLVANE_TAKES(name, level) \
    (TOLVANE_IS_ACTIVE(level) && TOLVANE_RARELY((name).takesNow(level)))

/// What the statement remembers, from one time to the next.
#define TOLVANE_CALL_SITE()                    \
    ([]() noexcept -> tolvane::callsite& {     \
        static tolvane::callsite tolvane_site; \
        return tolvane_site;                   \
    }())

/// One line at a level: TOLVANE_LOG(log, tl_info) << "text" << 42;
/// The line ends with the statement. When no sink takes the level (see scopestream::takesNow), no
/// operand is evaluated. The level is looked at twice: give it a plain value. The name may also be
/// that of a plain traceobject.
#define TOLVANE_LOG(name, level) TOLVANE_LOG_IF(name, level, true)

/// The same when a condition holds, too, which is not looked at when no sink takes the level:
/// TOLVANE_LOG_IF(log, tl_warning, left < 10) << left << " left";
#define TOLVANE_LOG_IF(name, level, condition)                         \
    static_cast<void>(0), !(TOLVANE_TAKES(name, level) && (condition)) \
                              ? (void)0                                \
                              : tolvane::novalue() & tolvane::tracedline((name), (level))

// The same for not every time that the statement is reached, by whatever thread; times when no sink
// takes the level don't count. Each statement counts for itself, and in a template each instance.

/// The first n times. Never when n is less than 1.
#define TOLVANE_LOG_FIRST_N(name, level, n) \
    TOLVANE_LOG_IF(name, level, TOLVANE_CALL_SITE().isAmongFirst(tolvane::callsite::count(n)))

/// The first time and then every n-th. Every time when n is less than 2.
#define TOLVANE_LOG_EVERY_N(name, level, n) \
    TOLVANE_LOG_IF(name, level, TOLVANE_CALL_SITE().isEvery(tolvane::callsite::count(n)))

/// The first time, and then when so many milliseconds have passed since the last line. Every time
/// when that is less than 1.
#define TOLVANE_LOG_EVERY_MS(name, level, milliseconds) \
    TOLVANE_LOG_IF(name, level, TOLVANE_CALL_SITE().isDue(tolvane::callsite::count(milliseconds)))

/// One line at a level from a function that opened no scope, and is not on the call stack:
/// TOLVANE_HERE(tl_info) << "text" << 42;
/// The line ends with the statement, which no other may be part of. The function is named as one
/// with a scope would be. When no sink takes the level, no operand is evaluated, at the price of a
/// look at a pointer and a level.
#define TOLVANE_HERE(level)                                                            \
    TOLVANE_SHADOWING                                                                  \
    TOLVANE_IF_ACTIVE(level)                                                           \
    for (tolvane::place tolvane_place(TOLVANE_FUNCTION(), TOLVANE_SIGNATURE, (level)); \
         TOLVANE_RARELY(tolvane_place.isWaiting()); tolvane_place.finish())            \
    TOLVANE_NO_SHADOWING tolvane::tracedline(tolvane_place, (level))

/// The static pointer to the function in which the statement stands, for itself alone.
#define TOLVANE_FUNCTION()                                       \
    ([]() noexcept -> const hashedfunction*& {                   \
        static const hashedfunction* tolvane_function = nullptr; \
        return tolvane_function;                                 \
    }())

/// One line at a level from a %-format, narrow or wide, and its arguments, as by printf: flags,
/// width, precision, "*", and the letters d i o u x X f F e E g G a A c s p n. What an argument is
/// is known by its type: lengths are skipped, any type that can be inserted can be given, and "%d"
/// writes a text as a text. "%%" is written as one, "%n" takes an argument and writes nothing. A
/// placeholder without an argument, and a letter that is none of these, is written as it stands; an
/// argument beyond the placeholders follows after a space. Texts may be null. When no sink takes
/// the level, no argument is evaluated. See docs/formats.md
#define TOLVANE_LOGF(name, level, ...) \
    (!TOLVANE_TAKES(name, level)       \
         ? (void)0                     \
         : tolvane::formatwriter::write((name), (level), tolvane::operands{__VA_ARGS__}))

TOLVANE_BEGIN_DECLARATIONS

namespace tolvane {

/// What a traced function opens on entry; usually made by TOLVANE_SCOPE. It costs little until its
/// stream is used.
///
/// While it lives, its function is on the calling thread's call stack; with a sink at tl_trace it
/// also queues an entry and an exit line.
///
/// Used only by the thread that made it, but another one may end it. Throws std::bad_alloc only;
/// the destructor throws nothing.
class scope : public scopestream
{
public:
    /// \param function   the call site's pointer, usually a static one. Null: the function is
    ///                   registered and the pointer set, once however many threads come here at the
    ///                   same time.
    /// \param signature  the compiler's text for the function; not looked at when the pointer is
    ///                   set, and null counts as empty.
    scope(const hashedfunction*& function, const char* signature)
        : m_before(enter(function, signature))
    {}

    ~scope()
    {
        if (!leavesQuietly()) {
            leave();
        }
    }

    scope(const scope&) = delete;
    scope& operator=(const scope&) = delete;

private:
    /// \return how many functions were on the thread's stack before. The traced function keeps that
    ///         in a register, which spares leavesQuietly() to wait for what was stored just before.
    TOLVANE_EXPORT unsigned long long enter(const hashedfunction*& function, const char* signature);
    TOLVANE_EXPORT void leave() noexcept;
    unsigned long long enterAtLength(const hashedfunction*& function, const char* signature);
    void leaveAtLength() noexcept;

    /// The end of most scopes, without a call, since that takes longer than all that is to be done:
    /// on the thread that entered, above what was on its stack then, without an exit line.
    /// \return false when nothing was done.
    bool leavesQuietly() const noexcept
    {
        const void* const mark = TOLVANE_THREAD_MARK();
        if (!mark || mark != m_thread || takes(tl_trace) || m_stream ||
            TOLVANE_LOAD(m_count) != m_before + 1) {
            return false;
        }
        TOLVANE_RELEASE(m_count, m_before);
        return true;
    }

    const void* m_thread;        ///< the mark of the thread that entered; null: leave() is called
    unsigned long long* m_count; ///< of functions on that thread's stack, which is never destroyed
    const unsigned long long m_before; ///< how many there were
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
