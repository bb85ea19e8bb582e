#include <tolvane/trace.h>

#include <tolvane/filetracestream.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/recorderfiletracestream.h>
#include <tolvane/rotatingfilestracestream.h>
#include <tolvane/scope.h>

#include "support/filesystem.h"
#include "tests/helpers/attached.h"
#include "tests/helpers/temporaryfolder.h"
#include "tests/helpers/tracedtest.h"
#include "tests/helpers/utf8mode.h"

#include <catch2/catch.hpp>

#include <clocale>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr const char* narrow = "gr\xC3\xB6\xC3\x9F"
                               "e \xE6\x97\xA5\xE6\x9C\xAC";
constexpr const wchar_t* wide = L"gr\u00F6\u00DFe \u65E5\u672C";

void traceBoth()
{
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << narrow << "|" << wide;
    TOLVANE_LOGF(log, tl_info, "%s", narrow);
}

/// std::filesystem would convert a wide name in the locale.
std::filesystem::path inFolder(const temporaryfolder& folder, const char* behind = "")
{
    return folder.path() / std::filesystem::u8path(std::string(narrow) + behind);
}

bool hasLine(const std::string& all, const std::string& text, const char* end)
{
    return all.find(" : " + text + end) != std::string::npos;
}

} // namespace

TEST_CASE("narrow operands and formats are UTF-8 once the application has said so", "[trace][utf8]")
{
    REQUIRE(std::string(std::setlocale(LC_CTYPE, nullptr)) == "C");
    const utf8mode mode;
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << narrow;
    TOLVANE_LOG(log, tl_info) << std::hex << narrow;
    TOLVANE_LOGF(log, tl_info, narrow);

    CHECK(test.queue.texts() == std::vector<std::wstring>{wide, wide, wide});
}

TEST_CASE("narrow operands without a locale for them lose nothing of what is ASCII",
          "[trace][utf8]")
{
    const tracedtest test;
    TOLVANE_SCOPE(log);

    TOLVANE_LOG(log, tl_info) << narrow << " end";
    TOLVANE_LOG(log, tl_info) << std::hex << narrow << " end";

    for (const std::wstring& text : test.queue.texts()) {
        CHECK(text.substr(0, 2) == L"gr");
        CHECK(text.size() == std::string(narrow).size() + 4); // a character for each byte
        CHECK(text.substr(text.size() - 4) == L" end");
    }
}

TEST_CASE("file sinks write UTF-8 to files named in UTF-8", "[trace][utf8]")
{
    const utf8mode mode;
    const temporaryfolder folder;
    const std::string path = folder.path().u8string() + "/" + narrow;
    {
        const filetracestream single(path.c_str());
        const rotatingfilestracestream several((path + "s").c_str(), 3, 1, 0);
        const attached file(single, tl_info);
        const attached files(several, tl_info);
        traceBoth();
    }
    const std::string both = std::string(narrow) + "|" + narrow;
    for (const std::filesystem::path& written : {inFolder(folder), inFolder(folder, "s")}) {
        REQUIRE(std::filesystem::exists(written));
        std::ifstream in(written, std::ios::binary);
        const std::string all(std::istreambuf_iterator<char>(in), {});
        CHECK(hasLine(all, both, "\r\n"));
        CHECK(hasLine(all, narrow, "\r\n"));
    }
}

TEST_CASE("files named in UTF-8 rotate", "[trace][utf8]")
{
    const utf8mode mode;
    const temporaryfolder folder;
    const std::string path = folder.path().u8string() + "/" + narrow;
    {
        const rotatingfilestracestream several(path.c_str(), 3, 1, 0);
        const attached files(several, tl_info);
        for (int line = 0; line < 40; ++line) {
            traceBoth();
        }
    }
    CHECK(std::filesystem::exists(inFolder(folder)));
    CHECK(std::filesystem::exists(inFolder(folder, ".0")));
    CHECK(std::filesystem::exists(inFolder(folder, ".1")));
    CHECK_FALSE(std::filesystem::exists(inFolder(folder, ".2")));
}

TEST_CASE("a flight recorder's file is named in UTF-8", "[trace][utf8]")
{
    const utf8mode mode;
    const temporaryfolder folder;
    const std::string path = folder.path().u8string() + "/" + narrow;
    {
        const recorderfiletracestream recorder(path.c_str(), 64);
        const attached attachment(recorder, tl_info);
        traceBoth();
    }
    CHECK(std::filesystem::exists(inFolder(folder)));
}

TEST_CASE("a file of settings is named in UTF-8", "[trace][utf8]")
{
    const utf8mode mode;
    const temporaryfolder folder;
    std::ofstream(inFolder(folder)) << "*=info > stderr";
    std::string bytes;

    CHECK(
        tolvane::FileSystem::platform().read(folder.path().u8string() + "/" + narrow, 100, bytes));
    CHECK(bytes == "*=info > stderr");
}

TEST_CASE("sinks of narrow streams write UTF-8 and whole lines", "[trace][utf8]")
{
    const utf8mode mode;
    std::ostringstream stream;
    {
        const ostreamtracestream<char> sink(stream);
        const attached attachment(sink, tl_info);
        traceBoth();
    }
    CHECK(hasLine(stream.str(), std::string(narrow) + "|" + narrow, "\n"));
}

TEST_CASE("names of functions are UTF-8 once the application has said so", "[trace][utf8]")
{
    const utf8mode mode;

    CHECK(trace::registerfunction((std::string("void ") + "gr\xC3\xB6\xC3\x9F"
                                                          "e()")
                                      .c_str())
              .name() == L"gr\u00F6\u00DFe");
}
