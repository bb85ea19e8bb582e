#include <tolvane/noncopyable.h>

#include <catch2/catch.hpp>

#include <type_traits>

namespace {

class unassigned : public tolvane::nonassignable_::nonassignable
{};

class uncopied : public tolvane::noncopyable_::noncopyable
{};

} // namespace

TEST_CASE("what derives from the mixins cannot be assigned, or not even copied", "[support]")
{
    CHECK_FALSE(std::is_copy_assignable_v<unassigned>);
    CHECK_FALSE(std::is_move_assignable_v<unassigned>);
    CHECK(std::is_copy_constructible_v<unassigned>);
    CHECK_FALSE(std::is_copy_assignable_v<uncopied>);
    CHECK_FALSE(std::is_copy_constructible_v<uncopied>);
    CHECK_FALSE(std::is_move_constructible_v<uncopied>);
}

TEST_CASE("the mixins hold nothing but the way to their destructor", "[support]")
{
    CHECK(std::has_virtual_destructor_v<unassigned>);
    CHECK(std::has_virtual_destructor_v<uncopied>);
    CHECK(sizeof(unassigned) == sizeof(void*));
    CHECK(sizeof(uncopied) == sizeof(void*));
    CHECK(std::is_base_of_v<tolvane::nonassignable_::nonassignable,
                            tolvane::noncopyable_::noncopyable>);
    CHECK_FALSE(std::is_default_constructible_v<tolvane::nonassignable_::nonassignable>);
}
