#include "trace/packedlines.h"

#include "tests/helpers/allocations.h"
#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/stagetest.h"
#include "trace/lineunpacker.h"

#include <catch2/catch.hpp>

#include <new>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string bytes(const queuedline& line)
{
    return std::string(reinterpret_cast<const char*>(line.payload()), line.size);
}

std::vector<std::string> allBytes(const packedlines& lines)
{
    std::vector<std::string> found;
    for (const queuedline& line : lines) {
        found.push_back(bytes(line));
    }
    return found;
}

/// A line that comes by way of a stage.
class stagedtext
{
public:
    explicit stagedtext(std::string_view bytes, tracelevel_t level = tl_info)
    {
        m_stage.write(bytes, level);
    }

    /// With a text in a block of its own.
    explicit stagedtext(tolvane::string* owned)
    {
        m_stage.write({reinterpret_cast<const char*>(&owned), sizeof owned});
        line().form = packedline::textblock;
    }

    stagedline& line() { return *m_stage.get().oldest(endOfTime); }

private:
    teststage m_stage;
};

void append(packedlines& lines, std::string_view text, tracelevel_t level = tl_info)
{
    stagedtext staged(text, level);
    lines.append(staged.line(), {7});
}

/// Makes no std::wstring, whose memory may come from elsewhere than what is counted.
bool hasText(const queuedline& line, const std::wstring& text)
{
    lineunpacker unpacker;
    formattedline record(unpacker.unpack(line));
    return formattedlinetest::body(record).c_str() == text;
}

} // namespace

TEST_CASE("packed lines come out as they were staged, in their order", "[trace]")
{
    packedlines lines;
    std::vector<std::string> expected;
    for (std::size_t size = 0; size <= packedline::longestPayload; ++size) {
        expected.emplace_back(size, static_cast<char>('a' + size % 26));
        append(lines, expected.back(), static_cast<tracelevel_t>(size % 6));
    }

    CHECK(lines.size() == expected.size());
    CHECK(allBytes(lines) == expected);
    std::size_t size = 0;
    for (const queuedline& line : lines) {
        CHECK(line.level == static_cast<tracelevel_t>(size++ % 6));
        CHECK(line.threadId == 7);
        CHECK(line.function == &teststage::function());
        CHECK(line.time != 0);
    }
}

TEST_CASE("packed lines own the blocks that they refer to", "[trace]")
{
    const std::wstring text(5000, L'x');
    const unsigned long long before = allocations::alive();
    {
        packedlines lines;
        {
            stagedtext staged(new tolvane::string(text.c_str()));
            lines.append(staged.line(), {7});
        } // the stage is gone
        CHECK(hasText(*lines.begin(), text));

        packedlines moved(std::move(lines));
        CHECK(hasText(*moved.begin(), text));
        CHECK(hasText(*moved.begin(), text)); // may be asked for again
    }
    CHECK(allocations::alive() == before);
}

TEST_CASE("refused lines are dropped from among packed ones, from a place on", "[trace]")
{
    packedlines lines;
    append(lines, "first", tl_debug);
    append(lines, "second", tl_info);
    const std::size_t from = lines.bytes();
    append(lines, "third, longer than the others", tl_debug);
    append(lines, "fourth", tl_info);
    append(lines, "fifth", tl_debug);
    append(lines, "sixth and last", tl_error);
    const auto isRefused = [](const hashedfunction& function, tracelevel_t level) {
        CHECK(&function == &teststage::function());
        return level > tl_info;
    };

    CHECK(lines.prune(from, isRefused) == 2);
    CHECK(allBytes(lines) ==
          std::vector<std::string>{"first", "second", "fourth", "sixth and last"});
    CHECK(lines.prune(0, isRefused) == 1);
    CHECK(allBytes(lines) == std::vector<std::string>{"second", "fourth", "sixth and last"});
    CHECK(lines.size() == 3);
    append(lines, "seventh");
    CHECK(allBytes(lines).back() == "seventh");
    CHECK(packedlines().prune(0, isRefused) == 0);
}

TEST_CASE("a refused line gives its block back", "[trace]")
{
    packedlines lines;
    {
        stagedtext staged(new tolvane::string(std::wstring(5000, L'x').c_str()));
        lines.append(staged.line(), {7});
    }
    const unsigned long long before = allocations::alive();

    lines.prune(0, [](const hashedfunction&, tracelevel_t) { return true; });

    CHECK(lines.size() == 0);
    CHECK(allocations::alive() < before);
}

TEST_CASE("without memory for one more, packed lines stay as they were", "[trace]")
{
    packedlines lines;
    std::size_t appended = 0;
    for (; lines.bytes() == 0 || lines.capacity() - lines.bytes() > 600; ++appended) {
        append(lines, std::string(500, 'x'));
    }
    auto* const text = new tolvane::string(L"kept in the stage");
    stagedtext staged(text);
    {
        stagedtext longer(std::string(1000, 'y'));
        const allocations::failure failure(0);
        CHECK_THROWS_AS(lines.append(longer.line(), {7}), std::bad_alloc);
    }

    CHECK(lines.size() == appended);
    CHECK(allBytes(lines) == std::vector<std::string>(appended, std::string(500, 'x')));
    lines.append(staged.line(), {7});
    CHECK_FALSE(staged.line().hasBlock());
}

TEST_CASE("where there is no memory for many lines there may be for one", "[trace]")
{
    packedlines lines;
    append(lines, "first");
    stagedtext longer(std::string(packedline::longestPayload, 'y'));
    const std::size_t room = lines.capacity();
    while (lines.capacity() - lines.bytes() > packedline::longestPayload) {
        append(lines, std::string(500, 'x'));
    }
    {
        const allocations::nothrowfailure failure; // of what is not asked for without need
        lines.append(longer.line(), {7});
    }

    CHECK(allBytes(lines).back() == std::string(packedline::longestPayload, 'y'));
    CHECK(lines.capacity() < 2 * room);
}

TEST_CASE("packed lines that are emptied keep their memory", "[trace]")
{
    packedlines lines;
    append(lines, "a line");
    const std::size_t room = lines.capacity();

    lines.clear();

    CHECK(lines.size() == 0);
    CHECK(lines.bytes() == 0);
    CHECK(lines.capacity() == room);
    CHECK_FALSE(lines.begin() != lines.end());
}

TEST_CASE("a record made of a line has nothing of the line before", "[trace]")
{
    packedlines lines;
    {
        stagedtext staged(new tolvane::string(L"a text in a block"));
        lines.append(staged.line(), {1});
    }
    queuedline& marker = lines.prepare(0);
    marker.threadId = 2;
    marker.time = 12345;
    marker.function = &teststage::function();
    marker.level = tl_trace;
    marker.size = 0;
    marker.type = formattedline::tt_exiting;
    marker.form = packedline::noText;
    lines.add(marker);
    lineunpacker unpacker;
    static_cast<void>(formattedlinetest::render(unpacker.unpack(*lines.begin())));

    packedlines::iterator second = lines.begin();
    formattedline record(unpacker.unpack(*++second));

    CHECK(formattedlinetest::formatted(record).empty());
    CHECK(formattedlinetest::body(record).empty());
    CHECK(formattedlinetest::type(record) == formattedline::tt_exiting);
    CHECK(formattedlinetest::level(record) == tl_trace);
    CHECK(formattedlinetest::time(record) == 12345);
    CHECK(formattedlinetest::threadId(record) == 2);
    CHECK(formattedlinetest::function(record) == &teststage::function());
}

TEST_CASE("a record gives the memory of a long text back with the next line", "[trace]")
{
    packedlines lines;
    {
        stagedtext staged(new tolvane::string(std::wstring(10000, L'x').c_str()));
        lines.append(staged.line(), {1});
    }
    append(lines, "");
    lineunpacker unpacker;
    const unsigned long long before = allocations::alive();
    unpacker.unpack(*lines.begin());
    const unsigned long long withLong = allocations::alive();

    packedlines::iterator second = lines.begin();
    unpacker.unpack(*++second);

    CHECK(withLong > before);
    CHECK(allocations::alive() == before);
}
