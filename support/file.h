#pragma once

#include <string>

namespace tolvane {

/// Appends bytes to the end of a file with one write, and closes it again. A missing file is made.
/// Others may read, write, rename and delete the file while it is open. \param path  as the
/// platform takes it; an empty one names no file. \return whether all bytes were written.
bool appendToFile(const std::string& path, const std::string& bytes) noexcept;

} // namespace tolvane
