#pragma once

#include "tests/helpers/sanitizer.h"
#include "tests/reliability/rows.h"

#include <algorithm>
#include <string>
#include <utility>

/// What the rows have in common that start the programs of other tests.
namespace reliability {

/// As on systems where a line feed is all that ends a line.
inline std::string withPlainEnds(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

inline childresult withPlainEnds(childresult result)
{
    result.output = withPlainEnds(std::move(result.output));
    result.error = withPlainEnds(std::move(result.error));
    return result;
}

/// Runs a program that lies beside this one, some of whose threads may be ended by force.
inline childresult runBeside(const std::string& program, const std::vector<std::string>& arguments,
                             std::map<std::string, std::string> environment = {},
                             std::chrono::milliseconds limit = scenarioLimit)
{
    environment.merge(sanitizer::withoutLeaks());
    return withPlainEnds(
        childprocess::run(childprocess::beside(program), arguments, environment, limit));
}

inline bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

inline unsigned long long countOf(const std::string& text, const std::string& part)
{
    unsigned long long count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

/// What is wrong with what a process wrote.
inline std::string wrongText(const std::string& name, const std::string& text,
                             const std::string& expected)
{
    return text == expected ? "" : name + " is " + (text.empty() ? "empty" : text);
}

/// The first of them that says something.
inline std::string firstOf(const std::vector<std::string>& remarks)
{
    const auto found = std::find_if(remarks.begin(), remarks.end(),
                                    [](const std::string& remark) { return !remark.empty(); });
    return found == remarks.end() ? "" : *found;
}

/// A row's function that injects the fault once, again and again.
inline std::function<outcome(unsigned long long)>
eachTime(const std::function<void(outcome&, unsigned long long run)>& once)
{
    return [once](unsigned long long times) {
        outcome found;
        for (unsigned long long run = 0; run < times; ++run) {
            once(found, run);
        }
        return found;
    };
}

} // namespace reliability
