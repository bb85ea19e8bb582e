#include "tests/reliability/threadlimit.h"

#include "support/windows/platform.h"

#include <process.h>
#include <tlhelp32.h>

#include <cerrno>
#include <cstdint>

namespace reliability {

namespace {

std::uintptr_t __cdecl refuse(void*, unsigned int, unsigned int(__stdcall*)(void*), void*,
                              unsigned int, unsigned int*)
{
    errno = EAGAIN;
    return 0;
}

/// Where a loaded module keeps the addresses of functions that it imports.
class imports
{
public:
    explicit imports(unsigned char* module) : m_module(module) {}

    /// Calls a function with each place.
    template <class visit_t>
    void visit(const visit_t& visit) const
    {
        const auto* const dos = at<IMAGE_DOS_HEADER>(0);
        const auto* const headers = at<IMAGE_NT_HEADERS64>(static_cast<DWORD>(dos->e_lfanew));
        const IMAGE_DATA_DIRECTORY& directory =
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        if (directory.VirtualAddress == 0) {
            return;
        }
        const auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(directory.VirtualAddress);
        for (; library->FirstThunk != 0; ++library) {
            for (auto* place = at<std::uintptr_t>(library->FirstThunk); *place != 0; ++place) {
                visit(*place);
            }
        }
    }

private:
    template <class part_t>
    part_t* at(DWORD offset) const
    {
        return reinterpret_cast<part_t*>(m_module + offset);
    }

    unsigned char* const m_module;
};

void put(std::uintptr_t& place, std::uintptr_t value)
{
    DWORD before = 0;
    VirtualProtect(&place, sizeof place, PAGE_READWRITE, &before);
    place = value;
    VirtualProtect(&place, sizeof place, before, &before);
}

/// Of all modules that are loaded.
void replaceImports(std::uintptr_t from, std::uintptr_t to)
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0);
    MODULEENTRY32 module = {};
    module.dwSize = sizeof module;
    for (BOOL more = Module32First(snapshot, &module); more;
         more = Module32Next(snapshot, &module)) {
        imports(module.modBaseAddr).visit([from, to](std::uintptr_t& place) {
            if (place == from) {
                put(place, to);
            }
        });
    }
    CloseHandle(snapshot);
}

} // namespace

/// The system has no limit: the C runtime's function is replaced by one that refuses.
struct threadlimit::Impl
{
    const std::uintptr_t real = reinterpret_cast<std::uintptr_t>(
        GetProcAddress(GetModuleHandleA("msvcrt.dll"), "_beginthreadex"));
    const std::uintptr_t refusing = reinterpret_cast<std::uintptr_t>(&refuse);
};

threadlimit::threadlimit() : m_impl(std::make_unique<Impl>())
{
    replaceImports(m_impl->real, m_impl->refusing);
}

threadlimit::~threadlimit()
{
    replaceImports(m_impl->refusing, m_impl->real);
}

} // namespace reliability
