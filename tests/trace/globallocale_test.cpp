#include "trace/globallocale.h"

#include "tests/helpers/localeguard.h"

#include <tolvane/tolvane.h>

#include <catch2/catch.hpp>

#include <atomic>
#include <chrono>
#include <functional>
#include <locale>
#include <thread>

namespace {

const std::locale otherLocale(std::locale::classic(), new std::numpunct<wchar_t>);

/// Whether another thread does it only when this one gives the lock of the global locale back.
bool waitsForTurn(const std::function<void()>& action)
{
    std::atomic<bool> isDone{false};
    bool wasDoneBefore = false;
    std::thread other;
    {
        const localeturn turn;
        other = std::thread([&] {
            action();
            isDone = true;
        });
        for (int pause = 0; pause < 20 && !isDone; ++pause) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        wasDoneBefore = isDone;
    }
    other.join();
    return !wasDoneBefore;
}

void traceLine()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_always) << "text";
}

void useStream()
{
    TOLVANE_SCOPE(log);
    log << L"text" << std::endl;
}

} // namespace

TEST_CASE("who asks for a global locale other than the classic one does it in turn", "[trace]")
{
    const localeguard guard(otherLocale);
    traceLine(); // notices it

    CHECK(waitsForTurn(traceLine));
    CHECK(waitsForTurn(useStream));
    CHECK(waitsForTurn([] { globalLocale(); }));
}

TEST_CASE("the global locale is found as it is", "[trace]")
{
    CHECK(isGlobalLocaleClassic());
    CHECK(globalLocale() == std::locale::classic());

    const localeguard guard(otherLocale);
    CHECK_FALSE(isGlobalLocaleClassic());
    CHECK(globalLocale() == otherLocale);
}
