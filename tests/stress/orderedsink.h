#pragma once

#include "tests/helpers/formattedlinetest.h"

#include <tolvane/tracestream.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cwchar>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

/// A record of the stress test as its text tells it: who made it, the how-manieth of his it is, and
/// which record of somebody else he knew to be queued by then.
struct stressrecord
{
    int maker = -1;
    long long number = 0;
    int knownMaker = -1;
    long long knownNumber = 0;

    /// \return false for a text that no maker has written.
    bool parse(const wchar_t* text)
    {
        return std::swscanf(text, L"%d %lld after %d %lld", &maker, &number, &knownMaker,
                            &knownNumber) == 4;
    }
};

/// A sink that checks the order in which it gets records. Clones share what they found.
class orderedsink : public tracestream
{
public:
    static constexpr int makers = 64;

    struct findings
    {
        std::atomic<unsigned long long> written{0};
        std::atomic<unsigned long long> thrown{0}; ///< exceptions, each of which costs a record
        std::atomic<unsigned long long> torn{0};
        std::atomic<unsigned long long> overtaken{0}; ///< came behind what was made after them
        std::array<std::atomic<long long>, makers> last{};
        std::array<long long, makers> known{}; ///< records up to this one may not come any more
    };

    /// \param pauses  one record in so many takes so long that others are lost; 0: none.
    /// \param throws  one record in so many is answered by an exception; 0: none.
    explicit orderedsink(unsigned long long id, unsigned int pauses = 0, unsigned int throws = 0)
        : orderedsink(id, pauses, throws, std::make_shared<findings>())
    {}

    void log(const formattedline& line) override
    {
        formattedline copied(line);
        findings& found = *m_findings;
        if (isTurn(m_throws)) {
            ++found.thrown;
            throw std::runtime_error("the sink's own trouble");
        }
        ++found.written;
        if (formattedlinetest::type(copied) == formattedline::tt_text) {
            check(formattedlinetest::body(copied).c_str());
        }
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

    void check(const wchar_t* text)
    {
        findings& found = *m_findings;
        stressrecord record;
        if (!record.parse(text) || record.maker < 0 || record.maker >= makers) {
            ++found.torn;
            return;
        }
        const auto maker = static_cast<std::size_t>(record.maker);
        if (record.number <= found.last[maker] || record.number <= found.known[maker]) {
            ++found.overtaken;
        }
        found.last[maker] = record.number;
        if (record.knownMaker >= 0) {
            long long& known = found.known[static_cast<std::size_t>(record.knownMaker)];
            known = std::max(known, record.knownNumber);
        }
    }

    const unsigned long long m_id;
    const unsigned int m_pauses;
    const unsigned int m_throws;
    std::shared_ptr<findings> m_findings;
    std::minstd_rand m_random{1};
};
