#include "support/utf8path.h"

#include "support/utf8.h"
#include "support/windows/nativepath.h"

namespace tolvane {

/// Other paths begin with no such character.
std::string utf8Path(std::wstring_view name)
{
    std::string path(1, NativePath::utf8Mark);
    utf8::appendNarrow(path, name);
    return path;
}

} // namespace tolvane
