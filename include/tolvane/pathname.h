#pragma once

#include <type_traits>
#include <utility>

namespace tolvane {

/// Whether a class is std::filesystem::path, or like it. (<filesystem> would take longer to compile
/// than all of the library's headers.)
template <class value_t, class = void>
inline constexpr bool isPath = false;

template <class value_t>
inline constexpr bool
    isPath<value_t, std::void_t<typename value_t::string_type,
                                decltype(std::declval<const value_t&>().native().c_str())>> = true;

} // namespace tolvane
