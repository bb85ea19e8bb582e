#pragma once

#include "tests/helpers/gate.h"
#include "tests/helpers/probesink.h"

#include <string>

/// Holds a sink up in every line that it gets, until it is released for good.
class sinkblock
{
public:
    explicit sinkblock(const probesink& sink)
    {
        sink.told().onLog = [this](const std::wstring&) {
            m_entered.open();
            m_release.wait();
        };
    }

    sinkblock(const sinkblock&) = delete;
    sinkblock& operator=(const sinkblock&) = delete;

    /// Waits until the sink has got a line.
    /// \return false when none came.
    bool waitForLine() { return m_entered.wait(); }

    void release() { m_release.open(); }

private:
    gate m_entered;
    gate m_release;
};
