#include <tolvane/traceobject.h>

#include "trace/scopeentry.h"

#include <atomic>
#include <cstring>
#include <istream>
#include <limits>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <typeinfo>

// Most of what it costs to construct a stream is to find the facets of its locale. This library's
// constructor of a scope stream starts the stream as basic_ios::init does, with facets that were
// found before.

#if defined(__GLIBCXX__)

namespace {

using numberwriter_t = std::num_put<wchar_t, std::ostreambuf_iterator<wchar_t>>;
using numberreader_t = std::num_get<wchar_t, std::istreambuf_iterator<wchar_t>>;

/// Copying a buffer costs less than making one, which asks for the global locale.
class emptybuffer : public std::basic_streambuf<wchar_t>
{};

/// What a stream remembers of its locale. The copy of the locale keeps the facets alive.
struct facets
{
    std::locale locale;
    emptybuffer buffer; ///< with that locale, for copies
    const std::ctype<wchar_t>* characters;
    const numberwriter_t* writer;
    const numberreader_t* reader;
    bool plainNumbers; ///< integers are written in decimal digits without anything between them
};

/// A program has few locales. One that makes more of them gets the standard's start for the rest.
constexpr std::size_t mostRemembered = 8;

std::atomic<const facets*> remembered[mostRemembered];

template <class facet_t>
const facet_t* find(const std::locale& locale)
{
    return std::has_facet<facet_t>(locale) ? &std::use_facet<facet_t>(locale) : nullptr;
}

/// Whether the standard's own facet writes the longest numbers in plain digits.
bool writesPlainNumbers(const std::locale& locale)
{
    constexpr unsigned long long longest = std::numeric_limits<unsigned long long>::max();
    constexpr long long negative = std::numeric_limits<long long>::min();
    const auto* const writer = find<numberwriter_t>(locale);
    if (!writer || typeid(*writer) != typeid(numberwriter_t)) {
        return false;
    }
    std::wostringstream stream;
    stream.imbue(locale);
    stream << longest << negative; // have all digits between them
    return stream.str() == std::to_wstring(longest) + std::to_wstring(negative);
}

/// The facets are never destroyed: scopes open until the very end of the process.
///
/// \return null for a locale too many.
[[gnu::cold]] const facets* search(const std::locale& locale)
{
    for (std::atomic<const facets*>& place : remembered) {
        const facets* known = place.load(std::memory_order_acquire);
        if (!known) {
            auto made = std::make_unique<facets>(
                facets{locale, emptybuffer(), find<std::ctype<wchar_t>>(locale),
                       find<numberwriter_t>(locale), find<numberreader_t>(locale),
                       writesPlainNumbers(locale)});
            made->buffer.pubimbue(locale);
            if (place.compare_exchange_strong(known, made.get())) {
                known = made.release();
            }
        }
        if (known->locale == locale) {
            return known;
        }
    }
    return nullptr;
}

[[gnu::cold]] [[gnu::noinline]] const facets* searchGlobal()
{
    search(std::locale());
    return remembered[0].load(std::memory_order_acquire);
}

/// Of the locale that was global when the first scope was opened, and is so for good in most
/// programs.
inline const facets& usualFacets()
{
    const facets* const known = remembered[0].load(std::memory_order_acquire);
    return known ? *known : *searchGlobal();
}

/// Whether a locale is a copy of the other. A locale is a pointer, and to compare the pointers
/// saves a call.
bool isCopy(const std::locale& locale, const std::locale& other)
{
    static_assert(sizeof(std::locale) == sizeof(void*));
    return std::memcmp(static_cast<const void*>(&locale), static_cast<const void*>(&other),
                       sizeof locale) == 0;
}

} // namespace

traceobject::traceobject(const hashedfunction*& function, const char* signature)
    : std::basic_ostream<wchar_t>(
          reinterpret_cast<std::basic_iostream<wchar_t>&>(*this)), // does not look at it
      std::basic_streambuf<wchar_t>(usualFacets().buffer),
      m_function(registered(function, signature))
{
    const facets* known = &usualFacets();
    if (!isCopy(known->locale, _M_ios_locale)) { // the global locale already
        known = search(_M_ios_locale);
        pubimbue(_M_ios_locale);
    }
    if (known) {
        constexpr std::streamsize usualPrecision = 6;
        _M_precision = usualPrecision; // what is not set here, the bases have set to 0
        _M_flags = skipws | dec;
        _M_ctype = known->characters;
        _M_num_put = known->writer;
        _M_num_get = known->reader;
        _M_streambuf = this;
    } else {
        init(this);
    }
    enter();
}

/// False also for locales that are imbued later, or are not the usual one: they take the long way.
bool traceobject::hasPlainNumbers() const
{
    const facets& usual = usualFacets();
    return usual.plainNumbers && _M_num_put == usual.writer && isCopy(usual.locale, _M_ios_locale);
}

#endif
