#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <string>

/// A record of the soak test as its text tells it: who made it, the how-manieth of his it is, and
/// which record of somebody else he knew to be queued by then.
struct soakrecord
{
    int maker = -1;
    long long number = 0;
    int knownMaker = -1;
    long long knownNumber = 0;

    /// Made without wide formatting, for which the C library takes a lock that no fork gives back.
    std::wstring text() const
    {
        const std::string narrow = std::to_string(maker) + ' ' + std::to_string(number) +
                                   " after " + std::to_string(knownMaker) + ' ' +
                                   std::to_string(knownNumber);
        return std::wstring(narrow.begin(), narrow.end());
    }

    /// \return false for a text that no maker has written.
    bool parse(const char* text)
    {
        return std::sscanf(text, "%d %lld after %d %lld", &maker, &number, &knownMaker,
                           &knownNumber) == 4;
    }
};

/// Checks lines as one destination gets them: each maker's in his order, none twice, none behind
/// what was made when it was known already, and each maker's time stamps never falling. One thread
/// at a time; all may ask.
class lineorder
{
public:
    static constexpr int makers = 64;
    static constexpr int children = makers; ///< the maker that all forked processes are together

    /// \param line  whole, without its end.
    void check(const std::string& line)
    {
        ++m_lines;
        const std::size_t separator = line.find(" : ");
        const unsigned long long time = timeOf(line);
        if (separator == std::string::npos || time == 0) {
            ++m_torn;
            return;
        }
        const char* const text = line.c_str() + separator + 3;
        if (std::strcmp(text, "starting") != 0 && std::strcmp(text, "exiting") != 0) {
            checkText(text, time);
        }
    }

    /// A piece that is no line.
    void countTorn() { ++m_torn; }

    unsigned long long lines() const { return m_lines; }
    unsigned long long ofChildren() const { return m_ofChildren; }

    /// The number of the last record of a maker's that came.
    long long last(int maker) const { return m_last[static_cast<std::size_t>(maker)]; }

    /// What is wrong; empty when nothing is.
    std::string complaint() const
    {
        std::string all;
        add(all, m_torn, "torn");
        add(all, m_overtaken, "doubled or overtaken");
        add(all, m_backward, "with an earlier time than the one before");
        return all;
    }

private:
    void checkText(const char* text, unsigned long long time)
    {
        soakrecord record;
        if (!record.parse(text) || record.maker < 0 || record.maker > children) {
            ++m_torn;
            return;
        }
        const auto maker = static_cast<std::size_t>(record.maker);
        if (record.number <= m_last[maker] || record.number <= m_known[maker]) {
            ++m_overtaken;
        }
        m_last[maker] = record.number;
        if (record.knownMaker >= 0) {
            long long& known = m_known[static_cast<std::size_t>(record.knownMaker)];
            known = std::max(known, record.knownNumber);
        }
        if (time < m_time[maker]) {
            ++m_backward;
        }
        m_time[maker] = time;
        m_ofChildren += record.maker == children ? 1 : 0;
    }

    /// The digits of "[2026-01-31 23:59:59.999]", which grow with the time; 0 for something else.
    static unsigned long long timeOf(const std::string& line)
    {
        constexpr std::size_t stampLength = 23;
        if (line.size() < stampLength + 2 || line[0] != '[' || line[stampLength + 1] != ']') {
            return 0;
        }
        unsigned long long digits = 0;
        for (std::size_t at = 1; at <= stampLength; ++at) {
            if (line[at] >= '0' && line[at] <= '9') {
                digits = digits * 10 + static_cast<unsigned long long>(line[at] - '0');
            }
        }
        return digits;
    }

    static void add(std::string& to, unsigned long long lines, const char* what)
    {
        if (lines != 0) {
            to += (to.empty() ? "" : ", ") + std::to_string(lines) + " lines " + what;
        }
    }

    std::atomic<unsigned long long> m_lines{0};
    unsigned long long m_torn = 0;
    unsigned long long m_overtaken = 0;
    unsigned long long m_backward = 0;
    unsigned long long m_ofChildren = 0;
    std::array<std::atomic<long long>, makers + 1> m_last{};
    std::array<long long, makers + 1> m_known{}; ///< records up to this one may not come any more
    std::array<unsigned long long, makers + 1> m_time{};
};
