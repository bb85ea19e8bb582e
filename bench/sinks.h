#pragma once

#include <tolvane/tracestream.h>

/// A sink that forgets its lines, for what happens around the sinks.
class forgetfulsink : public tracestream
{
public:
    explicit forgetfulsink(unsigned long long id) : m_id(id) {}

    void log(const formattedline&) override {}
    unsigned long long id() const override { return m_id; }
    forgetfulsink* clone() const override { return new forgetfulsink(m_id); }

private:
    unsigned long long m_id;
};
