#include "support/file.h"

#include "support/appendedfile.h"

#include "tests/helpers/openfile.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <filesystem>
#include <string>

namespace {

/// As one line, whatever they are.
tolvane::Appended append(const std::string& path, const std::string& bytes)
{
    const std::size_t end = bytes.size();
    return tolvane::appendToFile(path, {bytes.data(), 0, &end, 1}, true);
}

/// \return whether all bytes were appended.
bool appendToFile(const std::string& path, const std::string& bytes)
{
    return append(path, bytes).lines == 1;
}

} // namespace

TEST_CASE("bytes are appended to a file as they are", "[support]")
{
    const temporaryfolder folder;
    const std::string bytes("a\nb\r\n\0\x1A\xFF", 8);

    CHECK(appendToFile(folder.file("file"), bytes));
    CHECK(appendToFile(folder.file("file"), "more"));

    CHECK(folder.read("file") == bytes + "more");
}

TEST_CASE("appending nothing makes the file", "[support]")
{
    const temporaryfolder folder;

    CHECK(appendToFile(folder.file("file"), ""));

    CHECK(folder.has("file"));
    CHECK(folder.read("file").empty());
}

TEST_CASE("many bytes are appended whole", "[support]")
{
    const temporaryfolder folder;
    const std::string many(3000000, 'x');

    CHECK(appendToFile(folder.file("file"), many));

    CHECK(folder.read("file") == many);
}

TEST_CASE("a file that cannot be opened takes nothing and makes nothing", "[support]")
{
    const temporaryfolder folder;

    for (const std::string& path :
         {std::string(), folder.path().string(), (folder.path() / "missing" / "file").string(),
          folder.file(std::string(32000, 'x'))}) {
        CHECK(append(path, "lost").lines == 0);
    }

    CHECK(folder.entries() == 0);
}

TEST_CASE("what was written last can be removed again", "[support]")
{
    const temporaryfolder folder;
    appendToFile(folder.file("file"), "before");
    {
        tolvane::AppendedFile file(folder.file("file"));
        CHECK(file.write("12345", 5) == 5);
        CHECK(file.cut(3));
    }

    CHECK(folder.read("file") == "before12");
}

TEST_CASE("what somebody else has written behind is not removed", "[support]")
{
    const temporaryfolder folder;
    {
        tolvane::AppendedFile file(folder.file("file"));
        CHECK(file.write("12345", 5) == 5);
        appendToFile(folder.file("file"), "behind");

        CHECK_FALSE(file.cut(3));
    }

    CHECK(folder.read("file") == "12345behind");
}

TEST_CASE("more than a file has cannot be removed", "[support]")
{
    const temporaryfolder folder;
    tolvane::AppendedFile file(folder.file("file"));
    file.write("12345", 5);

    CHECK_FALSE(file.cut(6));
    CHECK(folder.read("file") == "12345");
}

TEST_CASE("a file tells where it ends, whoever wrote it", "[support]")
{
    const temporaryfolder folder;
    const tolvane::AppendedFile file(folder.file("file"));
    const tolvane::AppendedFile other(folder.file("other"));
    appendToFile(folder.file("file"), "12345");
    tolvane::FileEnd end;
    tolvane::FileEnd otherEnd;

    REQUIRE(file.end(end));
    REQUIRE(other.end(otherEnd));

    CHECK(end.size == 5);
    CHECK(otherEnd.size == 0);
    CHECK_FALSE(end.file == otherEnd.file);
}

TEST_CASE("a file that somebody else has open for everything is appended to", "[support]")
{
    const temporaryfolder folder;
    {
        const openfile foreign(folder.file("file"));
        REQUIRE(foreign.isOpen());

        CHECK(appendToFile(folder.file("file"), "bytes"));
    }

    CHECK(folder.read("file") == "bytes");
}

TEST_CASE("a file is the same under each of its names, and another one is not", "[support]")
{
    const temporaryfolder folder;
    appendToFile(folder.file("first"), "x");
    appendToFile(folder.file("second"), "x");
    tolvane::FileIdentity first;
    tolvane::FileIdentity again;
    tolvane::FileIdentity second;

    CHECK(tolvane::identify(folder.file("first"), first));
    CHECK(tolvane::identify((folder.path() / "." / "first").string(), again));
    CHECK(tolvane::identify(folder.file("second"), second));

    CHECK(first == again);
    CHECK_FALSE(first == second);
}

TEST_CASE("a file that is not there has no identity", "[support]")
{
    const temporaryfolder folder;
    tolvane::FileIdentity identity;

    CHECK_FALSE(tolvane::identify(folder.file("missing"), identity));
    CHECK_FALSE(tolvane::identify("", identity));
}

TEST_CASE("a file is closed behind the bytes", "[support]")
{
    const temporaryfolder folder;
    for (int i = 0; i < 5000; ++i) { // more than a process may have open
        if (!appendToFile(folder.file("file"), "x")) {
            FAIL("no more files can be opened");
        }
    }

    CHECK(folder.read("file").size() == 5000);
    CHECK(std::filesystem::remove(folder.file("file")));
}

TEST_CASE("all of a file is read, as it is", "[support]")
{
    const temporaryfolder folder;
    const std::string many = std::string("a\r\nb\0\x1A\xFF", 7) + std::string(10000, 'x');
    appendToFile(folder.file("file"), many);
    appendToFile(folder.file("empty"), "");
    std::string bytes = "before";

    CHECK(tolvane::readFile(folder.file("file"), many.size(), bytes));
    CHECK(bytes == many);
    CHECK(tolvane::readFile(folder.file("empty"), 0, bytes));
    CHECK(bytes.empty());
}

TEST_CASE("a file that is too large, a folder and what is not there are not read", "[support]")
{
    const temporaryfolder folder;
    const std::string many(10000, 'x');
    appendToFile(folder.file("file"), many);
    std::string bytes;

    CHECK_FALSE(tolvane::readFile(folder.file("file"), many.size() - 1, bytes));
    CHECK_FALSE(tolvane::readFile(folder.path().string(), many.size(), bytes));
    CHECK_FALSE(tolvane::readFile(folder.file("none"), many.size(), bytes));
    CHECK_FALSE(tolvane::readFile("", many.size(), bytes));
}
