#include "support/filesystem.h"

#include "tests/helpers/allocations.h"
#include "tests/helpers/openfile.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <chrono>
#include <new>

using tolvane::FileSystem;

namespace {

void make(const temporaryfolder& folder, const std::string& name, const std::string& bytes = "")
{
    std::ofstream(folder.file(name), std::ios::binary) << bytes;
}

std::vector<unsigned long long> numbersBehind(const std::string& path)
{
    std::vector<unsigned long long> numbers;
    REQUIRE(FileSystem::platform().numbersBehind(path, numbers));
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool lacksMemory(const FileSystem& files, const std::string& path)
{
    std::vector<unsigned long long> numbers;
    try {
        files.numbersBehind(path, numbers);
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

} // namespace

TEST_CASE("a file's status tells its size and when it was created", "[support]")
{
    const temporaryfolder folder;
    const auto now =
        static_cast<unsigned long long>(std::chrono::duration_cast<std::chrono::seconds>(
                                            std::chrono::system_clock::now().time_since_epoch())
                                            .count());
    make(folder, "file", "12345");

    tolvane::FileStatus status;
    REQUIRE(FileSystem::platform().status(folder.file("file"), status));

    CHECK(status.size == 5);
    CHECK(status.created + 60 > now);
    CHECK(status.created < now + 3600);
}

TEST_CASE("a folder has no size, whatever is in it", "[support]")
{
    const temporaryfolder folder;
    make(folder, "file", "12345");

    tolvane::FileStatus status{7, 8};
    REQUIRE(FileSystem::platform().status(folder.path().string(), status));

    CHECK(status.size == 0);
}

TEST_CASE("files and folders exist, and other names do not", "[support]")
{
    const temporaryfolder folder;
    make(folder, "file");
    const FileSystem& files = FileSystem::platform();

    CHECK(files.exists(folder.file("file")));
    CHECK(files.exists(folder.path().string()));
    CHECK_FALSE(files.exists(folder.file("missing")));
    CHECK_FALSE(files.exists(""));
}

TEST_CASE("a folder in a file's place is not deleted, though it is empty", "[support]")
{
    const temporaryfolder folder;
    std::filesystem::create_directory(folder.file("sub"));

    FileSystem::platform().remove(folder.file("sub"));

    CHECK(folder.has("sub"));
}

TEST_CASE("what has the new name already is not replaced, be it a file or an empty folder",
          "[support]")
{
    const temporaryfolder folder;
    const FileSystem& files = FileSystem::platform();
    make(folder, "file", "text");
    make(folder, "taken", "other text");
    std::filesystem::create_directory(folder.file("sub"));
    std::filesystem::create_directory(folder.file("taken-sub"));

    files.rename(folder.file("file"), folder.file("taken"));
    files.rename(folder.file("sub"), folder.file("taken-sub"));

    CHECK(folder.read("file") == "text");
    CHECK(folder.read("taken") == "other text");
    CHECK(folder.entries() == 4);
}

TEST_CASE("a missing file has no status, and neither has an empty name", "[support]")
{
    const temporaryfolder folder;
    tolvane::FileStatus status{7, 8};

    CHECK_FALSE(FileSystem::platform().status(folder.file("missing"), status));
    CHECK_FALSE(FileSystem::platform().status("", status));
    CHECK(status.size == 7);
    CHECK(status.created == 8);
}

TEST_CASE("files are deleted and renamed, and missing ones ignored", "[support]")
{
    const temporaryfolder folder;
    make(folder, "a", "text");
    make(folder, "b");
    const FileSystem& files = FileSystem::platform();

    files.remove(folder.file("b"));
    files.rename(folder.file("a"), folder.file("b"));
    files.remove(folder.file("missing"));
    files.rename(folder.file("missing"), folder.file("c"));

    CHECK(folder.read("b") == "text");
    CHECK(folder.entries() == 1);
}

TEST_CASE("a file is made empty, or emptied", "[support]")
{
    const temporaryfolder folder;
    make(folder, "full", "text");

    FileSystem::platform().createEmpty(folder.file("full"));
    FileSystem::platform().createEmpty(folder.file("new"));
    FileSystem::platform().createEmpty(folder.file("missing-folder/new"));

    CHECK(folder.has("full"));
    CHECK(folder.read("full").empty());
    CHECK(folder.has("new"));
    CHECK(folder.entries() == 2);
}

TEST_CASE("the numbers behind a name are those of its numbered files", "[support]")
{
    const temporaryfolder folder;
    for (const char* const name :
         {"trace.log", "trace.log.0", "trace.log.12", "trace.log.007", "trace.log.1x", "trace.log.",
          "trace.log.18446744073709551615", "trace.log.18446744073709551616"}) {
        make(folder, name);
    }

    const std::vector<unsigned long long> expected = {0, 12, 18446744073709551615ULL};
    CHECK(numbersBehind(folder.file("trace.log")) == expected);
}

TEST_CASE("a name without numbered files has no numbers behind it", "[support]")
{
    const temporaryfolder folder;

    CHECK(numbersBehind(folder.file("trace.log")).empty());
}

TEST_CASE("a folder that is not there cannot be listed", "[support]")
{
    const temporaryfolder folder;
    std::vector<unsigned long long> numbers;

    CHECK_FALSE(FileSystem::platform().numbersBehind(folder.file("missing/trace.log"), numbers));
}

TEST_CASE("a folder's list for which there is no memory leaves nothing open", "[support]")
{
    constexpr unsigned long long rounds = 20;
    const temporaryfolder folder;
    make(folder, "trace.log.1");
    const std::string path = folder.file("trace.log");
    const FileSystem& files = FileSystem::platform();
    const std::size_t before = openfile::openNumber();
    unsigned long long failures = 0;
    for (unsigned long long round = 0; round < rounds; ++round) {
        bool failed = true;
        for (unsigned long long after = 0; failed; ++after) {
            const allocations::failure failing(after);
            failed = lacksMemory(files, path);
            failures += failed ? 1 : 0;
        }
    }

    CHECK(failures >= rounds);
    CHECK(openfile::openNumber() < before + rounds);
}
