#pragma once

#include "support/appendedfile.h"
#include "support/file.h"
#include "support/lineendbytes.h"

#include <algorithm>
#include <atomic>

namespace tolvane {

/// Remembers where files end in a part of a line, so that the next line does not run into it. Of
/// many such files the first ones are forgotten.
///
/// Any thread may use it, and none waits: what another one does with it at the same time leaves a
/// call without effect. (A lock might be held for ever in a process that was forked meanwhile.)
class TornEnds
{
public:
    void remember(const FileEnd& end) noexcept
    {
        const Turn turn(m_isTaken);
        if (turn.isMine) {
            m_ends[m_next++ % mostRemembered] = end;
            m_count.store(std::min(m_next, mostRemembered), std::memory_order_relaxed);
        }
    }

    /// Whether there is nothing to look for.
    bool isEmpty() const noexcept { return m_count.load(std::memory_order_relaxed) == 0; }

    /// Forgets what was remembered of a file.
    /// \return whether that is where it ends now.
    bool forget(const FileEnd& now) noexcept
    {
        const Turn turn(m_isTaken);
        if (!turn.isMine) {
            return false;
        }
        FileEnd* const last = m_ends + m_count.load(std::memory_order_relaxed);
        FileEnd* const found =
            std::find_if(m_ends, last, [&now](const FileEnd& end) { return end.file == now.file; });
        if (found == last) {
            return false;
        }
        const bool isThere = found->size == now.size;
        std::copy(found + 1, last, found);
        m_next = static_cast<unsigned int>(last - m_ends) - 1;
        m_count.store(m_next, std::memory_order_relaxed);
        return isThere;
    }

private:
    static constexpr unsigned int mostRemembered = 8; ///< more files than a program writes

    struct Turn
    {
        explicit Turn(std::atomic_flag& taken) noexcept
            : flag(taken), isMine(!taken.test_and_set(std::memory_order_acquire))
        {}
        ~Turn()
        {
            if (isMine) {
                flag.clear(std::memory_order_release);
            }
        }

        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        std::atomic_flag& flag;
        const bool isMine;
    };

    std::atomic_flag m_isTaken = ATOMIC_FLAG_INIT;
    std::atomic<unsigned int> m_count{
        0};                  ///< of what is remembered; written by the one whose turn it is
    unsigned int m_next = 0; ///< where the next one goes
    FileEnd m_ends[mostRemembered];
};

/// Ends the line that a file ends in the middle of, if it does, as other lines end.
/// \return false when there is no room for that.
template <class file_t>
bool endTornLine(file_t& file, TornEnds& tornEnds, lineend with) noexcept
{
    const std::string_view lineEnd = bytesOf(with);
    FileEnd end;
    if (!file.end(end) || !tornEnds.forget(end)) {
        return true;
    }
    if (file.write(lineEnd.data(), lineEnd.size()) == lineEnd.size()) {
        return true;
    }
    if (file.end(end)) {
        tornEnds.remember(end);
    }
    return false;
}

/// What appendToFile does with the open file.
template <class file_t>
Appended appendLines(file_t& file, const Lines& lines, TornEnds& tornEnds) noexcept
{
    if (!file.isOpen()) {
        return {0, false, file.error()};
    }
    if (!tornEnds.isEmpty() && !endTornLine(file, tornEnds, lines.end)) {
        return {0, file.isStuck(), file.error()};
    }
    const std::size_t written = lines.start + file.write(lines.bytes(), lines.size());
    const auto whole = static_cast<std::size_t>(
        std::upper_bound(lines.ends, lines.ends + lines.count, written) - lines.ends);
    const std::size_t torn = written - lines.endOf(whole);
    FileEnd end;
    if (torn != 0 && !file.cut(torn) && file.end(end)) {
        tornEnds.remember(end);
    }
    return {whole, file.isStuck(), file.error()};
}

} // namespace tolvane
