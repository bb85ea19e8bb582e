#include "stacktrace/windows/framewalk.h"

#include "tests/helpers/windows/structuredframes.h"

#include <catch2/catch.hpp>

#include <exception>
#include <new>
#include <stdexcept>
#include <typeinfo>

/// The startup code's filter.
extern "C" long CALLBACK _gnu_exception_handler(EXCEPTION_POINTERS* fault);

namespace {

using faults::FaultOwner;
using faults::FaultPoint;
using faults::ProcessHandlers;
using faults::ThreadStack;

bool takesStandardExceptions(const void* type)
{
    return *static_cast<const std::type_info*>(type) == typeid(std::exception);
}

ProcessHandlers& handlers()
{
    static ProcessHandlers known;
    known.structured[0] = reinterpret_cast<const void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "__C_specific_handler"));
    known.catchTest = takesStandardExceptions;
    return known;
}

void walkFromHere(void* owner)
{
    FaultPoint point;
    RtlCaptureContext(&point.context);
    point.isCaller = true; // where the capture returned to
    *static_cast<FaultOwner*>(owner) = ownerOfFault(point, ThreadStack::current(), handlers());
}

// Called through pointers, so that each frame stays one.
using Call = void (*)(void*);
volatile Call walk = walkFromHere;

struct Destroyed
{
    ~Destroyed() { ++count; }
    static volatile int count;
};

volatile int Destroyed::count = 0;

void plain(void* owner)
{
    walk(owner);
    Destroyed::count = Destroyed::count + 1; // no tail call
}

void cleaningUp(void* owner)
{
    const Destroyed local;
    walk(owner);
}

void catching(void* owner)
{
    try {
        walk(owner);
    } catch (const std::exception&) {
        Destroyed::count = 0;
    }
}

void catchingOthers(void* owner)
{
    try {
        walk(owner);
    } catch (const std::bad_alloc&) {
        Destroyed::count = 0;
    }
}

void lettingNothingOut(void* owner) noexcept
{
    walk(owner);
    Destroyed::count = 0;
}

void guarded(void* owner)
{
    guardedCall(walk, owner);
}

void filtered(void* owner)
{
    filteredCall(walk, owner);
}

void finallyOnly(void* owner)
{
    finallyCall(walk, owner);
}

template <void (*inner)(void*)>
void insideGuard(void* owner)
{
    guardedCall(inner, owner);
}

template <void (*inner)(void*)>
void insideCatch(void* owner)
{
    static const volatile Call call = inner;
    try {
        call(owner);
    } catch (const std::exception&) {
        Destroyed::count = 0;
    }
}

struct Start
{
    Call call;
    FaultOwner owner;
};

DWORD WINAPI runCall(void* start)
{
    Start& own = *static_cast<Start*>(start);
    own.call(&own.owner);
    return 0;
}

/// On a thread of its own, where no frame but the given ones handles anything.
FaultOwner ownerIn(Call call)
{
    Start start = {call, FaultOwner::nobody};
    const HANDLE thread = CreateThread(nullptr, 0, runCall, &start, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return start.owner;
}

} // namespace

TEST_CASE("a fault under no handler belongs to nobody", "[stacktrace]")
{
    CHECK(ownerIn(plain) == FaultOwner::nobody);
}

TEST_CASE("destructors on the way do not make a fault theirs", "[stacktrace]")
{
    CHECK(ownerIn(cleaningUp) == FaultOwner::nobody);
    CHECK(ownerIn(insideCatch<cleaningUp>) == FaultOwner::cppFrame);
    CHECK(ownerIn(insideGuard<cleaningUp>) == FaultOwner::structuredHandler);
}

TEST_CASE("the nearer of a catch clause and a structured handler owns a fault", "[stacktrace]")
{
    CHECK(ownerIn(catching) == FaultOwner::cppFrame);
    CHECK(ownerIn(guarded) == FaultOwner::structuredHandler);
    CHECK(ownerIn(insideGuard<catching>) == FaultOwner::cppFrame);
    CHECK(ownerIn(insideCatch<guarded>) == FaultOwner::structuredHandler);
}

TEST_CASE("a catch clause for other types does not own a fault", "[stacktrace]")
{
    CHECK(ownerIn(catchingOthers) == FaultOwner::nobody);
    CHECK(ownerIn(insideGuard<catchingOthers>) == FaultOwner::structuredHandler);
}

TEST_CASE("a fault ends at a function that lets nothing out", "[stacktrace]")
{
    CHECK(ownerIn(lettingNothingOut) == FaultOwner::cppFrame);
    CHECK(ownerIn(insideGuard<lettingNothingOut>) == FaultOwner::cppFrame);
}

TEST_CASE("a __finally block does not own a fault", "[stacktrace]")
{
    CHECK(ownerIn(finallyOnly) == FaultOwner::nobody);
    CHECK(ownerIn(insideCatch<finallyOnly>) == FaultOwner::cppFrame);
}

TEST_CASE("the filter of the startup code does not own a fault", "[stacktrace]")
{
    CHECK(ownerIn(filtered) == FaultOwner::structuredHandler);

    handlers().startupFilter = reinterpret_cast<const void*>(&takeEverything);
    const FaultOwner owner = ownerIn(filtered);
    handlers().startupFilter = nullptr;

    CHECK(owner == FaultOwner::nobody);
}

TEST_CASE("filters in modules that start threads do not own a fault", "[stacktrace]")
{
    handlers().baseModules[0] = reinterpret_cast<uintptr_t>(GetModuleHandleW(nullptr));
    const FaultOwner owner = ownerIn(guarded);
    handlers().baseModules[0] = 0;

    CHECK(owner == FaultOwner::nobody);
}

TEST_CASE("the startup filter is found from the program's entry", "[stacktrace]")
{
    const void* filter = faults::startupFilterOf(GetModuleHandleW(nullptr), handlers());

    CHECK(filter == reinterpret_cast<const void*>(&_gnu_exception_handler));
}

TEST_CASE("a return address for a fault never reads as the end of a function", "[stacktrace]")
{
    DWORD64 stack[] = {0, 0, 0, 0, 0x1111, reinterpret_cast<DWORD64>(&walkFromHere), 0};
    FaultPoint fault = {};
    fault.context.Rip = reinterpret_cast<DWORD64>(readLikeEpiloguePlace);
    fault.context.Rsp = reinterpret_cast<DWORD64>(stack);

    CHECK(returnAddressFor(fault) == fault.context.Rip + 3);
}

TEST_CASE("a jump to a bad address counts as a fault of the caller", "[stacktrace]")
{
    DWORD64 stack[] = {0x1234, 0};
    CONTEXT context = {};
    context.Rip = 16;
    context.Rsp = reinterpret_cast<DWORD64>(stack);

    const FaultPoint point = faults::faultPoint(context);

    CHECK(point.isCaller);
    CHECK(point.context.Rip == 0x1234);
    CHECK(point.context.Rsp == reinterpret_cast<DWORD64>(stack + 1));
    CHECK(returnAddressFor(point) == 0x1234);
}

TEST_CASE("a thread's stack holds what is on it", "[stacktrace]")
{
    CONTEXT context;
    RtlCaptureContext(&context);
    const ThreadStack stack = ThreadStack::current();

    CHECK(stack.holds(context));
    context.Rsp = stack.end;
    CHECK_FALSE(stack.holds(context));
    context.Rsp = stack.start - 8;
    CHECK_FALSE(stack.holds(context));
}
