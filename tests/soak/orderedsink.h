#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/string.h>
#include <tolvane/tracestream.h>

#include "tests/soak/lineorder.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

/// A sink that checks the order in which it gets lines. Clones share what they found.
class orderedsink : public tracestream
{
public:
    struct findings
    {
        lineorder order;
        std::atomic<unsigned long long> thrown{0}; ///< exceptions, each of which costs a record
    };

    /// \param pauses  one record in so many takes so long that others are lost; 0: none.
    /// \param throws  one record in so many is answered by an exception; 0: none.
    explicit orderedsink(unsigned long long id, unsigned int pauses = 0, unsigned int throws = 0)
        : orderedsink(id, pauses, throws, std::make_shared<findings>())
    {}

    void log(const formattedline& line) override
    {
        if (isTurn(m_throws)) {
            ++m_findings->thrown;
            throw std::runtime_error("the sink's own trouble");
        }
        const tolvane::string rendered = line;
        const wchar_t* const text = rendered.c_str();
        m_narrow.clear();
        for (const wchar_t* at = text; *at != L'\0'; ++at) {
            m_narrow += static_cast<char>(*at); // makers write plain ASCII
        }
        m_findings->order.check(m_narrow);
        if (isTurn(m_pauses)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(4));
        }
    }

    unsigned long long id() const override { return m_id; }

    orderedsink* clone() const override
    {
        return new orderedsink(m_id, m_pauses, m_throws, m_findings);
    }

    const findings& found() const { return *m_findings; }

private:
    orderedsink(unsigned long long id, unsigned int pauses, unsigned int throws,
                std::shared_ptr<findings> shared)
        : m_id(id), m_pauses(pauses), m_throws(throws), m_findings(std::move(shared))
    {}

    bool isTurn(unsigned int oneIn) { return oneIn != 0 && m_random() % oneIn == 0; }

    const unsigned long long m_id;
    const unsigned int m_pauses;
    const unsigned int m_throws;
    std::shared_ptr<findings> m_findings;
    std::minstd_rand m_random{1};
    std::string m_narrow;
};
