#pragma once

#include "money.h"

#include <string>
#include <vector>

namespace shop {

/// What a customer takes.
struct cart
{
    std::string customer; ///< in UTF-8
    std::vector<std::string> articles;

    money total() const;
};

} // namespace shop
