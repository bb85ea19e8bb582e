#pragma once

#include <tolvane/traceobject.h>

#include <ostream>
#include <string>
#include <type_traits>
#include <utility>

namespace tolvane {

/// Stands for a value in the search for an inserter, and converts to nothing but the value's own
/// type. (An object is not converted by value: it may have no copies.)
template <class value_t, bool isObject = std::is_class_v<value_t> || std::is_union_v<value_t>>
struct exactly
{
    template <class other_t, std::enable_if_t<std::is_same_v<other_t, value_t>, int> = 0>
    operator const other_t&() const noexcept;
};

template <class value_t>
struct exactly<value_t, false>
{
    template <class other_t, std::enable_if_t<std::is_same_v<other_t, value_t>, int> = 0>
    operator other_t() const noexcept;
};

/// Whether a stream has an inserter for a value.
template <class stream_t, class value_t, class = void>
inline constexpr bool hasInserter = false;

template <class stream_t, class value_t>
inline constexpr bool
    hasInserter<stream_t, value_t,
                std::void_t<decltype(std::declval<stream_t&>() << std::declval<value_t>())>> = true;

/// Whether a stream has an inserter made for just this type: one that other types convert to does
/// not count, as that of numbers for an enumeration.
template <class stream_t, class value_t>
inline constexpr bool hasOwnInserter = hasInserter<stream_t, const exactly<std::decay_t<value_t>>&>;

/// Whether narrow text comes from a class of the standard's, such as a buffer or what
/// std::put_money makes of a text. Some say that they go to every stream, and do not compile with a
/// wide one.
template <class value_t>
inline constexpr bool holdsNarrowText = std::is_convertible_v<const value_t&, std::string> ||
                                        std::is_convertible_v<const value_t&, std::streambuf*>;

template <template <class> class holder_t>
inline constexpr bool holdsNarrowText<holder_t<std::string>> = true;

/// Whether a narrow stream knows better what to write: a wide one takes the value merely as a
/// number, say, or not at all.
template <class value_t>
inline constexpr bool isForNarrowStreams =
    hasInserter<std::ostream, const value_t&> && !hasOwnInserter<traceobject, value_t> &&
    (hasOwnInserter<std::ostream, value_t> || holdsNarrowText<value_t> ||
     !hasInserter<traceobject, const value_t&>);

/// Whether it can be written at all.
template <class value_t>
inline constexpr bool isForStreams =
    isForNarrowStreams<value_t> || hasInserter<traceobject, const value_t&>;

} // namespace tolvane
