#pragma once

namespace tolvane {

/// What lines of a file end in, and line feeds within a text become.
enum class lineend : int
{
    crlf, ///< carriage return and line feed
    lf,   ///< line feed alone
};

} // namespace tolvane
