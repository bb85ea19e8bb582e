#include "support/appendlines.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using tolvane::FileEnd;
using tolvane::TornEnds;

/// A file that is open, or not, and has limited room.
struct scriptedfile
{
    bool isOpen() const { return opens; }
    bool isStuck() const { return stuck; }

    std::size_t write(const char* from, std::size_t count)
    {
        const std::size_t written = std::min(room, count);
        bytes.append(from, written);
        room -= written;
        ++writes;
        return written;
    }

    int error() const { return room == 0 || !opens ? 28 : 0; }

    bool cut(std::size_t count)
    {
        if (canBeCut) {
            bytes.resize(bytes.size() - count);
        }
        return canBeCut;
    }

    bool end(FileEnd& end) const
    {
        end.file.number = number;
        end.size = bytes.size();
        return true;
    }

    std::string bytes;
    std::size_t room = ~std::size_t{0};
    unsigned long long number = 1;
    bool opens = true;
    bool stuck = false;
    bool canBeCut = true;
    int writes = 0;
};

/// Lines of a text, which all end in "\r\n".
tolvane::Appended append(scriptedfile& file, TornEnds& tornEnds, const std::string& text)
{
    std::vector<std::size_t> ends;
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        ends.push_back(at + 1);
    }
    return tolvane::appendLines(file, {text.data(), 0, ends.data(), ends.size()}, tornEnds);
}

} // namespace

TEST_CASE("lines that fit are written with one write", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;

    const tolvane::Appended appended = append(file, tornEnds, "one\r\ntwo\r\n");

    CHECK(appended.lines == 2);
    CHECK(file.bytes == "one\r\ntwo\r\n");
    CHECK(file.writes == 1);
}

TEST_CASE("lines are taken from where they start", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    const std::string text = "one\r\ntwo\r\nthree\r\n";
    const std::size_t ends[] = {10, 17};
    file.room = 11;

    CHECK(tolvane::appendLines(file, {text.data(), 5, ends, 2}, tornEnds).lines == 1);

    CHECK(file.bytes == "two\r\n");
}

TEST_CASE("of lines that do not all fit the whole ones stay, wherever the room ends", "[support]")
{
    const std::string text = "one\r\na line\r\n\r\n";
    for (std::size_t room = 0; room <= text.size(); ++room) {
        CAPTURE(room);
        scriptedfile file;
        TornEnds tornEnds;
        file.bytes = "before\r\n";
        file.room = room;

        const tolvane::Appended appended = append(file, tornEnds, text);

        CHECK(appended.lines == (room < 5 ? 0U : room < 13 ? 1U : room < 15 ? 2U : 3U));
        CHECK(file.bytes == "before\r\n" + text.substr(0, room < 5    ? 0
                                                          : room < 13 ? 5
                                                          : room < 15 ? 13
                                                                      : 15));
        CHECK(tornEnds.isEmpty());
    }
}

TEST_CASE("a part of a line that cannot be removed is ended before the next line", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    file.canBeCut = false;
    file.room = 3;
    CHECK(append(file, tornEnds, "a line\r\n").lines == 0);

    file.room = 100;
    CHECK(append(file, tornEnds, "next\r\n").lines == 1);
    CHECK(append(file, tornEnds, "last\r\n").lines == 1);

    CHECK(file.bytes == "a l\r\nnext\r\nlast\r\n");
    CHECK(tornEnds.isEmpty());
}

TEST_CASE("a part is ended as the lines behind it end", "[support][lineend]")
{
    scriptedfile file;
    TornEnds tornEnds;
    const std::size_t end = 4;
    const tolvane::Lines line = {"one\n", 0, &end, 1, tolvane::lineend::lf};
    file.canBeCut = false;
    file.room = 2;
    CHECK(tolvane::appendLines(file, line, tornEnds).lines == 0);
    file.room = 100;

    CHECK(tolvane::appendLines(file, line, tornEnds).lines == 1);

    CHECK(file.bytes == "on\none\n");
}

TEST_CASE("while there is no room for the line end of a part, no line runs into it", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    file.canBeCut = false;
    file.room = 3;
    append(file, tornEnds, "a line\r\n");

    file.room = 1;
    CHECK(append(file, tornEnds, "x\r\n").lines == 0);
    file.room = 0;
    CHECK(append(file, tornEnds, "x\r\n").lines == 0);
    file.room = 100;
    CHECK(append(file, tornEnds, "next\r\n").lines == 1);

    CHECK(file.bytes == "a l\r\r\nnext\r\n");
}

TEST_CASE("a part that somebody else has written behind is left to them", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    file.canBeCut = false;
    file.room = 3;
    append(file, tornEnds, "a line\r\n");
    file.bytes += "theirs\r\n";

    file.room = 100;
    CHECK(append(file, tornEnds, "next\r\n").lines == 1);

    CHECK(file.bytes == "a ltheirs\r\nnext\r\n");
}

TEST_CASE("another file of the same size has no part of a line", "[support]")
{
    scriptedfile torn;
    scriptedfile other;
    TornEnds tornEnds;
    torn.canBeCut = false;
    torn.room = 3;
    other.number = 2;
    other.bytes = "abc";
    append(torn, tornEnds, "a line\r\n");

    append(other, tornEnds, "next\r\n");

    CHECK(other.bytes == "abcnext\r\n");
    CHECK_FALSE(tornEnds.isEmpty());
}

TEST_CASE("a part that is gone from its file is forgotten with the next line", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    file.canBeCut = false;
    file.room = 3;
    append(file, tornEnds, "a line\r\n");
    file.bytes.clear();
    file.room = 100;

    append(file, tornEnds, "x\r\n"); // as long as the part was

    append(file, tornEnds, "y\r\n");
    CHECK(file.bytes == "x\r\ny\r\n");
    CHECK(tornEnds.isEmpty());
}

TEST_CASE("a file that is not open takes nothing", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    file.opens = false;

    const tolvane::Appended appended = append(file, tornEnds, "one\r\n");

    CHECK(appended.lines == 0);
    CHECK(file.writes == 0);
}

TEST_CASE("it is told when nobody reads at the other end, of a part's line end, too", "[support]")
{
    scriptedfile file;
    TornEnds tornEnds;
    file.canBeCut = false;
    file.room = 2;
    file.stuck = true;

    CHECK(append(file, tornEnds, "one\r\n").isStuck);
    CHECK(append(file, tornEnds, "two\r\n").isStuck);
    file.stuck = false;
    file.room = 100;
    CHECK_FALSE(append(file, tornEnds, "three\r\n").isStuck);
}

TEST_CASE("ends are remembered until they are forgotten, the last eight of them", "[support]")
{
    TornEnds tornEnds;
    const auto end = [](unsigned long long number) { return FileEnd{{0, number}, 10}; };
    for (unsigned long long number = 1; number <= 11; ++number) {
        tornEnds.remember(end(number));
    }

    for (unsigned long long number = 1; number <= 11; ++number) {
        CAPTURE(number);
        CHECK(tornEnds.forget(end(number)) == (number > 3));
        CHECK_FALSE(tornEnds.forget(end(number)));
    }
    CHECK(tornEnds.isEmpty());
    CHECK_FALSE(tornEnds.forget(FileEnd()));

    tornEnds.remember(end(20));
    tornEnds.remember(end(21));
    CHECK(tornEnds.forget(end(21)));
    CHECK(tornEnds.forget(end(20)));
}

TEST_CASE("what the system has refused is told", "[support]")
{
    TornEnds tornEnds;
    scriptedfile file;
    CHECK(append(file, tornEnds, "one\r\n").error == 0);

    file.room = 2;
    CHECK(append(file, tornEnds, "one\r\n").error == 28);

    file.opens = false;
    CHECK(append(file, tornEnds, "one\r\n").error == 28);
}
