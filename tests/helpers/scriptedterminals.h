#pragma once

#include "sinks/terminals.h"

#include <map>
#include <streambuf>
#include <string>
#include <string_view>

/// Puts terminals in use that are as the test says, for as long as the object lives.
class scriptedterminals : public tolvane::Terminals
{
public:
    scriptedterminals() { use(this); }
    ~scriptedterminals() override { use(nullptr); }

    scriptedterminals(const scriptedterminals&) = delete;
    scriptedterminals& operator=(const scriptedterminals&) = delete;

    bool takesColours(tolvane::standardstream stream) const noexcept override
    {
        return stream == tolvane::standardstream::output && outputIsTerminal;
    }

    bool write(tolvane::standardstream stream, std::wstring_view text) const noexcept override
    {
        if (stream != tolvane::standardstream::output || !outputTakesCharacters) {
            return false;
        }
        characters.append(text);
        return true;
    }

    std::optional<tolvane::standardstream> streamOf(std::streambuf* buffer) const override
    {
        return buffer && buffer == output ? std::optional(tolvane::standardstream::output)
                                          : std::nullopt;
    }

    std::string variable(const char* name) const override
    {
        ++questions;
        const auto found = variables.find(name);
        return found == variables.end() ? std::string() : found->second;
    }

    std::streambuf* output = nullptr; ///< of standard output
    bool outputIsTerminal = true;
    bool outputTakesCharacters = false;
    mutable std::wstring characters; ///< those that it has taken
    std::map<std::string, std::string> variables;
    mutable int questions = 0; ///< for variables
};
