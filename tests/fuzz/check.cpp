#include "tests/fuzz/check.h"

#include <cstdio>
#include <cstdlib>
#include <type_traits>

namespace {

/// What is not a printable ASCII character is shown by its number.
template <class char_t>
std::string escaped(const std::basic_string<char_t>& text)
{
    std::string result;
    for (const char_t character : text) {
        if (character >= ' ' && character <= '~') {
            result += static_cast<char>(character);
        } else {
            const auto unit = static_cast<std::make_unsigned_t<char_t>>(character);
            char number[16];
            std::snprintf(number, sizeof number, "<%lX>", static_cast<unsigned long>(unit));
            result += number;
        }
    }
    return result;
}

} // namespace

namespace fuzz {

void fail(const std::string& message)
{
    std::fprintf(stderr, "The library and the model differ: %s\n", message.c_str());
    std::fflush(stderr);
    std::abort();
}

std::string shown(const std::string& text)
{
    return escaped(text);
}

std::string shown(const std::wstring& text)
{
    return escaped(text);
}

} // namespace fuzz
