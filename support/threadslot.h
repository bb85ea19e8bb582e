#pragma once

/// One pointer per thread, null at first; cheaper than a search by thread id. Touches no error code
/// of the thread.
namespace tolvane::threadslot {

void* get() noexcept;
void set(void* value) noexcept;

} // namespace tolvane::threadslot
