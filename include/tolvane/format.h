#pragma once

/// Lines by formats with braces:
///
///     TOLVANE_FMT(log, tl_info, "{} of {:>5}", count, name);
///
/// The standard library's std::format makes the text where there is one, {fmt} otherwise. Not part
/// of <tolvane/tolvane.h>, since either takes long to compile; programs link tolvane::format.

#include <tolvane/export.h>
#include <tolvane/formatguard.h>
#include <tolvane/operands.h>
#include <tolvane/scope.h>
#include <tolvane/tracedline.h>
#include <tolvane/tracelevel.h>

#include <string>
#include <string_view>
#include <type_traits>

#if __has_include(<version>)
#include <version>
#endif
#if defined(__cpp_lib_format)
#include <format>
#define TOLVANE_FORMATTER std
#elif __has_include(<fmt/format.h>)
#include <fmt/format.h>
#define TOLVANE_FORMATTER fmt
#else
#error "<tolvane/format.h> needs std::format, of C++20, or {fmt}: its headers are not to be found"
#endif

/// One line at a level from a format with braces and its arguments. A format is looked at by the
/// compiler if it can; tolvane::atRuntime(text) is one that is known when the program runs. When a
/// format does not suit its arguments, or a formatter throws a standard exception, the line says
/// so. When no sink takes the level, no argument is evaluated.
#define TOLVANE_FMT(name, level, ...)                                                     \
    (!TOLVANE_TAKES(name, level)                                                          \
         ? (void)0                                                                        \
         : tolvane::braceformat::write((name), (level), TOLVANE_FORMAT_OF(__VA_ARGS__, ), \
                                       TOLVANE_OPERANDS_OF(__VA_ARGS__, )))

// Arguments end in an empty one, so that there are some behind the format. (The Microsoft compiler
// takes what a macro was given for one argument of the next, but for the step in between.)
#define TOLVANE_EXPANDED(text) text
#define TOLVANE_FORMAT_OF(...) TOLVANE_EXPANDED(TOLVANE_FIRST(__VA_ARGS__))
#define TOLVANE_FIRST(first, ...) first
#define TOLVANE_OPERANDS_OF(...)                            \
    tolvane::operands                                       \
    {                                                       \
        TOLVANE_EXPANDED(TOLVANE_BEHIND_FIRST(__VA_ARGS__)) \
    }
#define TOLVANE_BEHIND_FIRST(first, ...) __VA_ARGS__

namespace tolvane {

/// A format that is known at run time only; the text is not copied.
struct runtimeformat
{
    std::string_view text;
};

inline runtimeformat atRuntime(std::string_view text) noexcept
{
    return {text};
}

/// Writes arguments through a format with braces, see TOLVANE_FMT.
class braceformat
{
    /// What a function that forwards its arguments finds their types to be.
    template <class passed_t>
    using deduced = std::conditional_t<std::is_rvalue_reference_v<passed_t>,
                                       std::remove_reference_t<passed_t>, passed_t>;

    template <class... kept_t>
    using formatfor = TOLVANE_FORMATTER::format_string<deduced<typename kept_t::passed_t>...>;

public:
    /// \param scope   a scope, or a stream of class traceobject.
    /// \param format  one for what is given.
    template <class scope_t, class... kept_t>
    static void write(scope_t& scope, tracelevel_t level, formatfor<kept_t...> format,
                      const operands<kept_t...>& given)
    {
        given.passTo([&](auto&&... values) {
            writeText(scope, level, [&] {
                return TOLVANE_FORMATTER::format(format, static_cast<decltype(values)>(values)...);
            });
        });
    }

    template <class scope_t, class... kept_t>
    static void write(scope_t& scope, tracelevel_t level, runtimeformat format,
                      const operands<kept_t...>& given)
    {
        given.passTo([&](const auto&... values) {
            writeText(scope, level, [&] {
                return TOLVANE_FORMATTER::vformat(format.text,
                                                  TOLVANE_FORMATTER::make_format_args(values...));
            });
        });
    }

private:
    /// The text is whole before the line is begun: a formatter may trace.
    template <class scope_t, class make_t>
    static void writeText(scope_t& scope, tracelevel_t level, const make_t& make)
    {
        struct work
        {
            const make_t& make;
            std::string text;

            static void run(void* context)
            {
                auto& mine = *static_cast<work*>(context);
                mine.text = mine.make();
            }
        };
        work mine{make, {}};
        const formatguard guard(&work::run, &mine);
        tracedline(scope, level) << mine.text << guard.problem();
    }
};

} // namespace tolvane
