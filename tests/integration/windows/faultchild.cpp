// Lets one kind of fault happen, for tests that watch from outside: faultchild <case>
// [<arguments>]. Says on standard output what arrived where; reports go to standard error.

#include "support/windows/platform.h"
#include "tests/helpers/windows/loaderlock.h"
#include "tests/helpers/windows/structuredframes.h"

#include <tolvane/tolvane.h>

#include <tlhelp32.h>

#include <process.h>
#include <xmmintrin.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

void say(const std::string& text)
{
    const std::string line = text + "\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line.data(), static_cast<DWORD>(line.size()),
              &written, nullptr);
}

// What the compiler must not see through.
volatile int seven = 7;
volatile int zero = 0;
volatile double floatZero = 0;
int* volatile nowhere = nullptr;
volatile int sink = 0;

[[noreturn]] void raiseAnywhere(DWORD code, DWORD flags)
{
    RaiseException(code, flags, 0, nullptr);
    std::abort();
}

void readNowhere()
{
    sink = *nowhere;
}

void writeNowhere()
{
    *nowhere = 1;
}

void callNowhere()
{
    const auto address = reinterpret_cast<void (*)()>(reinterpret_cast<uintptr_t>(nowhere) + 16);
    address();
    sink = 1; // no tail call
}

void jumpNowhere()
{
    void (*volatile address)() = nullptr;
    address();
}

void callData()
{
    static unsigned char data[] = {0xc3};
    void (*volatile address)() = reinterpret_cast<void (*)()>(data);
    address();
    sink = 1;
}

/// Code without unwind information.
void readInLeaf()
{
    static const unsigned char code[] = {0x31, 0xc0, 0x8b, 0x00, 0xc3}; // eax = *0
    void* const page =
        VirtualAlloc(nullptr, sizeof code, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
    std::copy(std::begin(code), std::end(code), static_cast<unsigned char*>(page));
    reinterpret_cast<void (*)()>(page)();
    sink = 1;
}

void readBeforeEpilogue()
{
    readLikeEpilogue(nowhere);
    sink = 1;
}

void divideInteger()
{
    sink = seven / zero;
}

void divideFloat()
{
    _mm_setcsr(_mm_getcsr() & ~static_cast<unsigned>(_MM_MASK_DIV_ZERO));
    sink = static_cast<int>(1.0 / floatZero);
}

void divideX87()
{
    const unsigned short divisionUnmasked = 0x037b;
    __asm__ volatile("fldcw %0\n fld1\n fldz\n fdivrp\n fwait" : : "m"(divisionUnmasked));
    sink = 1;
}

void executeUndefined()
{
    __asm__ volatile("ud2");
    sink = 1;
}

void executePrivileged()
{
    __asm__ volatile("hlt");
    sink = 1;
}

void breakHere()
{
    __asm__ volatile("int3");
    sink = 1;
}

void stepHere()
{
    __asm__ volatile("pushfq\n orq $0x100, (%%rsp)\n popfq\n nop\n nop" : : : "memory");
    sink = 1;
}

void readWithFlags()
{
    __asm__ volatile("std\n movl (%0), %%eax\n cld" : : "r"(nowhere) : "eax");
    sink = 1;
}

void readOffBalance()
{
    __asm__ volatile("subq $8, %%rsp\n movl (%0), %%eax\n addq $8, %%rsp" : : "r"(nowhere) : "eax");
    sink = 1;
}

void touchGuardPage()
{
    const size_t page = 4096;
    sink = *static_cast<volatile int*>(
        VirtualAlloc(nullptr, page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE | PAGE_GUARD));
}

struct Fault
{
    const char* name;
    void (*cause)();
};

const Fault allFaults[] = {
    {"read", readNowhere},
    {"write", writeNowhere},
    {"call", callNowhere},
    {"jump", jumpNowhere},
    {"call data", callData},
    {"read in a leaf", readInLeaf},
    {"read before an epilogue", readBeforeEpilogue},
    {"read with the direction flag", readWithFlags},
    {"read with an odd stack", readOffBalance},
    {"integer division", divideInteger},
    {"float division", divideFloat},
    {"x87 division", divideX87},
    {"illegal instruction", executeUndefined},
    {"privileged instruction", executePrivileged},
    {"breakpoint", breakHere},
    {"single step", stepHere},
    {"guard page", touchGuardPage},
    {"raised bounds", [] { raiseAnywhere(0xC000008C, EXCEPTION_NONCONTINUABLE); }},
    {"raised 1", [] { raiseAnywhere(1, 0); }},
    {"raised 40001234", [] { raiseAnywhere(0x40001234, 0); }},
    {"raised E0001234", [] { raiseAnywhere(0xE0001234, 0); }},
};

/// Behind a pointer: the compiler believes that plain instructions don't throw.
void (*volatile cause)() = readNowhere;

void causeFault(void*)
{
    cause();
}

void chooseFault(const std::string& name)
{
    for (const Fault& fault : allFaults) {
        if (name == fault.name) {
            cause = fault.cause;
        }
    }
}

struct Local
{
    ~Local() { ++destroyed; }
    static std::atomic<int> destroyed;
};

std::atomic<int> Local::destroyed{0};

void causeWithLocal()
{
    const Local local;
    causeFault(nullptr);
}

/// Each fault twice: the second finds what the first left behind.
void catchAll()
{
    for (const Fault& fault : allFaults) {
        cause = fault.cause;
        for (int i = 0; i < 2; ++i) {
            try {
                causeWithLocal();
                say(std::string(fault.name) + ": not thrown");
            } catch (const std::exception& exception) {
                say(std::string(fault.name) + ": " + exception.what());
            }
        }
    }
    say("destroyed " + std::to_string(Local::destroyed));
}

/// 8 threads, 500 faults each, the kinds mixed.
void storm()
{
    const int threadCount = 8;
    const int faultsEach = 500;
    std::atomic<int> caught{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&caught, t] {
            for (int i = 0; i < faultsEach; ++i) {
                // all but the guard page, of which each would need a page of its own, and the last
                // ones
                void (*volatile own)() = allFaults[(i + t) % 16].cause;
                try {
                    own();
                    say(std::string("slipped: ") + allFaults[(i + t) % 16].name);
                } catch (const std::exception&) {
                    ++caught;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    say("caught " + std::to_string(caught));
}

// Threads of every kind. Each says its exit code and ends the process.

using Work = std::function<void()>;

HANDLE ownHandle()
{
    HANDLE handle = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &handle, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return handle;
}

[[noreturn]] void finishAfter(HANDLE thread)
{
    DWORD code = 0;
    WaitForSingleObject(thread, INFINITE);
    GetExitCodeThread(thread, &code);
    trace::sync(10000);
    say("ended " + std::to_string(code));
    ExitProcess(0);
}

DWORD WINAPI watch(void* thread)
{
    finishAfter(thread);
}

DWORD WINAPI work(void* task)
{
    (*static_cast<Work*>(task))();
    return 0;
}

unsigned __stdcall workOfRuntime(void* task)
{
    return work(task);
}

void runOn(const std::string& kind, Work task)
{
    if (kind == "main") {
        CreateThread(nullptr, 0, watch, ownHandle(), 0, nullptr);
        task();
        ExitThread(0);
    }
    if (kind == "CreateThread") {
        finishAfter(CreateThread(nullptr, 0, work, &task, 0, nullptr));
    }
    if (kind == "_beginthreadex") {
        const uintptr_t thread = _beginthreadex(nullptr, 0, workOfRuntime, &task, 0, nullptr);
        finishAfter(reinterpret_cast<HANDLE>(thread));
    }
    HANDLE handle = nullptr;
    std::thread thread([&] {
        handle = ownHandle();
        task();
    });
    thread.join();
    finishAfter(handle);
}

// What belongs to others.

void catchInside(void*)
{
    try {
        causeFault(nullptr);
    } catch (const std::exception&) {
        say("caught inside");
    }
}

void catchOther(void*)
{
    try {
        causeFault(nullptr);
    } catch (const std::bad_alloc&) {
        say("caught as another type");
    }
}

void raiseForeign(void*)
{
    try {
        raiseAnywhere(0xE06D7363, 0); // a throw of the Microsoft compiler
    } catch (const std::exception&) {
        say("foreign exception stolen");
    }
}

void nameThread()
{
    struct
    {
        DWORD type;
        const char* name;
        DWORD thread;
        DWORD flags;
    } const name = {0x1000, "worker", static_cast<DWORD>(-1), 0};
    const DWORD count = sizeof name / sizeof(ULONG_PTR);
    RaiseException(0x406D1388, 0, count, reinterpret_cast<const ULONG_PTR*>(&name));
}

void othersKeepTheirs()
{
    SetLastError(4321);
    say("guarded " + std::to_string(guardedCall(causeFault, nullptr)));
    say("last error " + std::to_string(GetLastError()));
    say("guarded, other catch " + std::to_string(guardedCall(catchOther, nullptr)));
    say("guarded, catch inside " + std::to_string(guardedCall(catchInside, nullptr)));
    say("filtered " + std::to_string(filteredCall(causeFault, nullptr)));
    say("foreign " + std::to_string(guardedCall(raiseForeign, nullptr)));
    int* const badAddress = nowhere + 4; // null itself is refused without a look
    say("bad pointer " +
        std::to_string(IsBadReadPtr(badAddress, 4) + IsBadWritePtr(badAddress, 4)));
    OutputDebugStringA("text");
    OutputDebugStringW(L"text");
    say("debug text written");
    guardedCall([](void*) { nameThread(); }, nullptr);
    say("thread named");
    cause = breakHere;
    say("guarded breakpoint " + std::to_string(guardedCall(causeFault, nullptr)));
    cause = touchGuardPage;
    say("guarded guard page " + std::to_string(guardedCall(causeFault, nullptr)));
}

void othersKeepTheirsUnderCatch()
{
    try {
        othersKeepTheirs();
    } catch (const std::exception& exception) {
        say(std::string("stolen: ") + exception.what());
    }
    cause = readNowhere;
    try {
        finallyCall(causeFault, nullptr);
    } catch (const std::exception&) {
        say("caught through __finally");
    }
}

struct Abstract
{
    Abstract() { callPure(); }
    virtual ~Abstract() = default;
    Abstract(const Abstract&) = delete;
    Abstract& operator=(const Abstract&) = delete;

    void callPure();
    virtual void pure() = 0;
};

void (Abstract::*volatile pureFunction)() = &Abstract::pure;

void Abstract::callPure()
{
    (this->*pureFunction)();
}

struct Concrete : Abstract
{
    void pure() override {}
};

// Invalid parameters of the runtimes that report them.

template <class Function>
Function* functionOf(HMODULE module, const char* name)
{
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

void giveInvalidParameters()
{
    const HMODULE universal = LoadLibraryW(L"ucrtbase.dll");
    const HMODULE older = LoadLibraryW(L"msvcr120.dll");
    stacktrace::installHandlers();

    char text[2] = {};
    const auto copy = functionOf<int __cdecl(char*, size_t, const char*)>(universal, "strcpy_s");
    say("strcpy_s " + std::to_string(copy(text, sizeof text, "abc")));
    say("_close " + std::to_string(functionOf<int __cdecl(int)>(universal, "_close")(-1)));
    functionOf<void __cdecl(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t)>(
        older, "_invalid_parameter")(L"x", L"f", L"a.c", 5, 0);
    say("returned");
    trace::sync(10000);
}

LONG WINAPI applicationFilter(EXCEPTION_POINTERS*)
{
    say("the application's filter");
    ExitThread(55);
}

/// A report that writes nothing, and how many threads the process has before and after.
void reportNothing()
{
    const auto threadCount = [] {
        const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
        THREADENTRY32 thread = {};
        thread.dwSize = sizeof thread;
        int count = 0;
        for (BOOL more = Thread32First(snapshot, &thread); more;
             more = Thread32Next(snapshot, &thread)) {
            count += thread.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
        }
        CloseHandle(snapshot);
        return count;
    };
    const int before = threadCount();
    std::thread([] { readNowhere(); }).join();
    say("more threads: " + std::to_string(threadCount() - before));
}

void loadUnload()
{
    const HMODULE library = GetModuleHandleW(L"tolvane.dll");
    for (int i = 0; i < 5; ++i) {
        FreeLibrary(library);
    }
    say(GetModuleHandleW(L"tolvane.dll") == library ? "still loaded" : "unloaded");
}

/// Runs this program's "uncaught breakpoint" on a kind of thread as its debugger, and gives the
/// breakpoint back unhandled; then it must come a second time.
void debug(const std::string& program, const std::string& thread)
{
    std::string command = '"' + program + "\" uncaught breakpoint " + thread;
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION child = {};
    CreateProcessA(nullptr, &command[0], nullptr, nullptr, TRUE, DEBUG_PROCESS, nullptr, nullptr,
                   &startup, &child);
    const DWORD patience = 20000; // milliseconds
    int breakpoints = 0;
    DEBUG_EVENT event;
    while (WaitForDebugEvent(&event, patience) &&
           event.dwDebugEventCode != EXIT_PROCESS_DEBUG_EVENT) {
        DWORD answer = DBG_CONTINUE;
        const EXCEPTION_DEBUG_INFO& exception = event.u.Exception;
        if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT &&
            exception.ExceptionRecord.ExceptionCode == STATUS_BREAKPOINT && ++breakpoints > 1) {
            answer = DBG_EXCEPTION_NOT_HANDLED; // the first is the system's own, at the start
            say(exception.dwFirstChance ? "breakpoint" : "breakpoint again");
            if (!exception.dwFirstChance) {
                TerminateProcess(child.hProcess, 0);
            }
        }
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
    }
    ContinueDebugEvent(event.dwProcessId, event.dwThreadId, DBG_CONTINUE);
    TerminateProcess(child.hProcess, 0);
}

/// No other thread can begin.
void reportUnderLoaderLock()
{
    lockLoader();
    stacktrace::FaultHandler("under the loader's lock");
    say("came back");
    std::_Exit(0);
}

void takeReports()
{
    static std::ostringstream text; // reports are written when a sink takes errors already
    trace::output(ostreamtracestream<char>(text));
    trace::setLevel(tl_error);
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv, argv + argc);
    const auto argument = [&](size_t index) {
        return index < arguments.size() ? arguments[index] : std::string();
    };
    const std::string name = argument(1);
    if (name == "nothing") {
        reportNothing();
        return 0;
    }
    takeReports();
    if (argument(4) == "install") {
        stacktrace::installHandlers();
    }
    if (name == "caught") {
        runOn(argument(2), catchAll);
    } else if (name == "storm") {
        storm();
    } else if (name == "uncaught") {
        chooseFault(argument(2));
        runOn(argument(3), causeWithLocal);
    } else if (name == "signal") {
        std::thread([] { std::raise(SIGSEGV); }).join();
        runOn(argument(2), [] { std::raise(SIGSEGV); });
    } else if (name == "pure") {
        runOn(argument(2), [] { const Concrete object; });
    } else if (name == "throw") {
        runOn(argument(2), [] { throw std::runtime_error("nobody catches it"); });
    } else if (name == "noexcept") {
        runOn(argument(2), []() noexcept { causeFault(nullptr); });
    } else if (name == "declined") {
        chooseFault(argument(3));
        runOn(argument(2), [] { decliningCall(causeFault, nullptr); });
    } else if (name == "others") {
        runOn(argument(2), othersKeepTheirsUnderCatch);
    } else if (name == "parameters") {
        giveInvalidParameters();
    } else if (name == "filter") {
        SetUnhandledExceptionFilter(applicationFilter);
        runOn("CreateThread", causeWithLocal);
    } else if (name == "loaderlock") {
        reportUnderLoaderLock();
    } else if (name == "unload") {
        loadUnload();
        runOn("main", catchAll);
    } else if (name == "debug") {
        debug(arguments[0], argument(2));
    }
}
