#pragma once

#include <tolvane/scope.h>
#include <tolvane/traceobject.h>

#include "tests/helpers/traceimpltest.h"

#include <string>
#include <vector>

namespace fuzz {

/// Holds the dispatcher, whose writer never starts, so that the lines that are traced meanwhile can
/// be looked at.
class tracedlines
{
public:
    tracedlines() { traceimpltest::running(traceimpltest::instance()) = false; }

    /// The texts of the lines since the last call.
    std::vector<std::wstring> take()
    {
        std::vector<std::wstring> texts = m_queue.texts();
        traceimpltest::emptyQueue(traceimpltest::instance());
        return texts;
    }

private:
    heldqueue m_queue;
};

} // namespace fuzz
