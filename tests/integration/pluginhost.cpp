// A program that knows nothing of tolvane, and loads and unloads libraries that do: one scenario
// per run, named by the first argument. The second argument is the trace file's name, the third a
// number of rounds.

#include "tests/helpers/library.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

namespace {

constexpr const char* pluginName = "tolvane_plugin";
constexpr const char* libraryName = "tolvane";

void say(const char* text)
{
    std::printf("%s\n", text);
    std::fflush(stdout);
}

struct plugin
{
    explicit plugin(const char* name) : file(name) {}

    void attachSink() const { file.function<void()>("attachSink")(); }
    void removeSink() const { file.function<void()>("removeSink")(); }
    void attachFile(const char* name) const
    {
        file.function<void(const char*)>("attachFile")(name);
    }
    void traceLines(int count) const { file.function<void(int)>("traceLines")(count); }
    void speakAtEnd() const { file.function<void()>("speakAtEnd")(); }
    void speakBeforeDispatcherEnds() const { file.function<void()>("speakBeforeDispatcherEnds")(); }
    bool sync() const { return file.function<bool()>("sync")(); }

    library file;
};

char** argumentTexts = nullptr;

/// Stays to the end, and traces when the other one is gone.
const plugin& staying()
{
    static const auto* const loaded = new plugin("tolvane_other_plugin");
    return *loaded;
}

void leaveSinkBehind()
{
    staying().attachFile(argumentTexts[2]);
    {
        const plugin gone(pluginName);
        gone.attachSink();
        gone.traceLines(3);
        gone.sync();
    }
    say(library::isInMemory(pluginName) ? "not unloaded" : "unloaded");
}

void traceAfterwards()
{
    leaveSinkBehind();
    staying().traceLines(5);
    say(staying().sync() ? "all is written" : "nobody writes");
    staying().traceLines(5);
    say(staying().sync() ? "and again" : "nobody writes any more");
}

void exitAtOnce()
{
    leaveSinkBehind();
}

void exitWithLines()
{
    leaveSinkBehind();
    staying().traceLines(5);
}

void loadManyTimes()
{
    for (int rounds = std::atoi(argumentTexts[3]); rounds != 0; --rounds) {
        const plugin loaded(pluginName);
        if (!loaded.file.isLoaded()) {
            say("not loaded");
            std::_Exit(1);
        }
        loaded.attachFile(argumentTexts[2]);
        loaded.attachSink();
        loaded.traceLines(1);
        if (rounds % 2 == 0) {
            loaded.traceLines(3);
        }
        loaded.removeSink();
    }
    say(library::isInMemory(pluginName) ? "not unloaded" : "unloaded");
    say(library::isInMemory(libraryName) ? "the library stays" : "the library is gone");
}

/// What it wrote goes on being written, by a thread of its own.
void unloadLibrary()
{
    staying().attachFile(argumentTexts[2]);
    staying().traceLines(1);
    for (int round = 0; round < 10; ++round) {
        const library again(libraryName);
    }
    staying().traceLines(1);
    say(staying().sync() ? "all is written" : "nobody writes");
}

void speakAtEnd()
{
    staying().attachFile(argumentTexts[2]);
    staying().speakAtEnd();
    say(staying().sync() ? "all is written" : "nobody writes");
}

void speakBeforeDispatcherEnds()
{
    staying().attachFile(argumentTexts[2]);
    staying().traceLines(1);
    staying().speakBeforeDispatcherEnds();
    say(staying().sync() ? "all is written" : "nobody writes");
}

const std::map<std::string, void (*)()> scenarios = {
    {"speakAtEnd", speakAtEnd},           {"speakBeforeDispatcherEnds", speakBeforeDispatcherEnds},
    {"traceAfterwards", traceAfterwards}, {"exitAtOnce", exitAtOnce},
    {"exitWithLines", exitWithLines},     {"loadManyTimes", loadManyTimes},
    {"unloadLibrary", unloadLibrary},
};

} // namespace

int main(int count, char** arguments)
{
    constexpr int unknownScenario = 99;
    argumentTexts = arguments;
    const auto scenario = scenarios.find(count > 3 ? arguments[1] : "");
    if (scenario == scenarios.end()) {
        return unknownScenario;
    }
    scenario->second();
    return 0;
}
