#pragma once

/// Numbers that order what threads do: of two stamps of which one was taken after the other, as far
/// as any thread could tell, the later one is greater.
///
/// They come from the processor's counter of cycles where the system itself keeps time by it, since
/// it then runs evenly and alike on all processors, and taking one touches no shared memory.
/// Elsewhere a counter serves that all threads share. Any thread may call everything here.
namespace tolvane::stamps {

/// A stamp of this moment. What the thread has read before was read before the stamp was taken.
unsigned long long now() noexcept;

/// The same; what the thread reads afterwards is read after the stamp was taken, too.
unsigned long long nowBeforeReading() noexcept;

/// Lets all stamps from now on be at least this one, which was taken before the call. A counter of
/// cycles may begin anew while the machine sleeps.
void catchUp(unsigned long long stamp) noexcept;

/// Whether stamps count cycles, of which there are at least one in two nanoseconds.
bool areCycles() noexcept;

/// The counter of cycles falls back by so many. For tests; does nothing for the shared counter.
void fallBehind(unsigned long long cycles) noexcept;

/// Stamps come from the shared counter from now on, or again from where the platform has them;
/// neither lets a later stamp be smaller. For tests.
void useSharedCounter(bool shared) noexcept;

// By the platform:

/// Whether the system keeps its own time by the counter of cycles.
bool systemTrustsCycles() noexcept;

/// The counter of cycles, read after everything that the thread has read before.
unsigned long long cycles() noexcept;

/// Keeps what the thread reads afterwards from being read before.
void fenceReads() noexcept;

} // namespace tolvane::stamps
