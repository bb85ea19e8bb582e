#include "support/prefetch.h"

#include <catch2/catch.hpp>

#include <array>
#include <cstdint>

TEST_CASE("memory that was sent for is what it was, and any address may be sent for", "[support]")
{
    std::array<unsigned char, 1000> memory;
    memory.fill(7);
    const std::array<unsigned char, 1000> before = memory;

    tolvane::prefetch(memory.data() + 3);
    tolvane::prefetch(nullptr);
    tolvane::prefetch(reinterpret_cast<const void*>(std::uintptr_t(1) << 60));

    CHECK(memory == before);
}
