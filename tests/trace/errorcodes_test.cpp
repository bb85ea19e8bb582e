#include <tolvane/scope.h>
#include <tolvane/stacktrace.h>
#include <tolvane/trace.h>
#include <tolvane/traceobject.h>

#include "tests/helpers/allocations.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/errorcodes.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <functional>
#include <ios>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// What tracing does may change the thread's error codes: the allocator, the clock, the sinks. Here
// all of these do.

namespace {

constexpr int ofTheCaller = 7;
constexpr int ofTracing = 8;

void spoil()
{
    errorcodes::set(ofTracing);
}

class spoilingclock final : public tolvane::Clock
{
public:
    using Clock::localMilliseconds;

    unsigned long long ticks() const noexcept override { return spoiled(platform().ticks()); }
    unsigned long long localMilliseconds() const noexcept override
    {
        return spoiled(platform().localMilliseconds());
    }
    unsigned long long monotonicMilliseconds() const noexcept override
    {
        return spoiled(platform().monotonicMilliseconds());
    }
    void sleep(unsigned int milliseconds) const noexcept override
    {
        platform().sleep(milliseconds);
        spoil();
    }

private:
    static unsigned long long spoiled(unsigned long long time) noexcept
    {
        spoil();
        return time;
    }
};

/// Puts such a clock in use. It lives for ever: another test's writer may be looking at it.
class clockspoiler
{
public:
    clockspoiler()
    {
        static const auto* const clock = new spoilingclock;
        tolvane::Clock::use(clock);
    }
    ~clockspoiler() { tolvane::Clock::use(nullptr); }

    clockspoiler(const clockspoiler&) = delete;
    clockspoiler& operator=(const clockspoiler&) = delete;
};

probesink spoilingsink()
{
    auto told = std::make_shared<probesink::report>();
    told->onId = spoil;
    told->onClone = spoil;
    told->onDelete = spoil;
    told->onLog = [](const std::wstring&) { spoil(); };
    return probesink(1, told);
}

/// Does something on a thread of its own, again and again, with another allocation spoiling the
/// codes each time.
/// \return whether they were the caller's afterwards, each time.
bool keepsErrors(const std::function<void(traceimpl&)>& action)
{
    bool areSpoiled = true;
    const std::function<void()> spoiling = [&areSpoiled] {
        areSpoiled = true;
        spoil();
    };
    bool areKept = true;
    for (unsigned long long after = 0; areSpoiled && areKept; ++after) {
        areSpoiled = false;
        traceimpl dispatcher;
        std::thread([&] {
            const allocations::interruption interrupted(after, spoiling);
            errorcodes::set(ofTheCaller);
            action(dispatcher);
            areKept = errorcodes::are(ofTheCaller);
        }).join();
        if (!areKept) {
            UNSCOPED_INFO("after " << after << " allocations");
        }
    }
    return areKept;
}

/// The same for what goes through the facade.
bool facadeKeepsErrors(const std::function<void()>& action)
{
    return keepsErrors([&action](traceimpl&) { action(); });
}

const hashedfunction& known()
{
    static const hashedfunction& function = trace::registerfunction("void errorcodes::known()");
    return function;
}

} // namespace

TEST_CASE("a line changes no error code, a thread's and a dispatcher's first one included",
          "[trace][errorcodes]")
{
    const clockspoiler clock;
    const hashedfunction& function = known();

    CHECK(keepsErrors([&](traceimpl& dispatcher) {
        traceimpltest::queueMarker(dispatcher, function, formattedline::tt_starting);
    }));
    CHECK(keepsErrors([&](traceimpl& dispatcher) {
        const std::vector<unsigned char> operands(5000);
        errorcodes::set(ofTheCaller);
        dispatcher.queueOperands(tl_info, function, operands.data(), operands.size());
    }));
    CHECK(keepsErrors([&](traceimpl& dispatcher) {
        tolvane::string text(std::wstring(5000, L'x').c_str());
        errorcodes::set(ofTheCaller);
        dispatcher.queueLine(tl_info, function, text);
    }));
}

TEST_CASE("lines that are pruned, or written by their own thread, change no error code",
          "[trace][errorcodes]")
{
    const clockspoiler clock;
    const hashedfunction& function = known();
    for (const tracelevel_t level : {tl_always, tl_trace}) {
        traceimpl dispatcher;
        traceimpltest::running(dispatcher) = false;
        dispatcher.output(spoilingsink()).setLevel(level);
        bool areKept = true;
        for (int line = 0; line < 2500 && areKept; ++line) {
            errorcodes::set(ofTheCaller);
            traceimpltest::queueMarker(dispatcher, function, formattedline::tt_starting);
            areKept = errorcodes::are(ofTheCaller);
        }
        CHECK(areKept);
    }
}

TEST_CASE("a line of a thread that is about to end changes no error code", "[trace][errorcodes]")
{
    const clockspoiler clock;
    CHECK(keepsErrors([](traceimpl& dispatcher) {
        threadstage::put(threadstage::left);
        traceimpltest::queueMarker(dispatcher, known(), formattedline::tt_starting);
    }));
}

TEST_CASE("scopes change no error code, also where they register or go deep", "[trace][errorcodes]")
{
    CHECK(facadeKeepsErrors([] {
        const hashedfunction* function = nullptr;
        tolvane::scope scope(function, "void errorcodes::scope()");
    }));
    CHECK(facadeKeepsErrors([] {
        const hashedfunction* function = nullptr;
        traceobject stream(function, "void errorcodes::stream()");
    }));
    CHECK(facadeKeepsErrors([] {
        const hashedfunction* function = &known();
        for (int depth = 0; depth < 100; ++depth) {
            stacktrace::down(function);
        }
        for (int depth = 0; depth < 100; ++depth) {
            stacktrace::up();
        }
    }));
}

TEST_CASE("whatever a line is made of, it changes no error code", "[trace][errorcodes]")
{
    const localeguard locale;
    const multibytelocale multibyte;
    const std::string unconvertible = multibyte.bytes + "\xff\xff";
    const std::string longText(1000, 'x');
    const std::wstring wideText(1000, L'x');
    const probesink sink = spoilingsink();
    const attached all(sink, tl_trace);
    const hashedfunction* function = &known();

    CHECK(facadeKeepsErrors([&] {
        tolvane::scope log(function, nullptr);
        TOLVANE_LOG(log, tl_info) << longText << 1.5 << L"wide";
    }));
    CHECK(facadeKeepsErrors([&] {
        tolvane::scope log(function, nullptr);
        TOLVANE_LOG(log, tl_info) << unconvertible;
    }));
    CHECK(facadeKeepsErrors([&] {
        tolvane::scope log(function, nullptr);
        TOLVANE_LOGF(log, tl_info, unconvertible.c_str(), 1);
        TOLVANE_LOGF(log, tl_info, "%x", std::hex);
        TOLVANE_LOGF(log, tl_info, "%9s %.400f", unconvertible, 0.5);
    }));
    CHECK(facadeKeepsErrors([&] {
        tolvane::scope log(function, nullptr);
        log(tl_info) << wideText.c_str() << L"wide";
        log.put(L'\n');
        TOLVANE_LOG(log, tl_info) << std::hex << 17 << unconvertible;
    }));
}

TEST_CASE("the facade changes no error code", "[trace][errorcodes]")
{
    const probesink sink = spoilingsink();
    const tolvane::string name(L"errorcodes::facade");
    const std::string narrowName("errorcodes::facade");
    CHECK(facadeKeepsErrors([&] { trace::output(sink); }));
    CHECK(facadeKeepsErrors([&] { trace::setLevel(tl_info); }));
    CHECK(facadeKeepsErrors([&] { trace::setLevel(tl_info, name); }));
    CHECK(facadeKeepsErrors([&] { trace::level(known()); }));
    CHECK(facadeKeepsErrors([&] { trace::level(name); }));
    CHECK(facadeKeepsErrors([&] { trace::level(narrowName); }));
    CHECK(facadeKeepsErrors([&] { trace::clearLevels(name); }));
    CHECK(facadeKeepsErrors([&] { trace::clearLevels(tl_info); }));
    CHECK(facadeKeepsErrors([&] { trace::registerfunction("void errorcodes::narrow()"); }));
    CHECK(facadeKeepsErrors([&] { trace::registerfunction(L"void errorcodes::wide()"); }));
    CHECK(facadeKeepsErrors([&] { trace::lost(); }));
    CHECK(facadeKeepsErrors([&] {
        traceimpltest::queueMarker(traceimpltest::instance(), known(), formattedline::tt_starting);
        trace::flush(0);
    }));
    CHECK(facadeKeepsErrors([&] {
        traceimpltest::queueMarker(traceimpltest::instance(), known(), formattedline::tt_starting);
        trace::sync(1000);
    }));
    CHECK(facadeKeepsErrors([&] { trace::remove(sink); }));
}
