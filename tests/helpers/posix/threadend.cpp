#include "tests/helpers/threadend.h"

#include "stacktrace/posix/threadend.h"
#include "support/threadid.h"

#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>

namespace {

std::mutex codesMutex;
std::map<unsigned int, unsigned int> codes;

void noteCode(unsigned int code)
{
    const std::lock_guard<std::mutex> lock(codesMutex);
    codes[tolvane::currentThreadId()] = code;
}

/// A main thread that has ended stays listed, as a zombie.
bool isRunning(unsigned int thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(file, text);
    const std::size_t state = text.rfind(") ");
    return state != std::string::npos && text[state + 2] != 'Z';
}

} // namespace

/// Makes the place for the code now: the thread may end amid the allocator.
threadend::threadend() : m_thread(tolvane::currentThreadId())
{
    noteCode(0);
    faults::observeThreadEnd(&noteCode);
}

unsigned int threadend::wait() const
{
    while (isRunning(m_thread)) {
        std::this_thread::yield();
    }
    const std::lock_guard<std::mutex> lock(codesMutex);
    return codes[m_thread];
}
