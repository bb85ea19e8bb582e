#include <tolvane/string.h>

#include <catch2/catch.hpp>

TEST_CASE("a string made of nothing, or of a null pointer, is empty", "[support]")
{
    CHECK(tolvane::string().empty());
    CHECK(tolvane::string(static_cast<const char*>(nullptr)).empty());
    CHECK(tolvane::string(static_cast<const wchar_t*>(nullptr)).empty());
    CHECK(std::string(tolvane::string().narrow()).empty());
}
