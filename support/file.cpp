#include "support/file.h"

#include "support/appendedfile.h"
#include "support/appendlines.h"

namespace tolvane {

namespace {

TornEnds tornEnds;

} // namespace

Appended appendToFile(const std::string& path, const Lines& lines, bool mayWait) noexcept
{
    AppendedFile file(path, mayWait);
    return appendLines(file, lines, tornEnds);
}

} // namespace tolvane
