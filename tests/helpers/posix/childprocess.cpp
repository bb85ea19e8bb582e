#include "tests/helpers/childprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <thread>

extern char** environ;

namespace childprocess {

namespace {

using clock = std::chrono::steady_clock;

/// Bytes that come from the child.
struct pipeend
{
    pipeend() { open = ::pipe2(ends, O_CLOEXEC) == 0; }
    ~pipeend()
    {
        closeWriting();
        if (ends[0] >= 0) {
            ::close(ends[0]);
        }
    }

    pipeend(const pipeend&) = delete;
    pipeend& operator=(const pipeend&) = delete;

    void closeWriting()
    {
        if (ends[1] >= 0) {
            ::close(ends[1]);
            ends[1] = -1;
        }
    }

    /// \return whether something came.
    bool readInto(std::string& text)
    {
        char bytes[4096];
        const ssize_t count = ::read(ends[0], bytes, sizeof bytes);
        open = count > 0;
        if (open) {
            text.append(bytes, static_cast<std::size_t>(count));
        }
        return open;
    }

    int ends[2] = {-1, -1};
    bool open = false;
};

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> merged(const std::map<std::string, std::string>& added)
{
    std::vector<std::string> result;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (added.count(text.substr(0, text.find('='))) == 0) {
            result.push_back(text);
        }
    }
    for (const auto& entry : added) {
        result.push_back(entry.first + "=" + entry.second);
    }
    return result;
}

/// \return 0 when it could not be started.
pid_t start(const std::filesystem::path& program, const std::vector<std::string>& arguments,
            const std::map<std::string, std::string>& environment, int output, int error)
{
    std::vector<std::string> words{program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variables = merged(environment);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // A group of its own, to be killed with its children; and no signal is ignored in it because
    // whoever runs the tests ignores it, as nohup does.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF);
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigdefault(&attributes, &all);
    pid_t child = 0;
    const int failed = posix_spawn(&child, program.c_str(), &actions, &attributes,
                                   pointers(words).data(), pointers(variables).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return failed == 0 ? child : 0;
}

int exitCode(int status)
{
    constexpr int signalOffset = 128; // as shells do
    return WIFEXITED(status) ? WEXITSTATUS(status) : signalOffset + WTERMSIG(status);
}

/// Reads until both ends are closed or the time is up.
/// \return when the last byte came.
clock::time_point collect(pipeend& output, pipeend& error, childresult& result,
                          clock::time_point deadline)
{
    clock::time_point last = clock::now();
    while ((output.open || error.open) && clock::now() < deadline) {
        pollfd watched[] = {{output.open ? output.ends[0] : -1, POLLIN, 0},
                            {error.open ? error.ends[0] : -1, POLLIN, 0}};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now());
        ::poll(watched, 2, static_cast<int>(std::max<long long>(left.count(), 0)));
        const bool came = (watched[0].revents && output.readInto(result.output));
        if ((watched[1].revents && error.readInto(result.error)) || came) {
            last = clock::now();
        }
    }
    return last;
}

} // namespace

childresult run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                const std::map<std::string, std::string>& environment,
                std::chrono::milliseconds limit)
{
    childresult result;
    pipeend output;
    pipeend error;
    const pid_t child = start(program, arguments, environment, output.ends[1], error.ends[1]);
    if (child == 0) {
        return result;
    }
    output.closeWriting();
    error.closeWriting();
    const clock::time_point deadline = clock::now() + limit;
    const clock::time_point last = collect(output, error, result, deadline);
    int status = 0;
    pid_t ended = 0;
    while ((ended = ::waitpid(child, &status, WNOHANG)) == 0 && clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    result.timedOut = ended == 0;
    result.endTook = std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - last);
    ::kill(-child, SIGKILL); // whoever is left of its group
    if (result.timedOut) {
        ::waitpid(child, &status, 0);
    }
    result.exitCode = exitCode(status);
    return result;
}

std::filesystem::path beside(const std::string& name)
{
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

bool threadsRunDuringExit()
{
    return true;
}

int threadCount()
{
    return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"),
                                          std::filesystem::directory_iterator()));
}

} // namespace childprocess
