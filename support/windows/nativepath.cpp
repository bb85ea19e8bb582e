#include "support/windows/nativepath.h"

#include "support/narrowtext.h"
#include "support/utf8.h"
#include "support/windows/platform.h"

#include <new>
#include <string_view>

namespace tolvane {

namespace {

/// What the system itself would make of it.
std::wstring inCodePageOfFiles(const std::string& path)
{
    const UINT page = AreFileApisANSI() ? CP_ACP : CP_OEMCP;
    const auto length = static_cast<int>(path.size());
    std::wstring wide(path.size(), L'\0');
    const int count =
        MultiByteToWideChar(page, 0, path.data(), length, platformText(&wide[0]), length);
    wide.resize(static_cast<std::size_t>(count));
    return wide;
}

} // namespace

NativePath::NativePath(const std::string& path) noexcept
{
    try {
        if (!path.empty() && path.front() == utf8Mark) {
            utf8::appendWide(m_path, std::string_view(path).substr(1));
        } else if (narrowtext::isUtf8()) {
            utf8::appendWide(m_path, path);
        } else {
            m_path = inCodePageOfFiles(path);
        }
    } catch (const std::bad_alloc&) {
        m_path.clear();
    }
}

} // namespace tolvane
