#include "support/utf8path.h"

#include "support/utf8.h"

namespace tolvane {

std::string utf8Path(std::wstring_view name)
{
    std::string path;
    utf8::appendBytes(path, name);
    return path;
}

} // namespace tolvane
