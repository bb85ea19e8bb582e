#pragma once

#include <type_traits>

namespace tolvane {

/// One of the operands below, a reference.
template <class value_t, bool isNumber>
class keptoperand
{
public:
    using passed_t = value_t;

    keptoperand(value_t value) : m_value(static_cast<value_t>(value)) {}

    passed_t passed() const { return static_cast<value_t>(m_value); }

private:
    value_t m_value;
};

/// A number. (What takes any type has no warning of NULL.)
template <class value_t>
class keptoperand<value_t, true>
{
public:
    using passed_t = const value_t&;

    template <class given_t>
    keptoperand(given_t value) : m_value(value)
    {}

    passed_t passed() const { return m_value; }

private:
    value_t m_value;
};

/// What a macro was given, in its order: operands{a, b}. Numbers are kept by value, so that a
/// constant needs no definition, anything else as a reference. An object lives as long as the
/// expression that it is part of.
template <class... kept_t>
class operands;

template <class value_t>
constexpr bool isNumberOperand = std::is_arithmetic_v<value_t> || std::is_enum_v<value_t>;

template <class value_t>
using keptfor =
    std::conditional_t<isNumberOperand<std::decay_t<value_t>>,
                       keptoperand<std::decay_t<value_t>, true>, keptoperand<value_t&&, false>>;

template <class... values_t>
operands(values_t&&...) -> operands<keptfor<values_t>...>;

template <>
class operands<>
{
public:
    /// Calls a function with values, and all operands behind them.
    template <class function_t, class... values_t>
    void passTo(const function_t& function, values_t&&... values) const
    {
        function(static_cast<values_t&&>(values)...);
    }
};

template <class first_t, class... rest_t>
class operands<first_t, rest_t...>
{
public:
    explicit operands(first_t&& first, rest_t&&... rest)
        : m_first(static_cast<first_t&&>(first)), m_rest{static_cast<rest_t&&>(rest)...}
    {}

    template <class function_t, class... values_t>
    void passTo(const function_t& function, values_t&&... values) const
    {
        m_rest.passTo(function, static_cast<values_t&&>(values)..., m_first.passed());
    }

private:
    first_t m_first;
    operands<rest_t...> m_rest;
};

} // namespace tolvane
