#include "tests/reliability/filechildren.h"
#include "tests/reliability/platformrows.h"

namespace reliability {

namespace {

void heldAlone(outcome& found, unsigned long long)
{
    const filerun run("lockedFile");
    countLines(found, 20, run.number("in the file"));
    found.add(run.wrong("held: 1\nlost: 10\nlost in all: 10\nin the file: 10\n"));
}

/// What is written meanwhile is emptied; no line is counted.
void heldAtRotation(outcome& found, unsigned long long)
{
    const filerun run("heldAtRotation");
    found.add(run.wrong("held: 1\n"
                        "not written: 0\n"
                        "in the file: 0\n"
                        "older files: 0\n"
                        "in the newest old file: 1\n"
                        "in the one before: 1\n"));
}

} // namespace

std::vector<row> platformFiles()
{
    return {
        {"file-held-alone",
         {1, 200, 1, 50},
         "another process has the file for itself, and gives it back",
         "Lines that come meanwhile are lost and counted; the next ones are written.",
         eachTime(heldAlone)},
        {"file-held-at-rotation",
         {1, 200, 1, 50},
         "another process has the file open and does not let it be renamed when it is to rotate",
         "The file is emptied, so that it keeps its size; it rotates when the other one lets go.",
         eachTime(heldAtRotation)},
    };
}

} // namespace reliability
