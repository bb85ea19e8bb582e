#pragma once

namespace tolvane {

/// Has the processor fetch the cache line of an address that will be written soon, perhaps from
/// another processor that wrote it last. Changes nothing but the time that writing takes; any
/// address is allowed.
void prefetch(const void* address) noexcept;

} // namespace tolvane
