#pragma once

#include <string>

namespace fuzz {

/// Ends the process with a message, which is what a fuzzer takes for a finding.
[[noreturn]] void fail(const std::string& message);

/// A text as a message shows it.
std::string shown(const std::string& text);
std::string shown(const std::wstring& text);

inline void check(bool holds, const char* rule)
{
    if (!holds) {
        fail(rule);
    }
}

/// Compares what the library made with what the model says.
template <class text_t>
void checkText(const text_t& found, const text_t& expected, const char* what)
{
    if (found != expected) {
        fail(what + (": found \"" + shown(found)) + "\", expected \"" + shown(expected) + '"');
    }
}

} // namespace fuzz
