#pragma once

#include <string>

namespace tolvane {

/// A path of narrow text as the system takes it. Without memory for it, or when it is no text at
/// all, it is empty and names no file.
class NativePath
{
public:
    /// What a path begins with that is UTF-8, whatever narrow text is.
    static constexpr char utf8Mark = '\0';

    explicit NativePath(const std::string& path) noexcept;

    const wchar_t* c_str() const noexcept { return m_path.c_str(); }

private:
    std::wstring m_path;
};

} // namespace tolvane
