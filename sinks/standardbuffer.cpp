#include "sinks/standardbuffer.h"

#include <iostream>

#if __has_include(<ext/stdio_sync_filebuf.h>)

#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>

#include <cstdio>
#include <cstring>

namespace tolvane {

namespace {

using syncedbuffer = __gnu_cxx::stdio_sync_filebuf<char>;
using ownbuffer = __gnu_cxx::stdio_filebuf<char>;

/// A program may be compiled without type information: what its classes' tables have in its place
/// is null, and to ask for it would be a fault.
bool hasTypeInformation(const std::streambuf& buffer)
{
    const void* const* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&buffer), sizeof table);
    return table[-1] != nullptr;
}

} // namespace

/// The standard streams have buffers of classes of their own here, others after
/// std::ios_base::sync_with_stdio(false).
std::optional<standardstream> standardStreamOf(std::streambuf* buffer)
{
    constexpr int outputDescriptor = 1;
    constexpr int errorDescriptor = 2;
    if (!buffer || !hasTypeInformation(*buffer)) {
        return std::nullopt;
    }
    auto* const synced = dynamic_cast<syncedbuffer*>(buffer);
    auto* const own = dynamic_cast<ownbuffer*>(buffer);
    if ((synced && synced->file() == stdout) || (own && own->fd() == outputDescriptor)) {
        return standardstream::output;
    }
    if ((synced && synced->file() == stderr) || (own && own->fd() == errorDescriptor)) {
        return standardstream::error;
    }
    return std::nullopt;
}

} // namespace tolvane

#else

namespace tolvane {

namespace {

// As they are when the library is loaded; here they stay the same whatever is said to stdio.
std::streambuf* const outputBuffer = std::cout.rdbuf();
std::streambuf* const errorBuffer = std::cerr.rdbuf();
std::streambuf* const logBuffer = std::clog.rdbuf();

} // namespace

std::optional<standardstream> standardStreamOf(std::streambuf* buffer)
{
    if (!buffer) {
        return std::nullopt;
    }
    if (buffer == outputBuffer) {
        return standardstream::output;
    }
    if (buffer == errorBuffer || buffer == logBuffer) {
        return standardstream::error;
    }
    return std::nullopt;
}

} // namespace tolvane

#endif
