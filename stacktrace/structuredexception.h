#pragma once

#include <tolvane/noncopyable.h>

#include <exception>

/// What a hardware fault, or a raised structured exception, becomes. Applications catch it as
/// std::exception.
class StructuredException : public std::exception, public tolvane::nonassignable_::nonassignable
{
public:
    /// \param message  a text that lives for ever.
    explicit StructuredException(const char* message) noexcept : m_message(message) {}
    ~StructuredException() override;

    StructuredException(const StructuredException& other) noexcept = default;

    const char* what() const noexcept override { return m_message; }

    /// The explanation of a code; never null, and valid for ever.
    static const char* explain(unsigned int code) noexcept;

private:
    const char* m_message; ///< not owned
};

/// The same for a fault amid the allocator: whoever handles it may wait for ever for memory.
class AllocatorFault final : public StructuredException
{
public:
    using StructuredException::StructuredException;

private:
    unsigned char m_odd[856] = {}; ///< a size that programs seldom ask for, and allocators keep
};
