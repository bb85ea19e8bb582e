#include <tolvane/filetracestream.h>

#include <tolvane/hashedfunction.h>
#include <tolvane/rotatingfilestracestream.h>

#include "function/componenthash.h"
#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/limitedfiles.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/multibytelocale.h"
#include "tests/helpers/openfile.h"
#include "tests/helpers/sinkset.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/utf8facet.h"

#include <catch2/catch.hpp>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace {

static_assert(std::is_base_of_v<tracestream, filetracestream>);
static_assert(sizeof(filetracestream) ==
              sizeof(tracestream) + sizeof(tolvane::string) + 2 * sizeof(tolvane::lineend));
static_assert(
    std::is_same_v<decltype(std::declval<const filetracestream&>().clone()), filetracestream*>);

const hashedfunction& function()
{
    static const hashedfunction registered("void f(int)");
    return registered;
}

formattedline lineOf(const std::wstring& text)
{
    formattedline line = formattedlinetest::text(tl_info, function(), text.c_str());
    formattedlinetest::time(line) = 0;
    formattedlinetest::threadId(line) = 1;
    return line;
}

const std::string prefix = "[1970-01-01 00:00:00.000]:   1:[I]: f : ";

std::string inFile(const std::string& text)
{
    return prefix + text + "\r\n";
}

filetracestream sinkOn(const temporaryfolder& folder, const std::string& name)
{
    return filetracestream(folder.file(name).c_str());
}

/// Restores the current directory.
class directoryguard
{
public:
    explicit directoryguard(const std::filesystem::path& directory)
    {
        std::filesystem::current_path(directory);
    }
    ~directoryguard()
    {
        std::error_code ignored;
        std::filesystem::current_path(m_previous, ignored);
    }

    directoryguard(const directoryguard&) = delete;
    directoryguard& operator=(const directoryguard&) = delete;

private:
    std::filesystem::path m_previous = std::filesystem::current_path();
};

} // namespace

TEST_CASE("three lines make a missing file of three lines, without a byte-order mark", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");

    sink.log(lineOf(L"one"));
    sink.log(lineOf(L"two"));
    sink.log(lineOf(L"three"));

    CHECK(folder.read("trace.log") == inFile("one") + inFile("two") + inFile("three"));
    CHECK(folder.entries() == 1);
}

TEST_CASE("a file is named by a text of any kind or by a path", "[sinks]")
{
    const unsigned long long id = filetracestream("a/trace.log").id();

    CHECK(filetracestream(L"a/trace.log").id() == id);
    CHECK(filetracestream(std::string("a/trace.log")).id() == id);
    CHECK(filetracestream(std::string_view("a/trace.log")).id() == id);
    CHECK(filetracestream(std::wstring(L"a/trace.log")).id() == id);
    CHECK(filetracestream(tolvane::string("a/trace.log")).id() == id);
    CHECK(filetracestream(std::filesystem::path("a/trace.log")).id() == id);
    CHECK(rotatingfilestracestream("a/trace.log", 2, 1, 0).id() == id);
    CHECK(rotatingfilestracestream(std::string("a/trace.log"), 2, 1, 0).id() == id);
    CHECK(rotatingfilestracestream(std::filesystem::path("a/trace.log"), 2, 1, 0).id() == id);
}

TEST_CASE("making, copying and destroying a file sink touches no file", "[sinks]")
{
    const temporaryfolder folder;
    {
        const filetracestream sink = sinkOn(folder, "trace.log");
        const filetracestream copied(sink);
        const std::unique_ptr<filetracestream> clone(sink.clone());
    }

    CHECK(folder.entries() == 0);
}

TEST_CASE("an existing file is added to", "[sinks]")
{
    const temporaryfolder folder;
    std::ofstream(folder.file("trace.log"), std::ios::binary) << "old\n";
    filetracestream sink = sinkOn(folder, "trace.log");

    sink.log(lineOf(L"new"));

    CHECK(folder.read("trace.log") == "old\n" + inFile("new"));
}

TEST_CASE("a line feed within a text becomes carriage return and line feed", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");

    sink.log(lineOf(L"one\ntwo"));

    CHECK(folder.read("trace.log") == inFile("one\r\ntwo"));
}

TEST_CASE("lines of a file end in line feeds alone when that is asked for", "[sinks][lineend]")
{
    const temporaryfolder folder;
    const std::filesystem::path path = folder.file("trace.log");
    filetracestream sink(path, tolvane::lineend::lf);
    filetracestream copy(sink);
    const std::unique_ptr<filetracestream> clone(sink.clone());

    sink.log(lineOf(L"one"));
    copy.log(lineOf(L"two\nthree\r\n"));
    clone->log(lineOf(L"gr\u65e5e"));

    CHECK(folder.read("trace.log") ==
          prefix + "one\n" + prefix + "two\nthree\r\n\n" + prefix + "gr\n");
}

TEST_CASE("a pass writes each file with its own line ends", "[sinks][lineend]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("a.log"));
    sinks.add<filetracestream>(tl_info, folder.file("b.log"), tolvane::lineend::lf);
    sinks.add<rotatingfilestracestream>(tl_info, folder.file("c.log"), 2U, 1U, 0U,
                                        tolvane::lineend::lf);

    linebatch lines;
    lines.add(lineOf(L"one"));
    lines.add(lineOf(L"two"));
    sinks.write(lines);

    CHECK(folder.read("a.log") == inFile("one") + inFile("two"));
    CHECK(folder.read("b.log") == prefix + "one\n" + prefix + "two\n");
    CHECK(folder.read("c.log") == folder.read("b.log"));
}

TEST_CASE("a file that was deleted between two lines is made anew", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    sink.log(lineOf(L"one"));

    std::filesystem::remove(folder.file("trace.log"));
    sink.log(lineOf(L"two"));

    CHECK(folder.read("trace.log") == inFile("two"));
}

TEST_CASE("a file that was moved away between two lines is made anew", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    sink.log(lineOf(L"one"));

    std::filesystem::rename(folder.file("trace.log"), folder.file("kept.log"));
    sink.log(lineOf(L"two"));

    CHECK(folder.read("kept.log") == inFile("one"));
    CHECK(folder.read("trace.log") == inFile("two"));
}

TEST_CASE("lines reach a file that somebody else has open for everything", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    {
        const openfile foreign(folder.file("trace.log"));
        REQUIRE(foreign.isOpen());

        sink.log(lineOf(L"one"));
        sink.log(lineOf(L"two"));
    }

    CHECK(folder.read("trace.log") == inFile("one") + inFile("two"));
}

TEST_CASE("a file may be renamed while somebody has it open, and the next line makes a new one",
          "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    {
        const openfile foreign(folder.file("trace.log"));
        sink.log(lineOf(L"one"));

        std::filesystem::rename(folder.file("trace.log"), folder.file("kept.log"));
        sink.log(lineOf(L"two"));
    }

    CHECK(folder.read("kept.log") == inFile("one"));
    CHECK(folder.read("trace.log") == inFile("two"));
}

TEST_CASE("a file may be deleted while somebody has it open, and is made anew afterwards",
          "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    {
        const openfile foreign(folder.file("trace.log"));
        sink.log(lineOf(L"one"));
        std::filesystem::remove(folder.file("trace.log"));
    }

    sink.log(lineOf(L"two"));

    CHECK(folder.read("trace.log") == inFile("two"));
}

TEST_CASE("lines behind what somebody else wrote meanwhile", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    sink.log(lineOf(L"one"));

    std::ofstream(folder.file("trace.log"), std::ios::binary | std::ios::app) << "foreign\n";
    sink.log(lineOf(L"two"));

    CHECK(folder.read("trace.log") == inFile("one") + "foreign\n" + inFile("two"));
}

TEST_CASE("lines for a missing directory are lost until it is there", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink((folder.path() / "later" / "trace.log").string().c_str());

    CHECK_NOTHROW(sink.log(lineOf(L"lost")));
    CHECK(folder.entries() == 0);
    std::filesystem::create_directory(folder.path() / "later");
    sink.log(lineOf(L"found"));

    CHECK(folder.read("later/trace.log") == inFile("found"));
}

TEST_CASE("lines for a name that no file can have are lost", "[sinks]")
{
    const temporaryfolder folder;
    const directoryguard guard(folder.path());

    const std::wstring veryLong(32000, L'x');
    for (const wchar_t* const name : {L"", L".", veryLong.c_str()}) {
        filetracestream sink(name);
        CHECK_NOTHROW(sink.log(lineOf(L"lost")));
    }

    CHECK(folder.entries() == 0);
}

TEST_CASE("a file name is converted in the process's locale", "[sinks]")
{
    const localeguard guard;
    const multibytelocale encoding;
    limitedfiles files;
    filetracestream sink((std::wstring(multibytelocale::character) + L".log").c_str());

    sink.log(lineOf(L"text"));

    CHECK(files.files[encoding.bytes + ".log"] == inFile("text"));
}

TEST_CASE("in a file name a character that the locale does not have is a question mark", "[sinks]")
{
    limitedfiles files;
    filetracestream sink(L"a?\x4e2d_\x6587.log");

    sink.log(lineOf(L"text"));

    CHECK(files.files["a??_?.log"] == inFile("text"));
    CHECK(files.files.size() == 1);
}

TEST_CASE("a relative name lies in the current directory at the time of each line", "[sinks]")
{
    const temporaryfolder first;
    const temporaryfolder second;
    filetracestream sink(L"trace.log");
    const directoryguard guard(first.path());

    sink.log(lineOf(L"one"));
    std::filesystem::current_path(second.path());
    sink.log(lineOf(L"two"));

    CHECK(first.read("trace.log") == inFile("one"));
    CHECK(second.read("trace.log") == inFile("two"));
}

TEST_CASE("an unconvertible character cuts its own line only", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");

    sink.log(lineOf(L"be\u0416hind"));
    sink.log(lineOf(L"next"));

    CHECK(folder.read("trace.log") == inFile("be") + inFile("next"));
}

TEST_CASE("a file has the encoding of the global locale of the moment", "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    {
        const localeguard guard(utf8locale());
        sink.log(lineOf(L"\u00E4\u0416\U0001F600"));
    }
    {
        const localeguard guard(limitedlocale());
        sink.log(lineOf(L"\u0416\u0800 cut off"));
    }

    sink.log(lineOf(L"\u0416"));

    CHECK(folder.read("trace.log") ==
          inFile("\xC3\xA4\xD0\x96\xF0\x9F\x98\x80") + inFile("\xD0\x96") + inFile(""));
}

TEST_CASE("a file sink is identified by its name's hash, as it stands", "[sinks]")
{
    const auto idOf = [](const wchar_t* name) { return filetracestream(name).id(); };

    CHECK(idOf(L"trace.log") == static_cast<unsigned long long>(componentHash(L"trace.log", 9)));
    CHECK(idOf(L"") == 0xFFFFFFFF84222325ULL);
    CHECK(idOf(L"trace.log") == idOf(L"trace.log"));
    CHECK(idOf(L"trace.log") != idOf(L"Trace.log"));
    CHECK(idOf(L"trace.log") != idOf(L"./trace.log"));
    CHECK(idOf(L"a/b") != idOf(L"a\\b"));
    CHECK(idOf(L"a::b") == static_cast<unsigned long long>(componentHash(L"a::b", 4)));
}

TEST_CASE("a clone of a file sink writes to the same file and has no levels, a copy has them",
          "[sinks]")
{
    const temporaryfolder folder;
    filetracestream sink = sinkOn(folder, "trace.log");
    sink.setLevel(tl_debug);

    filetracestream copied(sink);
    const std::unique_ptr<filetracestream> clone(sink.clone());
    copied.log(lineOf(L"copied"));
    clone->log(lineOf(L"cloned"));

    CHECK(copied.level(function()) == tl_debug);
    CHECK(clone->level(function()) == tl_always);
    CHECK(copied.id() == sink.id());
    CHECK(clone->id() == sink.id());
    CHECK(folder.read("trace.log") == inFile("copied") + inFile("cloned"));
}
