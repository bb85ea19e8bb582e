#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// A small key-value store in memory, for a program to measure with: a log of records, to which
/// every change appends one, and an index of each key's latest. Its code is compiled twice, with
/// tracing and without; both work on the same data, so that they find it in the same state.
namespace bench {

/// One that was removed keeps its value, so that it can be restored.
struct storerecord
{
    /// Makes an operation take about ten microseconds, nearly all of it for a checksum of the
    /// value.
    static constexpr std::size_t valueSize = 4400;

    std::uint64_t keyHash = 0;
    std::uint32_t checksum = 0;
    bool isRemoved = false;
    std::array<unsigned char, valueSize> value{};
};

/// A place of the index.
struct storeplace
{
    std::uint64_t keyHash = 0; ///< 0: nobody's
    std::size_t position = 0;  ///< in the log
};

struct storedata
{
    static constexpr std::size_t keyCount = 16;

    /// A key's latest record is never overwritten: all keys are put anew within three times as many
    /// records as there are keys.
    static constexpr std::size_t logSize = 4 * keyCount;

    static constexpr std::size_t indexSize = 4 * keyCount; ///< a power of two, sparsely used

    storedata();

    std::vector<std::string> keys;
    std::vector<storerecord> log;
    std::vector<storeplace> index;
    std::size_t end = 0; ///< where the next record goes
};

/// What one operation writes when everything is traced.
constexpr std::size_t storeScopesPerOperation = 3;
constexpr std::size_t storeLinesPerOperation = 1;

/// After so many operations the same ones come again.
constexpr std::size_t storeCycle = 4 * storedata::keyCount;

namespace traced {

/// Does so many operations: puts, gets, removes and restores in turn.
/// \return how many values were found, so that nothing of it is left out by the compiler.
std::size_t operate(storedata& data, std::size_t operations);

} // namespace traced

namespace untraced {

/// The same without tracing.
std::size_t operate(storedata& data, std::size_t operations);

} // namespace untraced

} // namespace bench
