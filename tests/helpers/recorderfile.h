#pragma once

#include <optional>
#include <string>
#include <vector>

/// Reads a recorder's file, as docs/recorder.md describes it, without anything of the library's.
///
/// \param bytes  of the file.
/// \return the lines, oldest first; nothing when it is no such file.
inline std::optional<std::vector<std::string>> linesOfRecorderFile(const std::string& bytes)
{
    constexpr std::size_t headerSize = 64;
    const std::string mark = "tolvane recorder file 1\n";
    const auto number = [&bytes](std::size_t at) {
        unsigned long long value = 0;
        for (std::size_t byte = 8; byte-- != 0;) {
            value = value << 8 | static_cast<unsigned char>(bytes[at + byte]);
        }
        return value;
    };
    if (bytes.size() <= headerSize || bytes.substr(0, mark.size()) != mark) {
        return std::nullopt;
    }
    const unsigned long long size = number(32);
    const unsigned long long first = number(40);
    const unsigned long long end = number(48);
    if (size != bytes.size() - headerSize || end < first || end - first > size) {
        return std::nullopt;
    }
    std::vector<std::string> lines;
    std::string line;
    for (unsigned long long at = first; at != end; ++at) {
        const char byte = bytes[headerSize + static_cast<std::size_t>(at % size)];
        if (byte != '\0') {
            line += byte;
            continue;
        }
        if (line.empty() || line.back() != '\n') {
            return std::nullopt;
        }
        lines.push_back(line.substr(0, line.size() - 1));
        line.clear();
    }
    return line.empty() ? std::optional(lines) : std::nullopt;
}
