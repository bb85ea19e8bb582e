#pragma once

namespace faults {

/// Calls use(address) for each loaded module that exports a function of this name.
///
/// \param context  passed on to every call.
///
/// Modules beyond the first 1024 are left out. Takes the loader's lock for moments: not for use
/// while a fault is being handled.
void forEachExport(const char* name, void (*use)(void* address, void* context), void* context);

} // namespace faults
