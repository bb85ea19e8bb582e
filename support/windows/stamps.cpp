#include "support/stamps.h"

#include "support/windows/platform.h"

#if defined(_MSC_VER)
#include <intrin.h>
#else
#include <cpuid.h>
#include <x86intrin.h>
#endif

namespace tolvane::stamps {

namespace {

unsigned int featureBits(unsigned int leaf) noexcept
{
#if defined(_MSC_VER)
    int registers[4] = {};
    __cpuid(registers, static_cast<int>(leaf));
    return static_cast<unsigned int>(registers[3]);
#else
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    return __get_cpuid(leaf, &eax, &ebx, &ecx, &edx) != 0 ? edx : 0;
#endif
}

/// Whether the counter runs evenly, whatever the processor does to save power.
bool isEven() noexcept
{
    constexpr unsigned int powerFeatures = 0x80000007;
    constexpr unsigned int invariantBit = 1U << 8;
    return (featureBits(powerFeatures) & invariantBit) != 0;
}

/// Wine shows a performance counter of that pace whatever its host keeps time by.
bool isEmulated() noexcept
{
    const HMODULE system = GetModuleHandleA("ntdll.dll");
    return system && GetProcAddress(system, "wine_get_version");
}

} // namespace

/// The performance counter counts ten million a second where the system derives it from the counter
/// of cycles, and at the pace of a chip on the board elsewhere.
bool systemTrustsCycles() noexcept
{
    constexpr long long paceOfCycles = 10000000;
    LARGE_INTEGER pace = {};
    return QueryPerformanceFrequency(&pace) && pace.QuadPart == paceOfCycles && isEven() &&
           !isEmulated();
}

/// A fence and the plain instruction: what follows may be done while the counter is read, which the
/// instruction that orders by itself takes longer for.
unsigned long long cycles() noexcept
{
    _mm_lfence();
    return __rdtsc();
}

void fenceReads() noexcept
{
    _mm_lfence();
}

} // namespace tolvane::stamps
