#pragma once

/// The platform's threads.
namespace tolvane::nativethread {

/// What a started thread runs.
using Entry = unsigned int (*)(void* argument);

/// Starts a thread.
/// \param id     receives the operating system's number of the thread.
/// \param error  receives the C library's errno when no thread could be started.
/// \return a handle to be given to close(); null when no thread could be started.
void* start(Entry entry, void* argument, unsigned int& id, int& error) noexcept;

/// Whether the thread has ended, in whatever way.
bool ended(void* handle) noexcept;

/// Gives the handle back without waiting for the thread.
void close(void* handle) noexcept;

/// Whether the process is ending in such a way that every other thread was stopped where it stood.
/// From the second call on it takes no lock.
bool othersAreStopped() noexcept;

} // namespace tolvane::nativethread
