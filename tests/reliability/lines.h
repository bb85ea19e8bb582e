#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/trace.h>
#include <tolvane/tracestream.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

/// What the rows count lines with.
namespace reliability {

/// A sink that counts its lines, and does something within each call. Clones share the count.
class actingsink : public tracestream
{
public:
    using action = void (*)(unsigned long long number);

    /// \param act  is given the line's number, beginning with 1; null: nothing.
    explicit actingsink(unsigned long long id, action act = nullptr)
        : actingsink(id, act, std::make_shared<std::atomic<unsigned long long>>(0),
                     std::make_shared<std::atomic<unsigned long long>>(0))
    {}

    void log(const formattedline&) override
    {
        const unsigned long long number = ++*m_called;
        if (m_act) {
            m_act(number);
        }
        ++*m_written;
    }

    unsigned long long id() const override { return m_id; }
    actingsink* clone() const override { return new actingsink(m_id, m_act, m_called, m_written); }

    /// Lines that came.
    unsigned long long called() const { return *m_called; }

    /// Those of them for which the action came to its end.
    unsigned long long written() const { return *m_written; }

private:
    using counter = std::shared_ptr<std::atomic<unsigned long long>>;

    actingsink(unsigned long long id, action act, counter called, counter written)
        : m_id(id), m_act(act), m_called(std::move(called)), m_written(std::move(written))
    {}

    const unsigned long long m_id;
    const action m_act;
    counter m_called;
    counter m_written;
};

/// More milliseconds than a healthy wait takes.
constexpr unsigned long long generousWait = 30000;

/// A file's lines, as the file sinks write them.
struct filelines
{
    explicit filelines(const std::string& path)
    {
        std::ifstream file(path, std::ios::binary);
        std::string line;
        while (std::getline(file, line)) {
            const bool isWhole = !line.empty() && line.front() == '[' && line.back() == '\r';
            ++(isWhole ? whole : torn);
            last = line;
        }
    }

    unsigned long long whole = 0;
    unsigned long long torn = 0; ///< that begin or end otherwise than a line does
    std::string last;
};

} // namespace reliability
