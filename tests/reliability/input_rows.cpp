#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"

#include "tests/helpers/attached.h"
#include "tests/helpers/foreignthread.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/temporaryfolder.h"

#include <tolvane/tolvane.h>

#include <algorithm>
#include <climits>
#include <clocale>
#include <cwchar>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string_view>

namespace reliability {

namespace {

/// A text as a program may have got it from anywhere.
template <class char_t>
struct hostile
{
    std::basic_string<char_t> text;
    bool isNull = false; ///< a null pointer instead

    const char_t* pointer() const { return isNull ? nullptr : text.c_str(); }
};

/// As far as it fits.
constexpr wchar_t unit(unsigned int bits)
{
    return static_cast<wchar_t>(bits);
}

const std::vector<hostile<char>>& narrowTexts()
{
    static const std::vector<hostile<char>> texts = {
        {"", true},
        {""},
        {std::string("before\0behind", 13)},
        {"\xFF\xFE\x80"},                 // no UTF-8
        {"cut off \xE2\x82"},             // the head of a character
        {"\xC0\xAF\xED\xA0\x80\xF8\x88"}, // overlong, a surrogate, beyond Unicode
        {"line\nfeed\rreturn\r\n"},
        {"\x1B[31mred\x1B[0m\x1B]0;title\a"},
        {"\x7F\x01\x02\b\b\t\v\f"},
        {"%"},
        {"%%%s%n%n%1000000d%*d"},
        {std::string(1000000, 'x')},
        {std::string(100000, '\xC3')},
        {std::string(2000, '%')},
    };
    return texts;
}

const std::vector<hostile<wchar_t>>& wideTexts()
{
    static const std::vector<hostile<wchar_t>> texts = {
        {L"", true},
        {L""},
        {std::wstring(L"before\0behind", 13)},
        {{unit(0xD800), L'a', unit(0xDFFF)}}, // lone surrogates
        {{unit(0xDC00), unit(0xD800)}},
        {{unit(0xFFFF), L'a'}},                        // an end of file
        {{unit(0x110000), L'a'}},                      // beyond Unicode, where it fits
        {{std::numeric_limits<wchar_t>::max(), L'a'}}, // the largest
        {{std::numeric_limits<wchar_t>::min(), L'a'}}, // the smallest, maybe NUL
        {L"line\nfeed\rreturn\r\n"},
        {L"\x1B[31mred\x1B[0m"},
        {L"%%%s%n"},
        {std::wstring(1000000, L'\x20AC')},
    };
    return texts;
}

/// How a text comes to the library.
enum class road : int
{
    pointer,
    whole, ///< as a string that knows its length
    format,
    argument,
    stream,
    last = stream,
};

/// What a line holds that was given as such a text: of a narrow one each character for itself, but
/// as a tolvane::string has it where the text was one.
std::wstring kept(const hostile<char>& text, road by)
{
    if (by == road::stream) {
        return tolvane::string(text.pointer()).c_str();
    }
    const std::string whole = text.pointer() ? text.pointer() : "";
    std::wstring wide;
    for (std::string_view rest = whole; !rest.empty();) {
        std::mbstate_t state = {};
        const std::size_t length = std::mbrlen(rest.data(), rest.size(), &state);
        const bool isCutOff = length == static_cast<std::size_t>(-2);
        const std::size_t taken = isCutOff ? rest.size() : length > rest.size() ? 1 : length;
        wide += length == taken ? tolvane::string(rest.substr(0, taken)).c_str() : L"?";
        rest.remove_prefix(taken);
    }
    return wide;
}

std::wstring kept(const hostile<wchar_t>& text, road)
{
    return tolvane::string(text.pointer()).c_str();
}

/// A %-format without arguments stands as it is, but that a pair of signs is one.
template <class char_t>
std::wstring keptFormat(const hostile<char_t>& text)
{
    const std::wstring format = kept(text, road::format);
    std::wstring result;
    for (std::size_t at = 0; at < format.size(); ++at) {
        result += format[at];
        if (format.compare(at, 2, L"%%") == 0) {
            ++at;
        }
    }
    return result;
}

constexpr std::size_t longText = 1000; // characters

void traceMark(const char* text)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << text;
}

template <class char_t>
void traceText(const hostile<char_t>& text, road by)
{
    TOLVANE_SCOPE(log);
    switch (by) {
    case road::pointer:
        TOLVANE_LOG(log, tl_info) << text.pointer();
        break;
    case road::whole:
        TOLVANE_LOG(log, tl_info) << text.text;
        break;
    case road::format:
        TOLVANE_LOGF(log, tl_info, text.pointer());
        break;
    case road::argument:
        TOLVANE_LOGF(log, tl_info, "%s", text.pointer());
        break;
    case road::stream:
        log(tl_info) << tolvane::string(text.pointer()) << std::endl;
        break;
    }
}

/// The sinks of the rows about text.
struct textsinks
{
    textsinks()
    {
        first.stored().setLevel(tl_info);
        second.stored().setLevel(tl_info);
        third.stored().setLevel(tl_info);
    }

    /// Whether the file ends with a line with this text and nothing behind it.
    bool fileHas(const char* text) const
    {
        const std::string line = std::string(" : ") + text + "\r\n";
        std::ifstream bytes(folder.file("trace.log"), std::ios::binary);
        bytes.seekg(-static_cast<std::streamoff>(line.size()), std::ios::end);
        std::string end(line.size(), ' ');
        bytes.read(&end[0], static_cast<std::streamsize>(end.size()));
        return bytes && end == line;
    }

    const temporaryfolder folder;
    remembersink remembering;
    const filetracestream file{folder.file("trace.log").c_str()};
    std::ostringstream stream;
    const ostreamtracestream<char> streamSink{stream};
    const attached first{remembering};
    const attached second{file};
    const attached third{streamSink};
};

template <class char_t>
std::string wrongText(textsinks& sinks, const hostile<char_t>& text, road by)
{
    sinks.remembering.forget();
    traceMark("before");
    traceText(text, by);
    traceMark("behind");
    if (text.text.size() < longText) {
        trace::flush(0); // which is quicker, but gives up when a sink takes long
    }
    if (!trace::sync(generousWait)) {
        return "the writer did not come to an end";
    }
    sinks.stream.str({});
    const std::vector<std::wstring> bodies = sinks.remembering.bodies();
    if (bodies.size() != 3 || bodies[0] != L"before" || bodies[2] != L"behind") {
        return "other lines than were made";
    }
    if (bodies[1] != (by == road::format ? keptFormat(text) : kept(text, by))) {
        return "another text than was written";
    }
    return sinks.fileHas("behind") ? "" : "the file's next line is not whole";
}

template <class char_t>
void addTexts(const std::vector<hostile<char_t>>& texts, outcome& found)
{
    textsinks sinks;
    for (std::size_t text = 0; text < texts.size(); ++text) {
        for (int by = 0; by <= static_cast<int>(road::last); ++by) {
            const unsigned long long lostBefore = trace::lost();
            std::string wrong = wrongText(sinks, texts[text], static_cast<road>(by));
            found.made += 9; // three lines for three sinks
            found.lost += trace::lost() - lostBefore;
            if (!wrong.empty()) {
                wrong += " (text " + std::to_string(text) + ", road " + std::to_string(by) + ')';
            }
            found.add(wrong);
        }
    }
}

outcome hostileText(unsigned long long times)
{
    outcome found;
    for (unsigned long long round = 0; round < times; ++round) {
        std::setlocale(LC_CTYPE, round % 2 == 0 ? "C" : "C.UTF-8");
        addTexts(narrowTexts(), found);
        addTexts(wideTexts(), found);
    }
    return found;
}

const std::vector<std::string>& hostileNames()
{
    static const std::vector<std::string> names = {
        "",
        "::",
        "::::::::::",
        ":",
        "((((((((((",
        "))))))))))",
        "<<<<<<<<<<",
        ">>>>>>>>>>",
        "operator",
        "void operator()()(",
        "a::operator<<",
        "[with T = [with T = [",
        "{{{{lambda}}}}::{",
        "\xFF\xFE::\x80",
        "a\nb::c\x1B[31m()",
        "%s%n::%d",
        "        ",
        "a b c d e f",
        "void (*(*f)(int))(int)",
        std::string(10000, '('),
        std::string(10000, '<'),
        std::string(10000, ':'),
        std::string(10000, ' '),
    };
    return names;
}

/// Registers a name, sets, asks for and clears its level, and traces.
std::string wrongName(const char* signature)
{
    const hashedfunction* function = nullptr;
    traceobject stream(function, signature);
    const tolvane::string name = function->name();
    trace::setLevel(tl_debug, name);
    stream.reset();
    const bool isTaken = trace::level(*function) == tl_debug;
    stream(tl_debug) << L"by its name" << std::endl;
    trace::flush(0);
    trace::clearLevels(name);
    trace::setLevel(tl_info);
    trace::level(name);
    trace::level(std::string(signature ? signature : ""));
    const hashedfunction& again = trace::registerfunction(tolvane::string(signature).c_str());
    stream(tl_info) << again.name() << std::endl;
    trace::flush(0);
    if (!trace::sync(generousWait)) {
        return "the writer did not come to an end";
    }
    return isTaken ? "" : "its level was not found";
}

outcome hostileNameRounds(unsigned long long times)
{
    outcome found;
    for (unsigned long long round = 0; round < times; ++round) {
        for (std::size_t name = 0; name <= hostileNames().size(); ++name) {
            const remembersink sink;
            const attached attachment(sink, tl_info);
            const bool isNull = name == hostileNames().size();
            std::string wrong = wrongName(isNull ? nullptr : hostileNames()[name].c_str());
            found.made += 2;
            found.lost += 2 - std::min<std::size_t>(sink.count(), 2);
            if (wrong.empty() && sink.count() != 2) {
                wrong = "a line is missing";
            }
            found.add(wrong.empty() ? "" : wrong + " (name " + std::to_string(name) + ')');
        }
    }
    return found;
}

const int hostileLevelValues[] = {INT_MIN, -1000, -1, 0, 1, 6, 7, 100, INT_MAX};

/// Traces a line at a level with a sink at another.
bool arrives(tracelevel_t line, tracelevel_t level)
{
    const remembersink sink;
    const attached attachment(sink, level);
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, line) << "at a level";
    }
    trace::flush(0);
    trace::sync(generousWait);
    const std::vector<std::wstring> bodies = sink.bodies();
    return std::count(bodies.begin(), bodies.end(), L"at a level") == 1;
}

outcome hostileLevels(unsigned long long times)
{
    outcome found;
    for (unsigned long long round = 0; round < times; ++round) {
        for (const int line : hostileLevelValues) {
            for (const int level : hostileLevelValues) {
                const bool isDue = line <= level;
                const bool came =
                    arrives(static_cast<tracelevel_t>(line), static_cast<tracelevel_t>(level));
                found.made += isDue ? 1U : 0U;
                found.lost += isDue && !came ? 1U : 0U;
                found.add(came == isDue ? ""
                                        : "a line of level " + std::to_string(line) +
                                              (came ? " came" : " did not come") +
                                              " to a sink of level " + std::to_string(level));
            }
            const auto fallback = static_cast<tracelevel_t>(-7);
            const bool isLevel = line >= 0 && line <= tl_trace;
            if (trace::getLevelFromInt(line, fallback) !=
                (isLevel ? static_cast<tracelevel_t>(line) : fallback)) {
                found.add("getLevelFromInt gives another level");
            }
        }
    }
    return found;
}

struct limits
{
    unsigned long long files;
    unsigned long long maxsize;
    unsigned long long maxdays;
    std::size_t filesAfter; ///< that 20 lines make
};

constexpr unsigned long long most = ~0ULL;
constexpr unsigned long long linesAtLimits = 20;

/// Sizes are multiplied by 1024 and days by the milliseconds of one, as unsigned numbers of 64
/// bits.
const limits hostileLimitValues[] = {
    {0, 1000, 0, 1},
    {0, 0, 0, 2},
    {1, 0, 0, 2},
    {5, 0, 0, 5},
    {1000000000, 0, 0, linesAtLimits + 1},
    {most, 0, 0, linesAtLimits + 1},
    {1000000000, 1ULL << 54, 0, linesAtLimits + 1}, // which is 0
    {1000000000, (1ULL << 54) - 1, 0, 1},
    {1000000000, (1ULL << 54) + 1000, 0, 1},
    {1000000000, most, 0, 1},
    {1000000000, 1000, 1ULL << 54, linesAtLimits + 1}, // which is 0 again
    {1000000000, 1000, most, 1},
    {most, most, most, 1},
};

std::string wrongLimits(const limits& tested, outcome& found)
{
    const temporaryfolder folder;
    const rotatingfilestracestream sink(folder.file("trace.log").c_str(), tested.files,
                                        tested.maxsize, tested.maxdays);
    {
        const attached attachment(sink, tl_info);
        for (unsigned long long line = 0; line < linesAtLimits; ++line) {
            traceMark("a line");
        }
        trace::sync(generousWait);
    }
    unsigned long long written = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder.path())) {
        written += filelines(file.path().string()).whole;
    }
    if (tested.filesAfter == 1 || tested.filesAfter > linesAtLimits) {
        found.made += linesAtLimits;
        found.lost += linesAtLimits - written;
    }
    const auto entries = static_cast<std::size_t>(folder.entries());
    return entries == tested.filesAfter ? "" : std::to_string(entries) + " files";
}

outcome hostileLimits(unsigned long long times)
{
    outcome found;
    for (unsigned long long round = 0; round < times; ++round) {
        for (const limits& tested : hostileLimitValues) {
            const std::string wrong = wrongLimits(tested, found);
            found.add(wrong.empty() ? ""
                                    : wrong + " with limits " + std::to_string(tested.files) + ' ' +
                                          std::to_string(tested.maxsize) + ' ' +
                                          std::to_string(tested.maxdays));
        }
    }
    return found;
}

std::string wrongTwins()
{
    const char* const names[] = {"worker846484", "worker1193220"}; // of one hash
    const remembersink sink;
    const attached attachment(sink, tl_error);
    trace::setLevel(tl_debug, names[0]);
    const hashedfunction* other = nullptr;
    {
        traceobject stream(other, names[1]);
        stream(tl_debug) << L"at the other's level" << std::endl;
    }
    trace::sync(generousWait);
    const std::vector<std::wstring> lines = sink.lines();
    if (trace::level(std::string(names[1])) != tl_debug || lines.size() != 1) {
        return "two levels";
    }
    return lines[0].find(L": worker1193220 : ") != std::wstring::npos ? "" : "another name";
}

std::string wrongTwinFiles()
{
    const temporaryfolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const filetracestream first("trace93988.log");
    const filetracestream second("trace204656.log"); // of the same hash
    {
        const attached replaced(first, tl_info);
        traceMark("for the first");
        trace::sync(generousWait);
        const attached replacing(second, tl_info);
        traceMark("for the second");
        trace::sync(generousWait);
    }
    std::filesystem::current_path(before);
    return folder.entries() == 2 && filelines(folder.file("trace93988.log")).whole == 1 &&
                   filelines(folder.file("trace204656.log")).whole == 1
               ? ""
               : "the second file has not replaced the first";
}

outcome twins(unsigned long long times)
{
    outcome found;
    for (unsigned long long run = 0; run < times; ++run) {
        const std::string wrong = wrongTwins();
        found.add(wrong.empty() ? wrongTwinFiles() : wrong);
        found.made += 3;
    }
    return found;
}

/// Enough for a thread that traces.
constexpr std::size_t smallStack = 128 * 1024;

struct longname
{
    std::string signature;
    std::string wrong = "no such thread";
};

void useLongName(void* argument)
{
    longname& tested = *static_cast<longname*>(argument);
    const actingsink sink(1);
    const attached attachment(sink, tl_info);
    const hashedfunction* function = nullptr;
    {
        traceobject stream(function, tested.signature.c_str());
        trace::setLevel(tl_debug, function->name());
        stream.reset();
        stream(tl_debug) << L"within" << std::endl;
        trace::flush(0);
        trace::setLevel(tl_error, L"a"); // changes a copy of all levels
        trace::level(std::string(tested.signature));
        trace::clearLevels(function->name());
        trace::clearLevels(tl_info);
    }
    tested.wrong = trace::sync(generousWait) && sink.written() == 1 ? "" : "its line is missing";
}

outcome longNames(const std::vector<std::string>& signatures)
{
    outcome found;
    for (const std::string& signature : signatures) {
        longname tested{signature};
        foreignthread::run(useLongName, &tested, smallStack);
        ++found.made;
        found.lost += tested.wrong.empty() ? 0U : 1U;
        found.add(tested.wrong);
    }
    return found;
}

std::string repeated(const std::string& part, std::size_t count)
{
    std::string text;
    text.reserve(part.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

/// One long component, and brackets of all kinds that are opened and closed or not.
std::vector<std::string> longSignatures(std::size_t length)
{
    return {
        std::string(length, 'x'),
        std::string(length, '('),
        std::string(length, '<'),
        "void f(" + std::string(length / 2, '(') + std::string(length / 2, ')') + ')',
        "void c" + std::string(length / 2, '<') + std::string(length / 2, '>') + "::f()",
        "void f() [with T = " + repeated("a<", length / 4) + repeated("> ", length / 4) + ']',
    };
}

outcome manyComponents(unsigned long long times)
{
    const std::size_t count = 100000 * static_cast<std::size_t>(times);
    return longNames({"void a" + repeated("::a", count) + "()", repeated("::", count)});
}

outcome longSignature(unsigned long long times)
{
    constexpr std::size_t million = 1000000;
    return longNames(longSignatures(million * static_cast<std::size_t>(times)));
}

} // namespace

group inputRows()
{
    return {
        "input",
        {
            {"hostile-text",
             {2, 100, 2, 20},
             "null, empty, invalid multibyte text, lone surrogates, NUL, line feeds, escapes, a "
             "million characters, on all roads to a line, in the locales C and, on Linux, C.UTF-8",
             "Text comes to a sink as it was written, up to a NUL; of narrow text, each byte that "
             "is "
             "none in the locale becomes a question mark; a file's line stops where a character "
             "cannot be "
             "converted, and the next one is whole.",
             hostileText},
            {"hostile-names",
             {1, 200, 1, 50},
             "null, empty and malformed signatures are registered, and used as names",
             "Any text is a function's signature and a name of a level.",
             hostileNameRounds},
            {"hostile-levels",
             {1, 50, 1, 10},
             "lines and sinks of levels from the smallest integer to the largest",
             "A line reaches a sink exactly when its level is not greater than the sink's.",
             hostileLevels},
            {"hostile-limits",
             {1, 100, 1, 20},
             "rotation by 2^54 KiB, days and files and more, 10^9 files, none",
             "Limits are multiplied as unsigned numbers of 64 bits, which may wrap; any number of "
             "files costs what the files cost that there are.",
             hostileLimits},
            {"two-names-one-hash",
             {1, 100, 1, 20},
             "two functions' names with one hash, and two files'",
             "To levels the two are one name, to sinks one file: the second replaces the first. "
             "Lines have their own function's name.",
             twins},
            {"million-components",
             {1, 10, 1, 10},
             "names of one million components (in the short form 100,000) on a stack of 128 KiB",
             "No recursion grows with a name.",
             manyComponents},
            {"long-signature",
             {1, 100, 1, 20},
             "signatures of 100 million characters (Wine: 20; in the short form one), brackets of "
             "all "
             "kinds among them, on a stack of 128 KiB",
             "No recursion grows with a signature.",
             longSignature},
        }};
}

} // namespace reliability
