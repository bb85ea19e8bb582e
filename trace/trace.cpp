#include <tolvane/trace.h>

#include <tolvane/hashedfunction.h>

#include "settings/environment.h"
#include "settings/levelsettings.h"
#include "settings/outputsettings.h"
#include "settings/settingssinks.h"
#include "sinks/levelgeneration.h"
#include "support/callerserror.h"
#include "support/narrowtext.h"
#include "support/view.h"
#include "trace/insidelibrary.h"
#include "trace/traceimpl.h"

namespace {

traceimpl& dispatcher()
{
    return safesingleton<traceimpl>::instance();
}

} // namespace

nullobject trace::__nullobject;

tracestream& trace::output(const tracestream& sink)
{
    const tolvane::CallersError callersError;
    return dispatcher().output(sink);
}

void trace::remove(const tracestream& sink)
{
    const tolvane::CallersError callersError;
    dispatcher().remove(sink);
}

void trace::setLevel(tracelevel_t level)
{
    const insidelibrary inside;
    dispatcher().setLevel(level, tolvane::string());
}

void trace::setLevel(tracelevel_t level, const tolvane::string& name)
{
    const insidelibrary inside;
    dispatcher().setLevel(level, name);
}

void trace::setLevel(const tracestream& sink, tracelevel_t level, const tolvane::string& name)
{
    const insidelibrary inside;
    dispatcher().setLevel(sink, level, name);
}

bool trace::setLevels(const tolvane::string& settings)
{
    const insidelibrary inside;
    tolvane::levelsettings levels;
    if (!levels.read(tolvane::view(settings))) {
        return false;
    }
    dispatcher().setLevels(levels);
    return true;
}

bool trace::outputFromEnvironment(const char* variable)
{
    const insidelibrary inside;
    std::wstring text;
    tolvane::outputsettings settings;
    if (!variable || !tolvane::readEnvironment(variable, text)) {
        return true;
    }
    if (!settings.read(text)) {
        const tolvane::string name(variable);
        tolvane::complain(tolvane::view(name), settings.wrong());
        return false;
    }
    const tolvane::SettingsSinks sinks;
    for (const tolvane::outputsettings::entry& each : settings.all()) {
        dispatcher().output(*sinks.make(each.to), each.levels);
    }
    return true;
}

bool trace::followSettings(const tolvane::string& path)
{
    const tolvane::CallersError callersError;
    return dispatcher().followSettings(path);
}

tracelevel_t trace::level(const hashedfunction& function)
{
    tracelevel_t remembered = tl_always;
    return function.remembersLevel(remembered) ? remembered : dispatcher().maxLevel(function);
}

/// A copy is converted: the caller's object may be in use by several threads.
tracelevel_t trace::level(const tolvane::string& name)
{
    const insidelibrary inside;
    return level(hashedfunction(tolvane::string(name).narrow()));
}

tracelevel_t trace::level(const std::string& name)
{
    return level(name.c_str());
}

tracelevel_t trace::level(const char* name)
{
    const insidelibrary inside;
    return level(tolvane::string(name));
}

const hashedfunction& trace::registerfunction(const char* signature)
{
    const insidelibrary inside;
    return dispatcher().registerfunction(signature);
}

const hashedfunction& trace::registerfunction(const wchar_t* signature)
{
    const insidelibrary inside;
    return registerfunction(tolvane::string(signature).narrow());
}

void trace::clearLevels(tracelevel_t level)
{
    const insidelibrary inside;
    dispatcher().clearLevels(level);
}

void trace::clearLevels(const tolvane::string& name)
{
    const insidelibrary inside;
    dispatcher().clearLevels(name);
}

void trace::clearLevels(const tracestream& sink, const tolvane::string& name)
{
    const insidelibrary inside;
    dispatcher().clearLevels(sink, name);
}

void trace::useUtf8()
{
    tolvane::narrowtext::setUtf8(true);
}

tolvane::string trace::describe()
{
    const insidelibrary inside;
    return dispatcher().describe();
}

tracelevel_t trace::getLevelFromInt(int level, tracelevel_t fallback)
{
    return static_cast<unsigned int>(level) <= tl_trace ? static_cast<tracelevel_t>(level)
                                                        : fallback;
}

void trace::nameThread(const tolvane::string& name)
{
    dispatcher().nameThread(name);
}

void trace::flush(unsigned long long milliseconds)
{
    const tolvane::CallersError callersError;
    dispatcher().flushQueue(milliseconds);
}

void trace::flushOn(tracelevel_t level)
{
    dispatcher().flushOn(level);
}

unsigned long long trace::lost()
{
    return lost(busySink) + lost(noMemory) + lost(destination) + lost(ended);
}

unsigned long long trace::lost(lossreason reason)
{
    const insidelibrary inside;
    return dispatcher().lost(reason);
}

bool trace::sync(unsigned long long milliseconds)
{
    const tolvane::CallersError callersError;
    return dispatcher().sync(milliseconds);
}
