#define TOLVANE_ACTIVE_LEVEL tl_warning

#include <tolvane/scope.h>

#include "tests/helpers/attached.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/traceimpltest.h"

#include <catch2/catch.hpp>

#include <string>
#include <vector>

TEST_CASE("statements above the active level do nothing, those up to it what they always do",
          "[trace]")
{
    const probesink sink(1);
    const attached attachment(sink, tl_trace);
    const heldqueue queue;
    int evaluated = 0;
    {
        TOLVANE_SCOPE(log);
        TOLVANE_LOG(log, tl_info) << ++evaluated;
        TOLVANE_LOGF(log, tl_info, "%d", ++evaluated);
        TOLVANE_LOG_IF(log, tl_trace, ++evaluated > 0) << "if";
        TOLVANE_LOG_FIRST_N(log, tl_debug, ++evaluated) << "first";
        TOLVANE_LOG_EVERY_N(log, tl_debug, ++evaluated) << "every";
        TOLVANE_LOG_EVERY_MS(log, tl_debug, ++evaluated) << "due";
        TOLVANE_HERE(tl_info) << ++evaluated;
        TOLVANE_HERE(tl_warning) << "here";
        TOLVANE_LOG(log, tl_warning) << "warning";
        TOLVANE_LOGF(log, tl_error, "%s", "error");
    }

    CHECK(evaluated == 0);
    using texts_t = std::vector<std::wstring>;
    CHECK(queue.texts() == texts_t{L"", L"here", L"warning", L"error", L""}); // entry and exit stay
}
