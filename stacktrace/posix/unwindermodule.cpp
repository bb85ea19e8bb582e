#include "stacktrace/posix/unwindermodule.h"

#include <link.h>
#include <unwind.h>

#include <cstddef>

namespace faults {

namespace {

bool segmentHolds(const dl_phdr_info& module, int header, uint64_t address)
{
    const uint64_t begin = module.dlpi_addr + module.dlpi_phdr[header].p_vaddr;
    return module.dlpi_phdr[header].p_type == PT_LOAD && address >= begin &&
           address - begin < module.dlpi_phdr[header].p_memsz;
}

int noteUnwinder(dl_phdr_info* module, size_t, void* result)
{
    // any of its functions would do but the raising one, which sanitizers replace by their own
    const auto unwinder = reinterpret_cast<uint64_t>(&_Unwind_Backtrace);
    const auto self = reinterpret_cast<uint64_t>(&noteUnwinder);
    const bool isProgram = module->dlpi_name[0] == '\0';
    for (int header = 0; header < module->dlpi_phnum; ++header) {
        if (segmentHolds(*module, header, unwinder) && !segmentHolds(*module, header, self) &&
            !isProgram) {
            const uint64_t begin = module->dlpi_addr + module->dlpi_phdr[header].p_vaddr;
            *static_cast<UnwinderModule*>(result) = {begin,
                                                     begin + module->dlpi_phdr[header].p_memsz};
            return 1;
        }
    }
    return 0;
}

} // namespace

const UnwinderModule& unwinderModule()
{
    static const UnwinderModule found = [] {
        UnwinderModule module;
        dl_iterate_phdr(&noteUnwinder, &module);
        return module;
    }();
    return found;
}

} // namespace faults
