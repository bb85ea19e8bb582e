#include "trace/countedptr.h"

#include "tests/helpers/allocations.h"

#include <catch2/catch.hpp>

#include <new>
#include <type_traits>

namespace {

/// Counts how many of its kind there are.
struct counted
{
    explicit counted(int& counter) : living(counter) { ++living; }
    ~counted() { --living; }

    counted(const counted&) = delete;
    counted& operator=(const counted&) = delete;

    int& living;
};

} // namespace

TEST_CASE("a counted pointer starts at one and deletes its object when it goes", "[trace]")
{
    int living = 0;
    {
        const countedptr<counted> pointer(new counted(living));

        CHECK(pointer.count() == 1);
        CHECK(living == 1);
    }
    CHECK(living == 0);
}

TEST_CASE("copying a counted pointer adds one, releasing a copy takes one away", "[trace]")
{
    int living = 0;
    const countedptr<counted> first(new counted(living));
    {
        const countedptr<counted> second(first);

        CHECK(&*second == &*first);
        CHECK(first.count() == 2);
        CHECK(second.count() == 2);
    }
    CHECK(first.count() == 1);
    CHECK(living == 1);
}

TEST_CASE("assigning to a counted pointer releases what it held", "[trace]")
{
    int living = 0;
    countedptr<counted> first(new counted(living));
    const countedptr<counted> second(new counted(living));
    countedptr<counted>* const volatile target = &first; // unknown to the optimiser, which warns

    *target = second;

    CHECK(living == 1);
    CHECK(&*first == &*second);
    CHECK(first.count() == 2);
}

TEST_CASE("assigning a counted pointer to itself changes nothing", "[trace]")
{
    int living = 0;
    countedptr<counted> pointer(new counted(living));
    countedptr<counted>* const volatile same = &pointer;

    pointer = *same;

    CHECK(pointer.count() == 1);
    CHECK(living == 1);
}

TEST_CASE("moving a counted pointer leaves the count as it is", "[trace]")
{
    static_assert(std::is_nothrow_move_constructible_v<countedptr<counted>>,
                  "a queue that grows must not copy");
    int living = 0;
    countedptr<counted> first(new counted(living));

    const countedptr<counted> second(std::move(first));

    CHECK(second.count() == 1);
    CHECK(living == 1);
}

TEST_CASE("without memory for the count, the object of a counted pointer is deleted", "[trace]")
{
    int living = 0;
    auto* const object = new counted(living);
    countedptr<counted> (*volatile make)(counted*) = [](counted* owned) {
        return countedptr<counted>(owned); // called so that the optimiser spares no count
    };
    bool failed = false;
    {
        const allocations::failure failing;
        try {
            make(object);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    }

    CHECK(failed);
    CHECK(living == 0);
}
