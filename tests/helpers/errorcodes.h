#pragma once

/// The calling thread's error codes: errno, and the system's own where it has one.
namespace errorcodes {

/// Gives all of them this value.
void set(int value) noexcept;

/// Whether all of them have it.
bool are(int value) noexcept;

} // namespace errorcodes
