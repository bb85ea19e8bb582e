#pragma once

#include <string>

/// The name of a function as a person would type it, from the compiler's text for it: qualified,
/// without parameters, return type and template arguments, and the same with every compiler.
///
///     int shop::cart::total(int) const                      shop::cart::total
///     auto shop::cart::total()::(anonymous class)::operator()() const
///                                                           shop::cart::total::lambda
///     shop::money::operator class std::vector<int>(void)    shop::money::operator vector
///
/// A text that is no function's comes back as it is. Takes time in proportion to the text's length.
std::string plainName(const std::string& signature);
