#include "tests/reliability/filechildren.h"
#include "tests/reliability/groups.h"
#include "tests/reliability/lines.h"
#include "tests/reliability/platformrows.h"

#include "tests/helpers/attached.h"

#include <tolvane/tolvane.h>

#include <thread>

namespace reliability {

namespace {

void removeFolder(outcome& found, unsigned long long)
{
    const filerun run("vanishingFolder");
    countLines(found, 30, run.number("before") + run.number("behind"));
    found.add(run.wrong("before: 10\nlost: 10\nlost in all: 10\nbehind: 10\n"));
}

void renameFile(outcome& found, unsigned long long)
{
    const filerun run("renamedFile");
    countLines(found, 2000, run.number("whole"));
    found.add(run.wrong("renamed more than once: 1\nwhole: 2000\nlost: 0\n"));
}

void deleteFile(outcome& found, unsigned long long)
{
    const filerun run("deletedFile");
    countLines(found, 10, run.number("behind"));
    found.add(run.wrong("behind: 10\n"));
}

constexpr unsigned long long linesOfName = 10;

void traceLines(unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "named " << line;
    }
}

/// Traces to a file, and to another one beside it.
/// \return what is wrong, when the file is one that takes no line or takes all.
std::string traceTo(outcome& found, const tolvane::string& path, bool takesLines)
{
    const temporaryfolder folder;
    const std::string besidePath = folder.file("beside.log");
    const unsigned long long lostBefore = trace::lost(trace::destination);
    const filetracestream named(path);
    const filetracestream beside(besidePath.c_str());
    const attached first(named, tl_info);
    const attached second(beside, tl_info);
    traceLines(linesOfName);
    if (!trace::sync(generousWait)) {
        return "lines still wait";
    }
    const unsigned long long lost = trace::lost(trace::destination) - lostBefore;
    const unsigned long long written = filelines(besidePath).whole;
    found.made += 2 * linesOfName;
    found.lost += lost + linesOfName - std::min(linesOfName, written);
    if (lost != (takesLines ? 0 : linesOfName)) {
        return std::to_string(lost) + " lines were counted as lost";
    }
    return written == linesOfName ? "" : "the file beside it has other lines";
}

void longName(outcome& found, unsigned long long)
{
    constexpr std::size_t length = 32000;
    const temporaryfolder folder;
    const std::string wrong = traceTo(found, folder.file(std::string(length, 'n')).c_str(), false);
    found.add(wrong.empty() && folder.entries() != 0 ? "a file of another name is there" : wrong);
}

void emptyName(outcome& found, unsigned long long)
{
    found.add(traceTo(found, "", false));
}

/// A folder has the name.
void nameOfFolder(outcome& found, unsigned long long)
{
    const temporaryfolder folder;
    const std::string wrong = traceTo(found, folder.path().string().c_str(), false);
    found.add(wrong.empty() && folder.entries() != 0 ? "something is in the folder" : wrong);
}

/// Characters that the locale lacks are question marks in the name, which not every system allows.
void foreignName(outcome& found, unsigned long long)
{
    const temporaryfolder folder;
    const bool takesMarks = std::ofstream(folder.file("??")).is_open();
    const std::string wrong =
        traceTo(found, (folder.path().wstring() + L"/\u03a9.log").c_str(), takesMarks);
    const unsigned long long written = filelines(folder.file("?.log")).whole;
    found.add(wrong.empty() && takesMarks && written != linesOfName ? "lines are missing" : wrong);
}

} // namespace

group fileRows()
{
    group rows{
        "files",
        {
            {"folder-removed",
             {2, 1000, 1, 100},
             "the folder of a file is removed and made again",
             "Lines that come while it is gone are lost and counted; the next ones are written.",
             eachTime(removeFolder)},
            {"file-renamed",
             {1, 100, 1, 20},
             "a file is renamed every millisecond while 2000 lines are traced",
             "Every line is in one of the files, whole.",
             eachTime(renameFile),
             true},
            {"file-deleted",
             {1, 100, 1, 20},
             "a file is deleted every millisecond while 2000 lines are traced, and then no more",
             "What was in it is gone, as for everybody; the lines behind are whole and complete.",
             eachTime(deleteFile),
             true},
            {"long-file-name",
             {10, 1000, 5, 200},
             "a file's name has 32,000 characters",
             "Its lines are lost and counted, those of other sinks are not.",
             eachTime(longName)},
            {"empty-file-name",
             {10, 1000, 5, 200},
             "a file's name is empty",
             "Its lines are lost and counted, those of other sinks are not.",
             eachTime(emptyName)},
            {"file-name-of-folder",
             {10, 1000, 5, 200},
             "a file's name is that of a folder",
             "Its lines are lost and counted, those of other sinks are not.",
             eachTime(nameOfFolder)},
            {"foreign-file-name",
             {10, 1000, 5, 200},
             "a file's name has characters that the locale lacks",
             "On Linux the characters are '?' in the file's name. On Windows no file can have such "
             "a "
             "name: its lines are lost and counted, those of other sinks are not.",
             eachTime(foreignName)},
        }};
    append(rows.rows, platformFiles());
    return rows;
}

} // namespace reliability
