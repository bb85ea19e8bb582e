#include "support/errortext.h"

#include "support/windows/platform.h"

namespace tolvane {

std::wstring errorText(int error)
{
    wchar_t text[256];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                        nullptr, static_cast<DWORD>(error), 0, platformText(text),
                                        sizeof text / sizeof *text, nullptr);
    std::wstring found(text, length);
    found.erase(found.find_last_not_of(L".\r\n ") + 1);
    return found.empty() ? L"error " + std::to_wstring(error) : found;
}

} // namespace tolvane
