#include "trace/traceimpl.h"

#include "function/functiontree.h"

#include <tolvane/tracestream.h>

#include "settings/levelsettings.h"
#include "sinks/levelgeneration.h"
#include "support/clock.h"
#include "trace/instancelock.h"
#include "trace/sinkid.h"

#include <algorithm>
#include <optional>

// The attached sinks' levels. The sinks themselves tell other threads of a change.

void traceimpl::setLevel(tracelevel_t level, const tolvane::string& name)
{
    const instancelock lock(m_instanceMutex);
    for (const auto& attached : m_sinks) {
        attached.second.sink->setLevel(level, name);
    }
}

void traceimpl::setLevel(const tracestream& sink, tracelevel_t level, const tolvane::string& name)
{
    const unsigned long long id = idOf(sink);
    const instancelock lock(m_instanceMutex);
    const auto found = m_sinks.find(id);
    if (found != m_sinks.end()) {
        found->second.sink->setLevel(level, name);
    }
}

void traceimpl::setLevels(const tolvane::levelsettings& settings)
{
    const instancelock lock(m_instanceMutex);
    for (const auto& attached : m_sinks) {
        setLevelsOf(*attached.second.sink, settings);
    }
}

/// All at once: each change copies all levels that there are.
void traceimpl::setLevelsOf(tracestream& sink, const tolvane::levelsettings& levels)
{
    if (!levels.all().empty()) {
        sink.m_levels->set(levels.all());
        levelgeneration::raise();
    }
}

void traceimpl::clearLevels(tracelevel_t level)
{
    const instancelock lock(m_instanceMutex);
    for (const auto& attached : m_sinks) {
        attached.second.sink->clearLevels(level);
    }
}

void traceimpl::clearLevels(const tolvane::string& name)
{
    const instancelock lock(m_instanceMutex);
    for (const auto& attached : m_sinks) {
        clearLevelsOf(*attached.second.sink, name);
    }
}

void traceimpl::clearLevels(const tracestream& sink, const tolvane::string& name)
{
    const unsigned long long id = idOf(sink);
    const instancelock lock(m_instanceMutex);
    const auto found = m_sinks.find(id);
    if (found != m_sinks.end()) {
        clearLevelsOf(*found->second.sink, name);
    }
}

/// Without a name, unlike the sink's own function, the level of all else is forgotten, too.
void traceimpl::clearLevelsOf(tracestream& sink, const tolvane::string& name)
{
    if (name.empty()) {
        sink.clearLevels(tl_always);
    } else {
        sink.clearLevels(name);
    }
}

tracelevel_t traceimpl::maxLevel(const hashedfunction& function)
{
    const instancelock lock(m_instanceMutex);
    const unsigned int generation = levelgeneration::current(); // before the levels are looked at
    tracelevel_t greatest = tl_always;
    for (const auto& attached : m_sinks) {
        greatest = std::max(greatest, attached.second.sink->level(function));
    }
    levelgeneration::remember(function, generation, greatest);
    return greatest;
}

tracelevel_t traceimpl::levelNow(const hashedfunction& function, tracelevel_t whenOpened)
{
    const instancelock lock(m_instanceMutex);
    return m_finished ? whenOpened : maxLevel(function);
}

std::optional<tracelevel_t> traceimpl::maxLevelSoon(const hashedfunction& function) noexcept
{
    const tolvane::Auto_TimedMutex lock(m_instanceMutex,
                                        patienceOfEnding * tolvane::ticksPerMillisecond);
    return lock.owns() ? std::optional(maxLevel(function)) : std::nullopt;
}
