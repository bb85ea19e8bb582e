#include <tolvane/tracestream.h>

#include <tolvane/hashedfunction.h>

#include "function/functiontree.h"
#include "sinks/levelgeneration.h"
#include "trace/insidelibrary.h"

#include <memory>

using leveltree = hashedfunctiontree<tracelevel_t>;

tracestream::tracestream()
{
    const insidelibrary inside;
    m_levels = new leveltree;
}

tracestream::tracestream(const tracestream& other)
{
    const insidelibrary inside;
    auto levels = std::make_unique<leveltree>();
    levels->assign(*other.m_levels);
    m_levels = levels.release();
}

tracestream::~tracestream()
{
    const insidelibrary inside;
    delete m_levels;
}

tracestream& tracestream::operator=(const tracestream& other)
{
    const insidelibrary inside;
    if (this != &other && m_levels != other.m_levels) {
        m_levels->assign(*other.m_levels);
        levelgeneration::raise();
    }
    return *this;
}

void tracestream::setLevel(tracelevel_t level)
{
    setLevel(level, tolvane::string());
}

void tracestream::setLevel(tracelevel_t level, const tolvane::string& name)
{
    const insidelibrary inside;
    m_levels->set(level, name);
    levelgeneration::raise();
}

void tracestream::clearLevels(tracelevel_t level)
{
    const insidelibrary inside;
    m_levels->reset(level);
    levelgeneration::raise();
}

void tracestream::clearLevels(const tolvane::string& name)
{
    const insidelibrary inside;
    m_levels->clear(name);
    levelgeneration::raise();
}

tracelevel_t tracestream::level(const hashedfunction& function) const
{
    return m_levels->lookup(function.key());
}

/// In a forked process: threads that looked levels up are gone.
void tracestream::forgetReaders() noexcept
{
    m_levels->forgetReaders();
}
