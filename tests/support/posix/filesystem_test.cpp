#include "support/filesystem.h"

#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <sys/stat.h>

#include <filesystem>

TEST_CASE("a link to nowhere exists, and is deleted and renamed itself", "[support]")
{
    const temporaryfolder folder;
    std::filesystem::create_symlink("nowhere", folder.file("link"));
    std::filesystem::create_symlink("nowhere", folder.file("other"));
    const tolvane::FileSystem& files = tolvane::FileSystem::platform();
    CHECK(files.exists(folder.file("link")));

    files.rename(folder.file("other"), folder.file("link"));
    CHECK(std::filesystem::is_symlink(folder.file("other")));
    files.remove(folder.file("link"));
    files.rename(folder.file("other"), folder.file("link"));

    CHECK(std::filesystem::is_symlink(folder.file("link")));
    CHECK(folder.entries() == 1);
}

TEST_CASE("a pipe in the place of a file that is to be emptied is not waited for", "[support]")
{
    const temporaryfolder folder;
    REQUIRE(::mkfifo(folder.file("pipe").c_str(), 0600) == 0);

    tolvane::FileSystem::platform().createEmpty(folder.file("pipe"));

    CHECK(std::filesystem::is_fifo(folder.file("pipe")));
}
