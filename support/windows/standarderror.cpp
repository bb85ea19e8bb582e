#include "support/standarderror.h"

#include "support/nativethread.h"
#include "support/windows/platform.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <string>

namespace tolvane {

namespace {

constexpr DWORD longestWait = 1000; ///< milliseconds

/// \return false when there is nothing to write to.
bool write(HANDLE file, const char* bytes, std::size_t count) noexcept
{
    constexpr std::size_t mostAtOnce = 32768;
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

void writeText(HANDLE file, const char* bytes, std::size_t count) noexcept
{
    const char* const end = bytes + count;
    while (bytes != end) {
        const char* const lineEnd = std::find(bytes, end, '\n');
        if (!write(file, bytes, static_cast<std::size_t>(lineEnd - bytes))) {
            return;
        }
        bytes = lineEnd;
        if (bytes != end) {
            if (!write(file, "\r\n", 2)) {
                return;
            }
            ++bytes;
        }
    }
}

/// A text on its way into a pipe, in which nobody can tell how much room there is.
struct Passage
{
    HANDLE pipe;
    std::string text;
    std::atomic<bool> isBegun{false};

    bool begin() noexcept { return !isBegun.exchange(true); }
};

/// The thread that has waited for a reader in vain the last time; null when there is none.
std::atomic<void*> stuck{nullptr};

unsigned int writePassage(void* argument)
{
    const std::unique_ptr<std::shared_ptr<Passage>> shared(
        static_cast<std::shared_ptr<Passage>*>(argument));
    Passage& passage = **shared;
    if (passage.begin()) {
        writeText(passage.pipe, passage.text.data(), passage.text.size());
    }
    return 0;
}

/// \return the thread that writes it; null when there is none to be had.
void* startWriting(const std::shared_ptr<Passage>& passage) noexcept
{
    if (nativethread::othersAreStopped()) {
        return nullptr;
    }
    auto* const shared = new (std::nothrow) std::shared_ptr<Passage>(passage);
    unsigned int id = 0;
    int error = 0;
    void* const thread = shared ? nativethread::start(writePassage, shared, id, error) : nullptr;
    if (!thread) {
        delete shared;
    }
    return thread;
}

/// Whether the thread that was stuck still is.
bool isStuck() noexcept
{
    void* const thread = stuck.exchange(nullptr);
    if (!thread) {
        return false;
    }
    if (!nativethread::ended(thread)) {
        stuck = thread;
        return true;
    }
    nativethread::close(thread);
    return false;
}

/// Has another thread wait for the reader. One that has not begun in time may be one that cannot.
void writeToPipe(HANDLE pipe, const char* bytes, std::size_t count)
{
    const auto passage = std::make_shared<Passage>();
    passage->pipe = pipe;
    passage->text.assign(bytes, count);
    void* const thread = startWriting(passage);
    const bool isWritten = thread && WaitForSingleObject(thread, longestWait) == WAIT_OBJECT_0;
    if (!isWritten && passage->begin()) {
        writeText(pipe, bytes, count);
    } else if (!isWritten) {
        stuck = thread;
        return;
    }
    if (thread) {
        nativethread::close(thread);
    }
}

} // namespace

void writeStandardError(const char* bytes, std::size_t count) noexcept
{
    const HANDLE file = GetStdHandle(STD_ERROR_HANDLE);
    if (GetFileType(file) != FILE_TYPE_PIPE) {
        writeText(file, bytes, count);
        return;
    }
    if (isStuck()) {
        return;
    }
    try {
        writeToPipe(file, bytes, count);
    } catch (const std::bad_alloc&) {
        writeText(file, bytes, count);
    }
}

} // namespace tolvane
