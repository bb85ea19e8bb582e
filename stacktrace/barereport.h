#pragma once

/// A fault's report where no memory can be had: the application ran out of it, or the fault came
/// amid the allocator, which would wait for itself.
struct barereport
{
    /// Makes what is needed beforehand. Throws std::bad_alloc.
    static void prepare();

    /// Writes the message and the stacks of all threads to standard error alone, as plain text in
    /// which characters beyond ASCII are question marks. Nothing, when no sink takes errors. Takes
    /// no memory, and waits for no lock for long: the holder may wait for what this thread holds.
    static void write(const char* message) noexcept;
};
