#pragma once

#include "tests/helpers/gate.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/quietdispatcher.h"
#include "tests/helpers/traceimpltest.h"

#include <string>
#include <thread>

/// A sink with the id 0xB that is in the middle of a line, on a thread that flushes, for as long as
/// this lives, or until it is released.
class busysink
{
public:
    explicit busysink(quietdispatcher& quiet) : busysink(quiet.dispatcher, quiet.function) {}

    busysink(traceimpl& dispatcher, const hashedfunction& function) : m_sink(0xB)
    {
        m_sink.told().onLog = [this](const std::wstring& text) {
            if (text == L"busy") {
                m_entered.open();
                m_release.wait();
            }
        };
        dispatcher.output(m_sink);
        m_thread = std::thread([&] {
            traceimpltest::queue(dispatcher, function, traceimpltest::levelForAll, L"busy");
            dispatcher.flushQueue(0);
        });
        m_entered.wait();
    }

    ~busysink() { release(); }

    busysink(const busysink&) = delete;
    busysink& operator=(const busysink&) = delete;

    /// The sink takes its line now.
    void release()
    {
        m_release.open();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }

private:
    probesink m_sink;
    gate m_entered;
    gate m_release;
    std::thread m_thread;
};
