#pragma once

/// How much detail a line carries. A line of level L reaches a sink whose level for the line's
/// function is S exactly when L <= S. The values are kept by applications and must not change; a
/// negative level stays negative.
enum tracelevel_t : int
{
    tl_always = 0,  ///< "!": reaches every sink
    tl_error = 1,   ///< "E"
    tl_warning = 2, ///< "W"
    tl_info = 3,    ///< "I"
    tl_verbose = 4, ///< "V"
    tl_debug = 5,   ///< "D"
    tl_trace = 6,   ///< "T": function entry and exit
};
