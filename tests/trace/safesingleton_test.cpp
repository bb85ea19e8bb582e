#include "trace/safesingleton.h"

#include <catch2/catch.hpp>

#include <atomic>
#include <thread>
#include <vector>

namespace {

class slowtomake : public safesingleton<slowtomake>
{
public:
    slowtomake()
    {
        ++made;
        std::this_thread::yield(); // let others come meanwhile
    }

    void stop() noexcept {}

    static inline std::atomic<int> made{0};
};

} // namespace

TEST_CASE("threads that ask for a singleton at once get the same object, made once", "[trace]")
{
    constexpr std::size_t threadCount = 8;
    std::vector<slowtomake*> got(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < threadCount; ++index) {
        threads.emplace_back([&got, index] { got[index] = &slowtomake::instance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    CHECK(slowtomake::made == 1);
    for (const slowtomake* object : got) {
        CHECK(object == &slowtomake::instance());
    }
}

TEST_CASE("a singleton's lock may be taken again by the thread that holds it", "[trace]")
{
    const lockobject outer(slowtomake::instance().m_instanceMutex);
    const lockobject inner(slowtomake::instance().m_instanceMutex);

    CHECK(slowtomake::instance().m_instanceMutex.impl()->timedLock(0));
    slowtomake::instance().m_instanceMutex.impl()->unlock();
}
