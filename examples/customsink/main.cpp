// A sink of your own: a class that is derived from tracestream and says what to do with a line.
//
// trace::output keeps a clone of the sink that it is given. What the lines are collected in must
// therefore be shared between the clones, and id() tells which sinks share it: attaching a sink
// replaces the one of the same id.

#include <tolvane/tolvane.h>

#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

/// Keeps the last lines in memory, for a report when something goes wrong.
class recentlines
{
public:
    void add(const std::string& line)
    {
        if (m_lines.size() == kept) {
            m_lines.erase(m_lines.begin());
        }
        m_lines.push_back(line);
    }

    const std::vector<std::string>& lines() const { return m_lines; }

private:
    static constexpr std::size_t kept = 3; // what fits in the report

    std::vector<std::string> m_lines;
};

class recentlinessink : public tracestream
{
public:
    explicit recentlinessink(recentlines& lines) : m_lines(&lines) {}

    // Called for one line at a time, mostly on the library's writer thread. It should not trace.
    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        m_lines->add(text.narrow());
    }

    unsigned long long id() const override { return reinterpret_cast<std::uintptr_t>(m_lines); }

    recentlinessink* clone() const override { return new recentlinessink(*m_lines); }

private:
    recentlines* m_lines;
};

void work(int step)
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "step " << step;
}

int main()
{
    recentlines lines;
    const recentlinessink sink(lines);
    trace::output(sink);
    trace::setLevel(tl_info);
    for (int step = 1; step <= 10; ++step) {
        work(step);
    }

    trace::sync(1000);
    trace::remove(sink); // from now on the lines are ours alone
    std::cout << "the last lines were:" << std::endl;
    for (const std::string& line : lines.lines()) {
        std::cout << line << std::endl;
    }
}
