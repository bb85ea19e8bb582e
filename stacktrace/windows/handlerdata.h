#pragma once

#include <cstddef>
#include <cstdint>

namespace faults {

/// What a C++ frame would do with an exception that reaches it at one place.
enum class Landing
{
    unreadable, ///< the bytes are no table of GCC or clang
    passes,     ///< nothing: the exception goes on to the caller
    cleansUp,   ///< destructors run, then it goes on
    catches,    ///< a catch clause takes it
    terminates  ///< no exception may leave here: noexcept, or a list of what may
};

/// Tells whether a catch clause for the given std::type_info would take the exception.
using CatchTest = bool (*)(const void* typeInfo);

/// Reads the exception table that GCC and clang put beside a function, which is the handler data of
/// its unwind information.
///
/// \param data          the table; anything else is recognised as such within its first bytes
/// \param functionSize  in bytes, from the unwind information; a table that claims more is
///                      unreadable
/// \param offset        of the instruction that throws, from the start of the function
/// \param catchTest     is asked about the type of each catch clause; catch (...) takes everything
///
/// Thread-safe, takes no lock, allocates nothing. Reads nothing beyond a table that is one.
Landing landingAt(const unsigned char* data, size_t functionSize, size_t offset,
                  CatchTest catchTest);

} // namespace faults
