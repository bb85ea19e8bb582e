#pragma once

#include "tests/helpers/formattedlinetest.h"

#include <tolvane/tracestream.h>

#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

/// A sink of a chosen id that tells what is done with it, and does what a test says meanwhile.
/// Clones and copies share one report.
class probesink : public tracestream
{
public:
    /// What is asked to happen, and what did. Several sinks may share it.
    struct report
    {
        std::function<void()> onId;
        std::function<void()> onClone;
        std::function<void()> onDelete;
        std::function<void(const std::wstring&)> onLog;

        void add(const std::string& event)
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_events.push_back(event);
        }

        /// "clone 1", "delete 1", and "1: text" for a line that reached the sink with id 1.
        std::vector<std::string> events() const
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            return m_events;
        }

    private:
        mutable std::mutex m_mutex;
        std::vector<std::string> m_events;
    };

    explicit probesink(unsigned long long id, std::shared_ptr<report> told = nullptr)
        : m_id(id), m_report(told ? std::move(told) : std::make_shared<report>())
    {}

    ~probesink() override
    {
        if (!m_isClone) {
            return;
        }
        try {
            m_report->add("delete " + std::to_string(m_id));
        } catch (const std::bad_alloc&) {
            // a test in which memory is out does not ask for it
        }
        call(m_report->onDelete);
    }

    probesink(const probesink&) = delete;
    probesink& operator=(const probesink&) = delete;

    void log(const formattedline& line) override
    {
        formattedline copied(line);
        const std::wstring text = formattedlinetest::body(copied).c_str();
        std::string event = std::to_string(m_id) + ": ";
        for (const wchar_t character : text) {
            event += static_cast<char>(character); // tests use ASCII
        }
        m_report->add(event);
        if (m_report->onLog) {
            m_report->onLog(text);
        }
    }

    unsigned long long id() const override
    {
        call(m_report->onId);
        return m_id;
    }

    probesink* clone() const override
    {
        call(m_report->onClone);
        auto cloned = std::make_unique<probesink>(m_id, m_report);
        m_report->add("clone " + std::to_string(m_id));
        cloned->m_isClone = true;
        return cloned.release();
    }

    report& told() const { return *m_report; }
    std::vector<std::string> events() const { return m_report->events(); }

private:
    static void call(const std::function<void()>& action)
    {
        if (action) {
            action();
        }
    }

    unsigned long long m_id;
    std::shared_ptr<report> m_report;
    bool m_isClone = false;
};
