#pragma once

#include <tolvane/formattedline.h>
#include <tolvane/tracestream.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// A sink that remembers the rendered lines it got.
///
/// Clones and copies share one memory, so that a test reads through the sink that it made what the
/// attached clone was given. Reading is safe while lines are written.
class remembersink : public tracestream
{
public:
    remembersink() : m_memory(std::make_shared<memory>()) {}
    remembersink(const remembersink&) = default;
    remembersink& operator=(const remembersink&) = delete;

    void log(const formattedline& line) override
    {
        const tolvane::string text = line;
        const std::lock_guard<std::mutex> lock(m_memory->mutex);
        m_memory->lines.emplace_back(text.c_str(), static_cast<std::size_t>(text.length()));
    }

    unsigned long long id() const override
    {
        return reinterpret_cast<std::uintptr_t>(m_memory.get());
    }

    remembersink* clone() const override { return new remembersink(m_memory); }

    /// The whole lines, in the order of their writing.
    std::vector<std::wstring> lines() const
    {
        const std::lock_guard<std::mutex> lock(m_memory->mutex);
        return m_memory->lines;
    }

    /// The lines' bodies: what stands behind the function's name.
    std::vector<std::wstring> bodies() const
    {
        const std::wstring separator = L" : ";
        std::vector<std::wstring> found;
        for (const std::wstring& line : lines()) {
            const std::size_t start = line.find(separator);
            found.push_back(start == std::wstring::npos ? line
                                                        : line.substr(start + separator.size()));
        }
        return found;
    }

    std::size_t count() const { return lines().size(); }

    void forget()
    {
        const std::lock_guard<std::mutex> lock(m_memory->mutex);
        m_memory->lines.clear();
    }

private:
    struct memory
    {
        std::mutex mutex;
        std::vector<std::wstring> lines;
    };

    explicit remembersink(std::shared_ptr<memory> shared) : m_memory(std::move(shared)) {}

    std::shared_ptr<memory> m_memory;
};
