#pragma once

#include <tolvane/export.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/tracelevel.h>
#include <tolvane/traceobject.h>

#include <ostream>
#include <streambuf>
#include <type_traits>
#include <utility>

TOLVANE_BEGIN_DECLARATIONS

struct scopetest;

namespace tolvane {

class scopestream;

/// What a scope converts to when something is inserted for which every stream has an inserter: an
/// application's own inserter for it goes first.
struct insertiontarget
{
    insertiontarget(const scopestream& scope) noexcept : stream(scope) {}
    const scopestream& stream;
};

/// A wide stream, of class traceobject, that is built when somebody uses it: most scopes write
/// lines by TOLVANE_LOG or none at all. Has the interface of a wide stream, and converts to a
/// reference to one. It is none: where the kind of stream is deduced (std::endl(log), templates of
/// std::basic_ostream) or its address is taken, say static_cast<traceobject&>(log).
///
/// The stream takes the locale that is global at its first use, or was at the scope's first traced
/// line. Used by one thread at a time. Neither copied nor moved.
class scopestream
{
public:
    using char_type = traceobject::char_type;
    using traits_type = traceobject::traits_type;
    using int_type = traceobject::int_type;
    using pos_type = traits_type::pos_type;
    using off_type = traits_type::off_type;
    using sentry = std::wostream::sentry;
    using failure = std::ios_base::failure;
    using fmtflags = std::ios_base::fmtflags;
    using iostate = std::ios_base::iostate;
    using openmode = std::ios_base::openmode;
    using seekdir = std::ios_base::seekdir;
    using event = std::ios_base::event;
    using event_callback = std::ios_base::event_callback;

    static constexpr iostate goodbit = std::ios_base::goodbit;
    static constexpr iostate badbit = std::ios_base::badbit;
    static constexpr iostate eofbit = std::ios_base::eofbit;
    static constexpr iostate failbit = std::ios_base::failbit;
    static constexpr fmtflags boolalpha = std::ios_base::boolalpha;
    static constexpr fmtflags dec = std::ios_base::dec;
    static constexpr fmtflags fixed = std::ios_base::fixed;
    static constexpr fmtflags hex = std::ios_base::hex;
    static constexpr fmtflags internal = std::ios_base::internal;
    static constexpr fmtflags left = std::ios_base::left;
    static constexpr fmtflags oct = std::ios_base::oct;
    static constexpr fmtflags right = std::ios_base::right;
    static constexpr fmtflags scientific = std::ios_base::scientific;
    static constexpr fmtflags showbase = std::ios_base::showbase;
    static constexpr fmtflags showpoint = std::ios_base::showpoint;
    static constexpr fmtflags showpos = std::ios_base::showpos;
    static constexpr fmtflags skipws = std::ios_base::skipws;
    static constexpr fmtflags unitbuf = std::ios_base::unitbuf;
    static constexpr fmtflags uppercase = std::ios_base::uppercase;
    static constexpr fmtflags adjustfield = std::ios_base::adjustfield;
    static constexpr fmtflags basefield = std::ios_base::basefield;
    static constexpr fmtflags floatfield = std::ios_base::floatfield;

    /// Whether an application can have an inserter that is found by the type itself. It cannot for
    /// numbers, characters and texts of characters, which every stream takes.
    template <class value_t>
    static constexpr bool hasOwnInserters =
        !std::is_fundamental_v<value_t> && !std::is_fundamental_v<std::remove_extent_t<value_t>> &&
        !std::is_same_v<value_t, char*> && !std::is_same_v<value_t, const char*> &&
        !std::is_same_v<value_t, wchar_t*> && !std::is_same_v<value_t, const wchar_t*>;

    scopestream(const scopestream&) = delete;
    scopestream& operator=(const scopestream&) = delete;

    /// Also where a std::wostream or one of its bases is asked for.
    operator traceobject&() const { return stream(); }

    /// Sets the level of the lines that follow; tl_always at first.
    traceobject& operator()(tracelevel_t level) { return stream()(level); }

    /// Asks the sinks for the function's level again, after levels have changed during the scope.
    TOLVANE_EXPORT void reset();

    /// Whether some sink took lines of this level when the scope was opened, or at the last
    /// reset(). No lock.
    bool takes(tracelevel_t level) const noexcept { return level <= m_level; }

    /// Whether some sink takes lines of this level now. No lock, unless levels or sinks have
    /// changed since the function was asked last.
    bool takesNow(tracelevel_t level) const
    {
        tracelevel_t greatest = tl_always;
        return m_function->remembersLevel(greatest) ? level <= greatest : asksNow(level);
    }

    // The rest does what it does for every wide stream.

    /// What an inserter is found for by the value's own type, wherever it is inserted.
    template <class value_t, std::enable_if_t<hasOwnInserters<value_t>, int> = 0>
    auto operator<<(const value_t& value) -> decltype(std::declval<traceobject&>() << value)
    {
        return stream() << value;
    }

    /// By value, so that a constant needs no definition.
    template <class value_t, std::enable_if_t<std::is_fundamental_v<value_t>, int> = 0>
    friend auto operator<<(insertiontarget target, value_t value)
        -> decltype(std::declval<traceobject&>() << value)
    {
        return target.stream.stream() << value;
    }

    template <
        class value_t,
        std::enable_if_t<!hasOwnInserters<value_t> && !std::is_fundamental_v<value_t>, int> = 0>
    friend auto operator<<(insertiontarget target, const value_t& value)
        -> decltype(std::declval<traceobject&>() << value)
    {
        return target.stream.stream() << value;
    }

    friend std::wostream& operator<<(insertiontarget target,
                                     std::wostream& (*manipulator)(std::wostream&))
    {
        return target.stream.stream() << manipulator;
    }

    friend std::wostream& operator<<(insertiontarget target, std::wios& (*manipulator)(std::wios&))
    {
        return target.stream.stream() << manipulator;
    }

    friend std::wostream& operator<<(insertiontarget target,
                                     std::ios_base& (*manipulator)(std::ios_base&))
    {
        return target.stream.stream() << manipulator;
    }

    explicit operator bool() const { return !fail(); }
    bool operator!() const { return fail(); }

    std::wostream& put(wchar_t character) { return stream().put(character); }
    std::wostream& write(const wchar_t* text, std::streamsize count)
    {
        return stream().write(text, count);
    }
    std::wostream& flush() { return stream().flush(); }
    pos_type tellp() { return stream().tellp(); }
    std::wostream& seekp(pos_type position) { return stream().seekp(position); }
    std::wostream& seekp(off_type offset, seekdir from) { return stream().seekp(offset, from); }

    iostate rdstate() const { return stream().rdstate(); }
    bool good() const { return stream().good(); }
    bool eof() const { return stream().eof(); }
    bool fail() const { return stream().fail(); }
    bool bad() const { return stream().bad(); }
    void clear(iostate state = goodbit) { stream().clear(state); }
    void setstate(iostate state) { stream().setstate(state); }
    iostate exceptions() const { return stream().exceptions(); }
    void exceptions(iostate states) { stream().exceptions(states); }

    std::wostream* tie() const { return stream().tie(); }
    std::wostream* tie(std::wostream* other) { return stream().tie(other); }
    std::wstreambuf* rdbuf() const { return stream().rdbuf(); }
    std::wstreambuf* rdbuf(std::wstreambuf* buffer) { return stream().rdbuf(buffer); }
    std::wios& copyfmt(const std::wios& other) { return stream().copyfmt(other); }
    wchar_t fill() const { return stream().fill(); }
    wchar_t fill(wchar_t character) { return stream().fill(character); }
    char narrow(wchar_t character, char otherwise) const
    {
        return stream().narrow(character, otherwise);
    }
    wchar_t widen(char character) const { return stream().widen(character); }

    fmtflags flags() const { return stream().flags(); }
    fmtflags flags(fmtflags all) { return stream().flags(all); }
    fmtflags setf(fmtflags added) { return stream().setf(added); }
    fmtflags setf(fmtflags set, fmtflags mask) { return stream().setf(set, mask); }
    void unsetf(fmtflags mask) { stream().unsetf(mask); }
    std::streamsize precision() const { return stream().precision(); }
    std::streamsize precision(std::streamsize digits) { return stream().precision(digits); }
    std::streamsize width() const { return stream().width(); }
    std::streamsize width(std::streamsize characters) { return stream().width(characters); }
    std::locale imbue(const std::locale& locale) { return stream().imbue(locale); }
    std::locale getloc() const { return stream().getloc(); }
    long& iword(int index) { return stream().iword(index); }
    void*& pword(int index) { return stream().pword(index); }
    void register_callback(event_callback callback, int index)
    {
        stream().register_callback(callback, index);
    }
    static int xalloc() { return std::ios_base::xalloc(); }

protected:
    scopestream() = default; // the library sets the fields
    ~scopestream() = default;

    const hashedfunction* m_function; ///< never null
    mutable traceobject* m_stream;    ///< null until it is built, in m_storage
    mutable tracelevel_t m_level;     ///< the function's effective level, see reset()
    mutable tracelevel_t m_lineLevel; ///< level of the stream's next line, until it is built

    /// Traced lines gather their operands: no stream is built, and the one that will be has the
    /// classic locale.
    mutable bool m_plain;

private:
    friend class ::traceobject;
    friend struct ::scopetest;
    friend class tracedline;

    TOLVANE_EXPORT bool asksNow(tracelevel_t level) const;

    traceobject& stream() const { return m_stream ? *m_stream : build(); }
    TOLVANE_EXPORT traceobject& build() const;

    alignas(traceobject) mutable unsigned char m_storage[sizeof(traceobject)];
};

} // namespace tolvane

TOLVANE_END_DECLARATIONS
