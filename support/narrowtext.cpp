#include "support/narrowtext.h"

#include "support/utf8.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>

namespace tolvane {

namespace {

std::atomic<bool> usesUtf8{false};

constexpr auto failed = static_cast<std::size_t>(-1);
constexpr auto incomplete = static_cast<std::size_t>(-2);

/// What a locale makes of each character for itself.
std::wstring widenedSingly(std::string_view text)
{
    std::wstring wide;
    std::mbstate_t state = {};
    while (!text.empty()) {
        wchar_t character = 0;
        std::size_t taken = std::mbrtowc(&character, text.data(), text.size(), &state);
        if (taken == failed || taken == incomplete) {
            character = L'?';
            taken = taken == failed ? 1 : text.size();
            state = {};
        }
        wide += character;
        text.remove_prefix(std::max<std::size_t>(taken, 1));
    }
    return wide;
}

/// A locale may know more of a whole text than of its characters: which two wide ones are one.
std::wstring widenedInLocale(const std::string& text)
{
    std::wstring wide(text.size(), L'\0');
    const std::size_t count = std::mbstowcs(wide.data(), text.c_str(), wide.size());
    if (count > wide.size() || (count == 0 && !text.empty())) {
        return widenedSingly(text);
    }
    wide.resize(count);
    return wide;
}

} // namespace

void narrowtext::setUtf8(bool isUtf8) noexcept
{
    usesUtf8.store(isUtf8, std::memory_order_relaxed);
}

bool narrowtext::isUtf8() noexcept
{
    return usesUtf8.load(std::memory_order_relaxed);
}

string narrowtext::widened(const char* text, std::size_t length)
{
    const void* const end = length == 0 ? nullptr : std::memchr(text, 0, length);
    const std::string whole(
        text, end ? static_cast<std::size_t>(static_cast<const char*>(end) - text) : length);
    std::wstring wide;
    if (isUtf8()) {
        utf8::appendWide(wide, whole);
    } else {
        wide = widenedInLocale(whole);
    }
    return string(wide);
}

bool string::narrowIsUtf8() noexcept
{
    return narrowtext::isUtf8();
}

string string::fromUtf8(const char* text)
{
    std::wstring wide;
    utf8::appendWide(wide, text);
    return string(wide);
}

ownedarray<char> string::toUtf8(const wchar_t* text, size_type length)
{
    std::string bytes;
    utf8::appendNarrow(bytes, std::wstring_view(text, static_cast<std::size_t>(length)));
    return duplicate(bytes.c_str());
}

} // namespace tolvane
