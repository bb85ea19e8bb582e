#include "tests/helpers/filechildtest.h"

#include <catch2/catch.hpp>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>

namespace {

/// The numbers of lines like "name: number". A number that is none is 0.
std::map<std::string, unsigned long long> numbersOf(const std::string& sayings)
{
    std::map<std::string, unsigned long long> numbers;
    std::istringstream lines(sayings);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos) {
            numbers[line.substr(0, colon)] = std::strtoull(line.c_str() + colon + 2, nullptr, 10);
        }
    }
    return numbers;
}

/// Gives the test's own folder its rights back, so that it can be removed.
class rightsguard
{
public:
    explicit rightsguard(const temporaryfolder& folder) : m_path(folder.path()) {}
    ~rightsguard()
    {
        std::error_code ignored;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all, ignored);
    }

    rightsguard(const rightsguard&) = delete;
    rightsguard& operator=(const rightsguard&) = delete;

private:
    std::filesystem::path m_path;
};

} // namespace

TEST_CASE("a full disk costs the lines that do not fit, tears none, and takes lines again",
          "[integration][files]")
{
    const temporaryfolder folder;

    const std::string said = sayingsOf("fullDisk", folder);
    if (said == "refused\n") {
        WARN("the system does not let tests mount a disk");
        return;
    }

    CAPTURE(said);
    auto numbers = numbersOf(said);
    CHECK(said.find("torn") == std::string::npos);
    CHECK(numbers["whole while full"] > 100);
    CHECK(numbers["whole while full"] + numbers["lost while full"] == 1000);
    CHECK(numbers["lost with room again"] == 0);
    CHECK(numbers["whole with room again"] == numbers["whole while full"] + 50);
}

TEST_CASE("a file at its size limit loses the lines that do not fit, and tears none",
          "[integration][files]")
{
    const temporaryfolder folder;

    const std::string said = sayingsOf("sizeLimit", folder);

    CAPTURE(said);
    auto numbers = numbersOf(said);
    CHECK(said.find("torn") == std::string::npos);
    CHECK(numbers["whole at the limit"] > 100);
    CHECK(numbers["whole at the limit"] + numbers["lost at the limit"] == 1000);
    CHECK(numbers["lost in all"] == numbers["lost at the limit"]);
    CHECK(numbers["whole in all"] == numbers["whole at the limit"] + 50);
}

TEST_CASE("a device that takes nothing loses every line, and counts them", "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("fullDevice", folder) == "lost: 100\n");
}

TEST_CASE("a pipe without a reader holds up nobody, and one whose reader stopped no other sink",
          "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("unreadPipe", folder) == "nobody waited: 1\n"
                                             "lost without a reader: 100\n"
                                             "beside it: 100\n"
                                             "lost with a reader: 100\n"
                                             "lost by a reader who stopped: 1\n"
                                             "lost by others: 0\n"
                                             "beside it: 1605\n");
}

TEST_CASE("a file that may not be written loses its lines", "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("readOnlyFile", folder) == "lost: 10\n"
                                               "in the file: 0\n");
}

TEST_CASE("a file whose folder may not be written keeps its lines, but for the one that makes it "
          "old",
          "[integration][files]")
{
    const temporaryfolder folder;
    const rightsguard guard(folder);

    const childresult result =
        childprocess::run(childprocess::beside("tolvane_file_child"),
                          {"readOnlyFolder", folder.path().string()}, {{"TZ", "ABC-24:30"}});

    CHECK(result.output == "lost, all for the new file: 10\n"
                           "in the old file: 9\n");
}

TEST_CASE("a rotation in a folder that nobody may list keeps all old files", "[integration][files]")
{
    const temporaryfolder folder;
    const rightsguard guard(folder);

    sayingsOf("unlistableFolder", folder);

    std::filesystem::permissions(folder.path(), std::filesystem::perms::owner_all);
    CHECK(folder.entries() == 102);
    CHECK_FALSE(folder.read("trace.log.0").empty());
    for (int number = 0; number < 100; ++number) {
        CHECK(folder.read("trace.log." + std::to_string(number + 1)) == std::to_string(number));
    }
}

TEST_CASE("stamps follow new rules of the zone that a variable names", "[integration][files]")
{
    const temporaryfolder folder;

    CHECK(sayingsOf("changingZone", folder) == "stamps are ahead by 3600\n"
                                               "stamps are ahead by -7200\n");
}

TEST_CASE("stamps follow a change of the system's zone", "[integration][files]")
{
    const temporaryfolder folder;

    const std::string said = sayingsOf("changingSystemsZone", folder);
    if (said == "refused\n") {
        WARN("the system does not let tests mount a file");
        return;
    }

    CHECK(said == "stamps are ahead by 3600\n"
                  "stamps are ahead by -7200\n");
}
