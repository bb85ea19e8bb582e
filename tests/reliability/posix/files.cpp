#include "tests/reliability/filechildren.h"
#include "tests/reliability/lines.h"
#include "tests/reliability/platformrows.h"

#include "tests/helpers/attached.h"

#include <tolvane/tolvane.h>

namespace reliability {

namespace {

namespace fs = std::filesystem;

constexpr const char* refused = "refused\n";
constexpr const char* systemRefuses = "the system does not let tests mount anything";

/// Lines that a file took while its disk had no room, or while it was at its limit, and behind.
struct narrowfile
{
    unsigned long long full;
    unsigned long long lost;
    unsigned long long behind;
};

/// 1000 lines, most of which have no room, and then 50 that have.
std::string countNarrow(outcome& found, const filerun& run, const narrowfile& lines)
{
    constexpr unsigned long long made = 1000;
    constexpr unsigned long long madeBehind = 50;
    countLines(found, made + madeBehind, lines.behind);
    return firstOf(
        {wrongEnd(run.result, 0), contains(run.result.output, "torn") ? "torn lines" : "",
         lines.full > 100 && lines.full + lines.lost == made ? ""
                                                             : "lines were lost and not counted",
         lines.behind == lines.full + madeBehind ? "" : "lines behind are lost"});
}

void fullDisk(outcome& found, unsigned long long)
{
    const filerun run("fullDisk");
    if (run.result.output == refused) {
        found.add(systemRefuses);
        return;
    }
    const std::string wrong =
        countNarrow(found, run,
                    {run.number("whole while full"), run.number("lost while full"),
                     run.number("whole with room again")});
    found.add(firstOf(
        {wrong, run.number("lost with room again") == 0 ? "" : "lines were lost with room again"}));
}

void sizeLimit(outcome& found, unsigned long long)
{
    const filerun run("sizeLimit");
    found.add(countNarrow(found, run,
                          {run.number("whole at the limit"), run.number("lost at the limit"),
                           run.number("whole in all")}));
}

void fullDevice(outcome& found, unsigned long long)
{
    const filerun run("fullDevice");
    countLines(found, 100, 0);
    found.add(run.wrong("lost: 100\n"));
}

void unreadPipe(outcome& found, unsigned long long)
{
    constexpr unsigned long long lines = 1605;
    const filerun run("unreadPipe");
    countLines(found, lines, run.number("beside it"));
    found.add(run.wrong("nobody waited: 1\n"
                        "lost without a reader: 100\n"
                        "beside it: 100\n"
                        "lost with a reader: 100\n"
                        "lost by a reader who stopped: 1\n"
                        "lost by others: 0\n"
                        "beside it: 1605\n"));
}

void readOnlyFile(outcome& found, unsigned long long)
{
    const filerun run("readOnlyFile");
    countLines(found, 10, run.number("in the file"));
    found.add(run.wrong("lost: 10\nin the file: 0\n"));
}

/// What the owner of a folder may, so that it can be removed.
void giveBack(const filerun& run)
{
    fs::permissions(run.folder.path(), fs::perms::owner_all);
}

/// The zone makes the file old.
void readOnlyFolder(outcome& found, unsigned long long)
{
    const filerun run("readOnlyFolder", {{"TZ", "ABC-24:30"}});
    giveBack(run);
    countLines(found, 20, run.number("in the old file"));
    found.add(run.wrong("lost, all for the new file: 10\nin the old file: 9\n"));
}

void unlistableFolder(outcome& found, unsigned long long)
{
    constexpr int oldFiles = 100;
    const filerun run("unlistableFolder");
    giveBack(run);
    bool areKept = run.folder.entries() == oldFiles + 2 && run.folder.has("trace.log.0");
    for (int number = 0; number < oldFiles; ++number) {
        areKept = areKept && run.folder.read("trace.log." + std::to_string(number + 1)) ==
                                 std::to_string(number);
    }
    found.add(firstOf({wrongEnd(run.result, 0), areKept ? "" : "old files are gone"}));
}

void changingZone(const char* scenario, outcome& found, unsigned long long)
{
    const filerun run(scenario);
    found.add(run.result.output == refused
                  ? systemRefuses
                  : run.wrong("stamps are ahead by 3600\nstamps are ahead by -7200\n"));
}

void traceLines(unsigned long long count)
{
    TOLVANE_SCOPE(log);
    for (unsigned long long line = 0; line < count; ++line) {
        TOLVANE_LOG(log, tl_info) << "linked " << line;
    }
}

/// One link to a file, one to a file that is not there yet, one to itself.
void symbolicLinks(outcome& found, unsigned long long)
{
    constexpr unsigned long long lines = 10;
    const temporaryfolder folder;
    std::ofstream(folder.file("there.log")).close();
    fs::create_symlink("there.log", folder.file("to-file"));
    fs::create_symlink("new.log", folder.file("to-nothing"));
    fs::create_symlink("to-itself", folder.file("to-itself"));
    const filetracestream toFile(folder.file("to-file").c_str());
    const filetracestream toNothing(folder.file("to-nothing").c_str());
    const filetracestream toItself(folder.file("to-itself").c_str());
    const attached first(toFile, tl_info);
    const attached second(toNothing, tl_info);
    const attached third(toItself, tl_info);
    const unsigned long long lostBefore = trace::lost(trace::destination);
    traceLines(lines);
    const bool isWritten = trace::sync(generousWait);
    const unsigned long long there = filelines(folder.file("there.log")).whole;
    const unsigned long long made = filelines(folder.file("new.log")).whole;
    countLines(found, 3 * lines, there + made);
    const bool areLinks = fs::is_symlink(folder.file("to-file")) &&
                          fs::is_symlink(folder.file("to-nothing")) &&
                          fs::is_symlink(folder.file("to-itself"));
    found.add(firstOf({isWritten ? "" : "lines still wait",
                       there == lines && made == lines ? "" : "lines are missing",
                       trace::lost(trace::destination) - lostBefore == lines
                           ? ""
                           : "other lines were counted as lost",
                       areLinks ? "" : "a link was replaced"}));
}

} // namespace

std::vector<row> platformFiles()
{
    using namespace std::placeholders;
    return {
        {"full-disk",
         {1, 200, 1, 20},
         "a disk of 64 KiB fills up and gets room again",
         "Lines that do not fit are lost and counted, none is torn; the next ones are written.",
         eachTime(fullDisk)},
        {"size-limit",
         {2, 200, 1, 20},
         "a file comes to the process's size limit, which is lifted again",
         "Lines that do not fit are lost and counted, none is torn; the next ones are written.",
         eachTime(sizeLimit)},
        {"full-device",
         {2, 200, 1, 20},
         "a device that takes nothing (/dev/full)",
         "All its lines are lost and counted.",
         eachTime(fullDevice)},
        {"unread-pipe",
         {2, 200, 1, 20},
         "a FIFO without a reader, and one whose reader stopped, beside a file",
         "Nobody waits for it; its lines are lost and counted, and the file has all.",
         eachTime(unreadPipe),
         true},
        {"read-only-file",
         {2, 200, 1, 20},
         "the process may not write to the file",
         "Its lines are lost and counted.",
         eachTime(readOnlyFile)},
        {"read-only-folder",
         {2, 200, 1, 20},
         "a file that is to rotate by its age, and a new one, in a folder that may not be written",
         "The old file keeps its lines, but for the one that makes it old; the new one's are lost "
         "and counted.",
         eachTime(readOnlyFolder)},
        {"unlistable-folder",
         {2, 200, 1, 20},
         "a file rotates above 100 older ones in a folder that may not be listed",
         "All old files are kept.",
         eachTime(unlistableFolder)},
        {"zone-file-replaced",
         {1, 20, 1, 5},
         "the file that TZ names is replaced while lines are traced",
         "Stamps follow within a second.",
         eachTime(std::bind(changingZone, "changingZone", _1, _2)),
         true},
        {"systems-zone-replaced",
         {1, 20, 1, 5},
         "the system's zone is replaced while lines are traced",
         "Stamps follow within a second.",
         eachTime(std::bind(changingZone, "changingSystemsZone", _1, _2)),
         true},
        {"symbolic-links",
         {5, 1000, 5, 200},
         "files are symbolic links: to a file, to one that is not there, to themselves",
         "Links are followed and kept; one that leads nowhere costs its lines, which are counted.",
         eachTime(symbolicLinks)},
    };
}

} // namespace reliability
