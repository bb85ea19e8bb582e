#include "support/posix/zonefile.h"

#include "tests/helpers/posix/zonefilebytes.h"
#include "tests/helpers/posix/zoneguard.h"

#include <catch2/catch.hpp>

#include <time.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

using tolvane::ZoneFile;

namespace {

std::string bytesOf(const std::filesystem::path& path)
{
    std::ifstream stream(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

const zonefilebytes sample = {3600, 7200, {{1000, 1}, {2000, 0}, {3000, 1}}, "ABC-3", 0};

} // namespace

TEST_CASE("a zone's file tells the offset before, between and behind its changes",
          "[support][clock]")
{
    for (const char version : {'\0', '2', '3', '4'}) {
        CAPTURE(static_cast<int>(version));
        ZoneFile zone;
        REQUIRE(zone.parse(sample.write(version)));

        CHECK(zone.offset(-5) == 3600);
        CHECK(zone.offset(999) == 3600);
        CHECK(zone.offset(1000) == 7200);
        CHECK(zone.offset(1999) == 7200);
        CHECK(zone.offset(2000) == 3600);
        CHECK(zone.offset(3000) == (version == 0 ? 7200 : 10800));
        CHECK(zone.offset(1700000000) == (version == 0 ? 7200 : 10800));
    }
}

TEST_CASE("a zone's file without a rule or changes has the last offset, or its first one",
          "[support][clock]")
{
    ZoneFile zone;
    REQUIRE(zone.parse(zonefilebytes{-5, 7, {{10, 1}}, "", 0}.write()));
    CHECK(zone.offset(9) == -5);
    CHECK(zone.offset(1700000000) == 7);

    REQUIRE(zone.parse(zonefilebytes{-5, 7, {}, "", 0}.write()));
    CHECK(zone.offset(1700000000) == -5);
}

TEST_CASE("times beyond 32 bits come from the second half of a zone's file", "[support][clock]")
{
    ZoneFile zone;
    REQUIRE(zone.parse(zonefilebytes{1, 2, {{5000000000, 1}}, "", 0}.write()));

    CHECK(zone.offset(4999999999) == 1);
    CHECK(zone.offset(5000000000) == 2);
}

TEST_CASE("what is no zone's file, or not a whole one, is refused", "[support][clock]")
{
    const std::string whole = sample.write();
    const std::string rule = "\nABC-3\n";
    ZoneFile zone;
    for (std::size_t size = 0; size < whole.size() - rule.size(); ++size) {
        CAPTURE(size);
        CHECK_FALSE(zone.parse(whole.substr(0, size)));
    }
    CHECK_FALSE(zone.parse("root:x:0:0:root:/root:/bin/bash"));
    CHECK_FALSE(zone.parse(zonefilebytes{0, 0, {{1, 2}}, "", 0}.write())); // no such kind
    CHECK_FALSE(zone.parse(zonefilebytes{0, 0, {}, "no rule", 0}.write()));
    CHECK_FALSE(zone.parse(zonefilebytes{0, 0, {}, "", 1}.write())); // counts leap seconds
}

TEST_CASE("no bytes in a zone's file do any harm", "[support][clock]")
{
    std::mt19937 random(8536);
    const std::string whole = sample.write();
    for (int round = 0; round < 5000; ++round) {
        std::string bytes = whole;
        for (unsigned long changes = 1 + random() % 4; changes > 0; --changes) {
            bytes[random() % bytes.size()] = static_cast<char>(random());
        }
        ZoneFile zone;
        if (zone.parse(bytes)) {
            zone.offset(static_cast<long long>(random() % 5000000000));
        }
    }
}

TEST_CASE("the zones of the system have the offsets that the C library gives them",
          "[support][clock]")
{
    const std::filesystem::path folder = "/usr/share/zoneinfo";
    if (!std::filesystem::exists(folder)) {
        WARN("this system has no time zones");
        return;
    }
    const zoneguard guard;
    std::mt19937_64 random(1);
    for (const char* const name :
         {"UTC", "Europe/Berlin", "Europe/Dublin", "America/New_York", "America/Sao_Paulo",
          "Africa/Casablanca", "Africa/Cairo", "Asia/Kolkata", "Asia/Gaza", "Asia/Tehran",
          "Australia/Lord_Howe", "Antarctica/Troll", "Pacific/Apia", "Pacific/Chatham",
          "America/Nuuk", "America/Scoresbysund", "Asia/Kathmandu"}) {
        CAPTURE(name);
        if (!std::filesystem::exists(folder / name)) {
            continue;
        }
        ZoneFile zone;
        REQUIRE(zone.parse(bytesOf(folder / name)));
        zoneguard::enter(name);
        for (int i = 0; i < 20000; ++i) {
            const auto second = static_cast<long long>(random() % 6000000000); // until 2160
            tm local = {};
            const time_t time = second;
            localtime_r(&time, &local);
            if (zone.offset(second) != local.tm_gmtoff) {
                CAPTURE(second);
                CHECK(zone.offset(second) == local.tm_gmtoff);
                break;
            }
        }
    }
}
