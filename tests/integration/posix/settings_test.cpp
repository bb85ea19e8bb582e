#include "tests/helpers/childprocess.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace {

/// Gives a program more rights than those of whoever starts it: a group that is not the process's.
/// \return false when this process may not do that.
bool makeSetGroupId(const std::string& program)
{
    constexpr mode_t setGroupIdAndRunByAll = 02755;
    const gid_t other = ::getegid() + 1;
    return ::chown(program.c_str(), ::geteuid(), other) == 0 &&
           ::chmod(program.c_str(), setGroupIdAndRunByAll) == 0;
}

} // namespace

TEST_CASE("a program with more rights than its user does not read the environment",
          "[integration][settings]")
{
    const temporaryfolder folder;
    const std::string program = folder.file("child");
    std::filesystem::copy_file(childprocess::beside("tolvane_settings_child"), program);
    const std::map<std::string, std::string> variables = {
        {"TOLVANE", "*=info > file:" + folder.file("trace.log")}};
    if (!makeSetGroupId(program)) {
        WARN("only the administrator can give a program another group");
        return;
    }

    CHECK(childprocess::run(program, {"usual"}, variables).error == "read: 1\n");

    CHECK_FALSE(folder.has("trace.log"));
    CHECK(::chmod(program.c_str(), 0755) == 0);
    CHECK(childprocess::run(program, {"usual"}, variables).error == "read: 1\n");
    CHECK(folder.has("trace.log"));
}

TEST_CASE("the names of files in a variable are the bytes that stand there",
          "[integration][settings]")
{
    const temporaryfolder folder;
    for (const std::string name : {"gr\xC3\xB6\xC3\x9F"
                                   "e.log",
                                   "gr\xF6\xDF"
                                   "e.log"}) {
        childprocess::run(childprocess::beside("tolvane_settings_child"), {"usual"},
                          {{"TOLVANE", "*=info > file:" + folder.file(name)}});

        CHECK(folder.has(name));
    }
    CHECK(folder.entries() == 2);
}
