#pragma once

#include <string>
#include <utility>
#include <vector>

/// The bytes of a time zone's file with two kinds of time.
struct zonefilebytes
{
    long first = 0; ///< seconds ahead of UTC; of the first kind
    long second = 0;
    std::vector<std::pair<long long, int>> changes; ///< when, and to which kind
    std::string rule;                               ///< for the time behind the changes
    int leapSeconds = 0;

    /// \param version  0: with times of 32 bits alone.
    std::string write(char version = '2') const
    {
        std::string bytes;
        appendBlock(bytes, version, 4);
        if (version != 0) {
            appendBlock(bytes, version, 8);
            bytes += '\n' + rule + '\n';
        }
        return bytes;
    }

private:
    static void append(std::string& bytes, long long number, int size)
    {
        for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
            bytes += static_cast<char>(static_cast<unsigned long long>(number) >> shift & 0xff);
        }
    }

    void appendBlock(std::string& bytes, char version, int timeSize) const
    {
        const std::string names("ONE\0TWO", 8);
        bytes += "TZif";
        bytes += version;
        bytes.append(15, '\0');
        for (const long long count : {2LL, 2LL, static_cast<long long>(leapSeconds),
                                      static_cast<long long>(changes.size()), 2LL, 8LL}) {
            append(bytes, count, 4);
        }
        for (const auto& change : changes) {
            append(bytes, change.first, timeSize);
        }
        for (const auto& change : changes) {
            append(bytes, change.second, 1);
        }
        for (const auto& [offset, name] : {std::pair(first, 0), std::pair(second, 4)}) {
            append(bytes, offset, 4);
            append(bytes, 0, 1);
            append(bytes, name, 1);
        }
        bytes += names;
        bytes.append(static_cast<std::size_t>(leapSeconds * (timeSize + 4)), '\0');
        bytes.append(4, '\0');
    }
};
