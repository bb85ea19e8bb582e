#pragma once

#include "money.h"

#include <filesystem>

namespace shop {

/// Counts what is there, and writes it down.
void takeStock(const std::filesystem::path& list);

/// Takes the money to the bank, which may refuse.
bool deposit(const money& amount);

} // namespace shop
