#include "support/standarderror.h"

#include "support/windows/platform.h"

#include <algorithm>

namespace tolvane {

namespace {

bool write(const char* bytes, std::size_t count) noexcept
{
    constexpr std::size_t mostAtOnce = 32768;
    const HANDLE file = GetStdHandle(STD_ERROR_HANDLE);
    while (count != 0) {
        DWORD written = 0;
        if (!WriteFile(file, bytes, static_cast<DWORD>(std::min(count, mostAtOnce)), &written,
                       nullptr) ||
            written == 0) {
            return false;
        }
        bytes += written;
        count -= written;
    }
    return true;
}

} // namespace

void writeStandardError(const char* bytes, std::size_t count) noexcept
{
    const char* const end = bytes + count;
    while (bytes != end) {
        const char* const lineEnd = std::find(bytes, end, '\n');
        if (!write(bytes, static_cast<std::size_t>(lineEnd - bytes))) {
            return;
        }
        bytes = lineEnd;
        if (bytes != end) {
            if (!write("\r\n", 2)) {
                return;
            }
            ++bytes;
        }
    }
}

} // namespace tolvane
