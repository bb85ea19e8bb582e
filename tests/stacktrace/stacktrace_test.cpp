#include <tolvane/stacktrace.h>

#include <tolvane/hashedfunction.h>

#include "support/threadid.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/heldelsewhere.h"
#include "tests/helpers/sanitizer.h"
#include "tests/helpers/stacktracetest.h"
#include "tests/helpers/wholethread.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

using tester = stacktracetest;
using functions = std::vector<const hashedfunction*>;

static_assert(!std::is_polymorphic_v<stacktrace>);
static_assert(std::is_nothrow_move_constructible_v<stacktrace>);
static_assert(std::is_nothrow_move_assignable_v<stacktrace>);

/// Functions that live as long as registered ones do.
const hashedfunction* function(std::size_t index)
{
    static const hashedfunction all[] = {hashedfunction("a(int)"), hashedfunction("b(int)"),
                                         hashedfunction("c(int)")};
    return &all[index % 3];
}

functions contentOf(const stacktrace& stack)
{
    functions content;
    for (unsigned long long depth = 0; depth < stack.size(); ++depth) {
        content.push_back(stack[depth]);
    }
    return content;
}

stacktrace stackOf(const functions& content)
{
    stacktrace stack;
    for (const hashedfunction* const pushed : content) {
        tester::push(stack, pushed);
    }
    return stack;
}

bool contains(const std::list<stacktrace>& stacks, const functions& content)
{
    return std::any_of(stacks.begin(), stacks.end(),
                       [&content](const stacktrace& stack) { return contentOf(stack) == content; });
}

/// Runs on a thread of its own, which therefore has an empty stack.
template <class action_t>
auto onNewThread(const action_t& action)
{
    return std::async(std::launch::async, action).get();
}

const hashedfunction* const a = function(0);
const hashedfunction* const b = function(1);
const hashedfunction* const c = function(2);

/// Traces when its thread destroys its thread_local objects, and tells what is on the stack then.
functions* lateContent = nullptr;

struct latetracer
{
    ~latetracer()
    {
        // not by a member: where thread_local is emulated, the object's memory may be free already
        if (functions* const told = lateContent) {
            stacktrace::down(c);
            *told = contentOf(stacktrace::getTrace());
            stacktrace::up();
        }
    }

    void use() {}
};

thread_local latetracer late;

} // namespace

TEST_CASE("going up on a thread that was never down makes its entry and finds it empty",
          "[stacktrace]")
{
    const bool result = onNewThread([] { return stacktrace::up(); });
    const bool known = onNewThread([] {
        stacktrace::up();
        return tester::knows(tolvane::currentThreadId());
    });

    CHECK(result);
    CHECK(known);
}

TEST_CASE("a thread's stack holds what went down and has not come up", "[stacktrace]")
{
    stacktrace::down(a);
    stacktrace::down(b);
    CHECK(contentOf(stacktrace::getTrace()) == functions{a, b});
    CHECK_FALSE(stacktrace::up());
    CHECK(contentOf(stacktrace::getTrace()) == functions{a});
    stacktrace::down(c);
    CHECK(contentOf(stacktrace::getTrace()) == functions{a, c});
    CHECK_FALSE(stacktrace::up());
    CHECK(stacktrace::up());
    CHECK(contentOf(stacktrace::getTrace()).empty());
    CHECK(stacktrace::up());
}

TEST_CASE("one function may be on a stack several times", "[stacktrace]")
{
    stacktrace::down(a);
    stacktrace::down(a);

    CHECK(contentOf(stacktrace::getTrace()) == functions{a, a});

    CHECK_FALSE(stacktrace::up());
    CHECK(stacktrace::up());
}

TEST_CASE("going down without a function has its place, which going up leaves", "[stacktrace]")
{
    const hashedfunction* const a = function(0);
    stacktrace::down(a);

    stacktrace::down(nullptr);
    const stacktrace inside = stacktrace::getTrace();
    CHECK_FALSE(stacktrace::up());

    REQUIRE(inside.size() == 2);
    CHECK(inside[1]->name().empty());
    CHECK(contentOf(stacktrace::getTrace()) == functions{a});
    CHECK(stacktrace::up());
}

TEST_CASE("asking for a stack makes the thread's entry", "[stacktrace]")
{
    const auto known = onNewThread([] {
        const bool empty = stacktrace::getTrace().size() == 0;
        return empty && tester::knows(tolvane::currentThreadId());
    });

    CHECK(known);
}

TEST_CASE("a copy of a stack does not change with it", "[stacktrace]")
{
    stacktrace::down(a);
    const stacktrace early = stacktrace::getTrace();
    const std::list<stacktrace> allEarly = stacktrace::getTraces();

    stacktrace::down(b);
    CHECK(contentOf(early) == functions{a});
    CHECK(contains(allEarly, {a}));
    CHECK_FALSE(contains(allEarly, {a, b}));
    stacktrace::up();
    stacktrace::up();
    CHECK(contentOf(early) == functions{a});
}

TEST_CASE("a stack of any depth keeps its order", "[stacktrace]")
{
    functions pushed;
    for (std::size_t depth = 0; depth < 1000; ++depth) {
        stacktrace::down(function(depth * depth));
        pushed.push_back(function(depth * depth));
        if (depth < 70 || depth == 999) {
            CHECK(contentOf(stacktrace::getTrace()) == pushed);
        }
    }

    for (std::size_t depth = 1000; depth > 1; --depth) {
        if (stacktrace::up()) {
            FAIL("the stack ended too early");
        }
    }
    CHECK(contentOf(stacktrace::getTrace()) == functions{function(0)});
    CHECK(stacktrace::up());
}

TEST_CASE("each thread has its own stack, and all are found together", "[stacktrace]")
{
    stacktrace::down(a);
    std::promise<void> deep;
    std::promise<void> release;
    std::thread other([&] {
        stacktrace::down(b);
        stacktrace::down(c);
        stacktrace::down(b);
        deep.set_value();
        release.get_future().wait();
        stacktrace::up();
        stacktrace::up();
        stacktrace::up();
    });
    deep.get_future().wait();

    const std::list<stacktrace> stacks = stacktrace::getTraces();

    CHECK(contains(stacks, {a}));
    CHECK(contains(stacks, {b, c, b}));
    CHECK(stacks.size() == tester::threads());
    CHECK(contentOf(stacktrace::getTrace()) == functions{a});
    release.set_value();
    other.join();
    stacktrace::up();
}

TEST_CASE("a thread that has ended with functions on its stack is still shown", "[stacktrace]")
{
    unsigned int id = 0;
    wholethread([&id] {
        id = tolvane::currentThreadId();
        stacktrace::down(b);
        stacktrace::down(b);
        stacktrace::down(c);
    }).join();

    CHECK(tester::hasEntry(id));
    CHECK(contains(stacktrace::getTraces(), {b, b, c}));
    CHECK(stacktrace::getTraces().size() == tester::threads());
    tester::empty(id);
}

TEST_CASE("of a thread that has ended an empty stack is shown, and its number alone is kept",
          "[stacktrace]")
{
    unsigned int id = 0;
    wholethread([&id] {
        id = tolvane::currentThreadId();
        stacktrace::down(b);
        stacktrace::up();
    }).join();

    CHECK(tester::knows(id));
    CHECK_FALSE(tester::hasEntry(id));
    CHECK(stacktrace::getTraces().size() == tester::threads());
}

TEST_CASE("threads that come and go leave at most 16 bytes each behind", "[stacktrace]")
{
    constexpr std::size_t mostThreads = 100000;
    constexpr std::size_t fewestThreads = 2000; // however slow the machine is
    constexpr std::chrono::seconds enough{4};
    constexpr long long bytesEach = 16;
    constexpr long long otherUses = 4096; // of threads of other tests
    const auto start = std::chrono::steady_clock::now();
    std::size_t newOnes = 0; // a number comes again sooner or later
    wholethread([] { stacktrace::up(); }).join();
    const std::size_t known = tester::threads();
    const long long before = allocations::bytesInUse();

    for (std::size_t count = 0;
         count < fewestThreads ||
         (count < mostThreads && std::chrono::steady_clock::now() - start < enough);
         ++count) {
        wholethread([&newOnes] {
            newOnes += tester::knows(tolvane::currentThreadId()) ? 0U : 1U;
            stacktrace::down(a);
            stacktrace::up();
        }).join();
    }

    CHECK(allocations::bytesInUse() - before <=
          bytesEach * static_cast<long long>(newOnes) + otherUses);
    CHECK(tester::threads() == known + newOnes);
    CHECK(stacktrace::getTraces().size() == known + newOnes);
}

TEST_CASE("a thread may trace while its thread_local objects are destroyed", "[stacktrace]")
{
    functions content;
    lateContent = &content;
    unsigned int id = 0;
    wholethread([&] {
        id = tolvane::currentThreadId();
        late.use();
        stacktrace::down(a);
        stacktrace::up();
    }).join();

    lateContent = nullptr;
    CHECK(content == functions{c});
    CHECK(tester::knows(id));
    CHECK(stacktrace::getTraces().size() == tester::threads());
}

TEST_CASE("a thread that ends when memory is out is not lost", "[stacktrace]")
{
    for (int count = 0; count < 50; ++count) { // one of them would need memory at its end
        unsigned int id = 0;
        wholethread([&id] {
            id = tolvane::currentThreadId();
            stacktrace::up();
            alignas(
                allocations::failure) static unsigned char forGood[sizeof(allocations::failure)];
            new (forGood) allocations::failure;
        }).join();
        if (!tester::knows(id)) {
            FAIL("thread " << count << " is lost");
        }
    }

    CHECK(stacktrace::getTraces().size() == tester::threads());
}

TEST_CASE("all stacks may be asked for while threads come and go", "[stacktrace]")
{
    constexpr int threadsAtATime = 8;
    const int rounds = sanitizer::present ? 40 : 150;
    std::atomic<int> running{threadsAtATime};
    std::vector<std::thread> starters;
    for (int starter = 0; starter < threadsAtATime; ++starter) {
        starters.emplace_back([&running, rounds, starter] {
            for (int round = 0; round < rounds; ++round) {
                wholethread([starter, round] {
                    const int depth = (starter + round) % 3 == 0 ? 50 : 3; // some stacks must grow
                    for (int i = 0; i < depth; ++i) {
                        stacktrace::down(a);
                    }
                    for (int i = 0; i < depth; ++i) {
                        stacktrace::up();
                    }
                }).join();
            }
            --running;
        });
    }

    bool areAllThere = true;
    bool areSound = true;
    while (running != 0) {
        const std::size_t before = tester::threads();
        const std::list<stacktrace> stacks = stacktrace::getTraces();
        const std::size_t after = tester::threads();
        areAllThere =
            areAllThere && stacks.size() >= before && stacks.size() <= after + threadsAtATime;
        for (const stacktrace& stack : stacks) {
            const functions content = contentOf(stack);
            areSound = areSound && content.size() <= 50 &&
                       std::count(content.begin(), content.end(), nullptr) == 0;
        }
    }
    for (std::thread& starter : starters) {
        starter.join();
    }

    CHECK(areAllThere);
    CHECK(areSound);
    CHECK(stacktrace::getTraces().size() == tester::threads());
}

TEST_CASE("a thread that gets an ended one's number goes on with its empty stack", "[stacktrace]")
{
    for (std::size_t i = 0; i < 200; ++i) {
        const functions content = onNewThread([i] {
            stacktrace::down(function(i));
            functions found = contentOf(stacktrace::getTrace());
            stacktrace::up();
            return found;
        });
        if (content != functions{function(i)}) {
            FAIL("thread " << i << " found another stack");
        }
    }

    CHECK(stacktrace::getTraces().size() == tester::threads());
}

TEST_CASE("all stacks are found while another thread holds the registry's lock", "[stacktrace]")
{
    stacktrace::down(a);
    stacktrace::down(c);
    heldelsewhere holder(tester::mutex());

    CHECK(contains(stacktrace::getTraces(), {a, c})); // would hang with a lock

    holder.release();
    stacktrace::up();
    stacktrace::up();
}

TEST_CASE("a stack beyond its depth has no function", "[stacktrace]")
{
    const stacktrace stack = stackOf({a, b});

    CHECK(stack[0] == a);
    CHECK(stack[1] == b);
    CHECK(stack[2] == nullptr);
    CHECK(stack[~0ULL] == nullptr);
    CHECK(stacktrace()[0] == nullptr);
}

TEST_CASE("a stack is copied whole", "[stacktrace]")
{
    functions many;
    for (std::size_t i = 0; i < 100; ++i) {
        many.push_back(function(i));
    }
    for (const functions& content : {functions{}, functions{a}, many}) {
        const stacktrace source = stackOf(content);

        const stacktrace copied(source);
        stacktrace assigned = stackOf({c, c});
        assigned = source;

        CHECK(contentOf(copied) == content);
        CHECK(contentOf(assigned) == content);
        CHECK(contentOf(source) == content);
    }
}

TEST_CASE("a stack that is moved from is empty and usable", "[stacktrace]")
{
    stacktrace source = stackOf({a, b});

    stacktrace moved(std::move(source));
    CHECK(contentOf(moved) == functions{a, b});
    CHECK(source.size() == 0);
    tester::push(source, c);
    CHECK(contentOf(source) == functions{c});

    stacktrace assigned = stackOf({a, a, a});
    assigned = std::move(moved);
    CHECK(contentOf(assigned) == functions{a, b});
    CHECK(moved.size() == 0);
}

TEST_CASE("a stack assigned to itself keeps its functions", "[stacktrace]")
{
    stacktrace stack = stackOf({a, b});
    stacktrace& alias = stack;

    stack = alias;
    CHECK(contentOf(stack) == functions{a, b});
    stack = std::move(alias);
    CHECK(contentOf(stack) == functions{a, b});
}

TEST_CASE("a stack that runs out of memory throws and stays as it was", "[stacktrace]")
{
    stacktrace stack;
    functions pushed;
    int thrown = 0;
    for (std::size_t depth = 0; depth < 100; ++depth) {
        for (unsigned long long after = 0; pushed.size() == depth; ++after) {
            try {
                const allocations::failure failure(after);
                tester::push(stack, function(depth));
            } catch (const std::bad_alloc&) {
                ++thrown;
                CHECK(contentOf(stack) == pushed);
                continue;
            }
            pushed.push_back(function(depth));
        }
    }

    CHECK(thrown > 0);
    CHECK(contentOf(stack) == pushed);
}

TEST_CASE("a thread whose entry once could not be made is found all the same", "[stacktrace]")
{
    for (unsigned long long after = 0; after < 5; ++after) {
        const bool found = onNewThread([after] {
            try {
                const allocations::failure failure(after);
                stacktrace::up();
            } catch (const std::bad_alloc&) {
            }
            stacktrace::down(b);
            stacktrace::down(a);
            stacktrace::down(b);
            const bool isThere = contains(stacktrace::getTraces(), {b, a, b});
            while (!stacktrace::up()) {
            }
            return isThere;
        });

        CHECK(found);
    }
    CHECK(stacktrace::getTraces().size() == tester::threads());
}

TEST_CASE("a function that was made just now may be read from another thread's stack",
          "[stacktrace]")
{
    const std::size_t rounds = sanitizer::present ? 100000 : 20000;
    std::vector<std::unique_ptr<const hashedfunction>> made(rounds);
    std::atomic<bool> running{true};
    std::thread worker([&] {
        for (std::unique_ptr<const hashedfunction>& slot : made) {
            slot = std::make_unique<const hashedfunction>("f");
            stacktrace::down(slot.get());
            stacktrace::up();
        }
        running = false;
    });

    unsigned long long characters = 0;
    while (running) {
        for (const stacktrace& stack : stacktrace::getTraces()) {
            for (const hashedfunction* const each : contentOf(stack)) {
                characters += each->name().length();
            }
        }
    }
    worker.join();

    CHECK(characters < ~0ULL); // what counts is that no sanitizer minds
}

TEST_CASE("stacks may be read while their threads push, pop and appear", "[stacktrace]")
{
    const int rounds = sanitizer::present ? 300 : 2000;
    constexpr unsigned long long depth = 40; // beyond the first block
    std::atomic<int> running{0};
    std::vector<std::unique_ptr<const hashedfunction>> made[4];
    const auto work = [&](std::size_t worker) {
        for (int round = 0; round < rounds; ++round) {
            // made just now, as functions are when their scope is first entered
            made[worker].push_back(std::make_unique<const hashedfunction>("void worker(int)"));
            for (unsigned long long i = 0; i < depth; ++i) {
                stacktrace::down(made[worker].back().get());
            }
            for (unsigned long long i = 0; i < depth; ++i) {
                stacktrace::up();
            }
            if (round % 50 == 0) {
                std::thread([] {
                    stacktrace::down(a);
                    stacktrace::up();
                }).join();
            }
        }
        --running;
    };
    std::vector<std::thread> workers;
    for (std::size_t worker = 0; worker < 4; ++worker) {
        ++running;
        workers.emplace_back(work, worker);
    }

    unsigned long long deepest = 0;
    unsigned long long nameless = 0;
    while (running != 0) {
        for (const stacktrace& stack : stacktrace::getTraces()) {
            deepest = std::max(deepest, stack.size());
            for (const hashedfunction* const each : contentOf(stack)) {
                nameless += each == nullptr || each->name().empty() ? 1U : 0U;
            }
        }
    }
    for (std::thread& worker : workers) {
        worker.join();
    }

    CHECK(nameless == 0);
    CHECK(deepest <= depth + 1);
    CHECK(stacktrace::getTraces().size() == tester::threads());
}
