#include "tests/helpers/childprocess.h"

#include "support/windows/platform.h"

#include <tlhelp32.h>

#include <cwchar>

namespace childprocess {

namespace {

using clock = std::chrono::steady_clock;

class handle
{
public:
    handle() = default;
    explicit handle(HANDLE owned) : m_handle(owned) {}
    ~handle() { close(); }

    handle(const handle&) = delete;
    handle& operator=(const handle&) = delete;

    void close()
    {
        if (m_handle && m_handle != INVALID_HANDLE_VALUE) {
            CloseHandle(m_handle);
        }
        m_handle = nullptr;
    }

    HANDLE get() const { return m_handle; }
    HANDLE* place() { return &m_handle; }

private:
    HANDLE m_handle = nullptr;
};

/// Bytes that come from the child.
struct pipeend
{
    pipeend()
    {
        SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
        CreatePipe(reading.place(), writing.place(), &inherited, 0);
        SetHandleInformation(reading.get(), HANDLE_FLAG_INHERIT, 0);
    }

    /// Takes what is there, without waiting.
    /// \return whether something came.
    bool readInto(std::string& text)
    {
        DWORD available = 0;
        if (!PeekNamedPipe(reading.get(), nullptr, 0, nullptr, &available, nullptr) ||
            available == 0) {
            return false;
        }
        std::string bytes(available, '\0');
        DWORD count = 0;
        ReadFile(reading.get(), &bytes[0], available, &count, nullptr);
        text.append(bytes, 0, count);
        return count != 0;
    }

    handle reading;
    handle writing;
};

std::wstring widened(const std::string& text)
{
    return std::filesystem::path(text).wstring();
}

/// As the C runtime takes a command line apart: backslashes count only before a quotation mark.
std::wstring quoted(const std::wstring& argument)
{
    std::wstring result = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : argument) {
        if (character == L'"') {
            result.append(backslashes + 1, L'\\');
        }
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        result += character;
    }
    return result.append(backslashes, L'\\') + L'"';
}

/// Later entries would not replace earlier ones, so the replaced are left out.
std::wstring merged(const std::map<std::string, std::string>& added)
{
    std::wstring result;
    wchar_t* const own = GetEnvironmentStringsW();
    for (const wchar_t* entry = own; *entry; entry += std::wcslen(entry) + 1) {
        const std::wstring text = entry;
        bool replaced = false;
        for (const auto& variable : added) {
            const std::wstring start = widened(variable.first) + L"=";
            replaced = replaced || text.compare(0, start.size(), start) == 0;
        }
        if (!replaced) {
            result.append(text).push_back(L'\0');
        }
    }
    FreeEnvironmentStringsW(own);
    for (const auto& variable : added) {
        result.append(widened(variable.first + "=" + variable.second)).push_back(L'\0');
    }
    result.push_back(L'\0');
    return result;
}

bool start(const std::filesystem::path& program, const std::vector<std::string>& arguments,
           const std::map<std::string, std::string>& environment, HANDLE output, HANDLE error,
           handle& process)
{
    std::wstring command = quoted(program.wstring());
    for (const std::string& argument : arguments) {
        command += L' ' + quoted(widened(argument));
    }
    std::wstring variables = merged(environment);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = output;
    startup.hStdError = error;
    PROCESS_INFORMATION started = {};
    if (!CreateProcessW(program.wstring().c_str(), &command[0], nullptr, nullptr, TRUE,
                        CREATE_UNICODE_ENVIRONMENT, &variables[0], nullptr, &startup, &started)) {
        return false;
    }
    CloseHandle(started.hThread);
    *process.place() = started.hProcess;
    return true;
}

/// A system that is short of something for a moment refuses to start a program; that is no outcome
/// of what is tested.
bool startPatiently(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                    const std::map<std::string, std::string>& environment, HANDLE output,
                    HANDLE error, handle& process)
{
    constexpr int mostTries = 5;
    constexpr DWORD pause = 200; // milliseconds
    for (int tries = 1; !start(program, arguments, environment, output, error, process); ++tries) {
        if (tries == mostTries) {
            return false;
        }
        Sleep(pause);
    }
    return true;
}

} // namespace

childresult run(const std::filesystem::path& program, const std::vector<std::string>& arguments,
                const std::map<std::string, std::string>& environment,
                std::chrono::milliseconds limit)
{
    constexpr DWORD pollInterval = 5; // milliseconds
    childresult result;
    pipeend output;
    pipeend error;
    handle process;
    if (!startPatiently(program, arguments, environment, output.writing.get(), error.writing.get(),
                        process)) {
        result.error = "not started: error " + std::to_string(GetLastError());
        return result;
    }
    output.writing.close();
    error.writing.close();
    const clock::time_point deadline = clock::now() + limit;
    clock::time_point last = clock::now();
    bool ended = false;
    while (!ended && !result.timedOut) {
        ended = WaitForSingleObject(process.get(), pollInterval) == WAIT_OBJECT_0;
        const bool came = output.readInto(result.output);
        if (error.readInto(result.error) || came) {
            last = clock::now();
        }
        result.timedOut = !ended && clock::now() >= deadline;
    }
    result.endTook = std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - last);
    if (result.timedOut) {
        TerminateProcess(process.get(), static_cast<UINT>(-1));
        WaitForSingleObject(process.get(), INFINITE);
    }
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    result.exitCode = static_cast<int>(code);
    return result;
}

std::filesystem::path beside(const std::string& name)
{
    wchar_t own[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    return std::filesystem::path(own).parent_path() / (name + ".exe");
}

bool threadsRunDuringExit()
{
    return false;
}

int threadCount()
{
    const handle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0));
    THREADENTRY32 thread = {};
    thread.dwSize = sizeof thread;
    int count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &thread); more;
         more = Thread32Next(snapshot.get(), &thread)) {
        count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    return count;
}

} // namespace childprocess
