#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/hashedfunction.h>

#include "support/stamps.h"
#include "trace/stage.h"

#include <cstring>
#include <string>
#include <string_view>

/// A stage that a test writes to and reads from step by step, in one thread.
class teststage
{
public:
    explicit teststage(unsigned int threadId = 1) : m_stage(new stage(1, threadId)) {}

    ~teststage()
    {
        stage::release(m_stage);
        if (!m_isGiven) {
            stage::release(m_stage);
        }
    }

    teststage(const teststage&) = delete;
    teststage& operator=(const teststage&) = delete;

    stage& get() { return *m_stage; }

    /// The dispatcher's hold on it goes to the caller.
    stage* give()
    {
        m_isGiven = true;
        return m_stage;
    }

    /// Stages a line with these bytes.
    void write(std::string_view bytes, tracelevel_t level = tl_info)
    {
        stagedline& line = begin(bytes, level);
        m_stage->publish(line, tolvane::stamps::now());
    }

    /// Everything but the last step.
    stagedline& begin(std::string_view bytes, tracelevel_t level = tl_info)
    {
        stagedline& line = m_stage->prepare(bytes.size());
        line.function = &function();
        line.level = level;
        line.type = formattedline::tt_text;
        line.form = stagedline::operands;
        line.size = static_cast<unsigned short>(bytes.size());
        std::memcpy(line.payload(), bytes.data(), bytes.size());
        return line;
    }

    static std::string bytes(const stagedline& line)
    {
        return std::string(reinterpret_cast<const char*>(line.payload()), line.size);
    }

    static const hashedfunction& function()
    {
        static const hashedfunction* const function = new hashedfunction("void staged::f()");
        return *function;
    }

private:
    stage* m_stage;
    bool m_isGiven = false;
};

/// Later than every stamp.
constexpr unsigned long long endOfTime = ~0ULL;
