#include "support/file.h"

#include "tests/helpers/openfile.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <filesystem>
#include <string>

namespace {

/// \return whether all bytes were appended.
bool appendToFile(const std::string& path, const std::string& bytes)
{
    const tolvane::Appended appended = tolvane::appendToFile(path, bytes.data(), bytes.size());
    return appended.isOpened && appended.count == bytes.size();
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
         {std::string(), folder.path().string(), (folder.path() / "missing" / "file").string()}) {
        const tolvane::Appended appended = tolvane::appendToFile(path, "lost", 4);
        CHECK_FALSE(appended.isOpened);
        CHECK(appended.count == 0);
    }

    CHECK(folder.entries() == 0);
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
