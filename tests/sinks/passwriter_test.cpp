#include "sinks/passwriter.h"

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "tests/helpers/formattedlinetest.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/remembersink.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>

namespace {

/// Sinks in the order in which they are added.
class sinkset
{
public:
    template <class sink_t, class... arguments_t>
    sink_t& add(tracelevel_t level, arguments_t&&... arguments)
    {
        auto sink = std::make_unique<sink_t>(std::forward<arguments_t>(arguments)...);
        sink_t& added = *sink;
        added.setLevel(level);
        m_sinks.push_back(std::move(sink));
        m_byId[m_sinks.size()] = &added;
        return added;
    }

    const std::map<unsigned long long, tracestream*>& byId() const { return m_byId; }

private:
    std::vector<std::unique_ptr<tracestream>> m_sinks;
    std::map<unsigned long long, tracestream*> m_byId;
};

/// Derives from a sink of the library, so that its log() must be called.
class countingfile : public filetracestream
{
public:
    using filetracestream::filetracestream;

    void log(const formattedline& line) override
    {
        ++logged;
        filetracestream::log(line);
    }

    int logged = 0;
};

const hashedfunction function("void store::load()");

formattedline line(tracelevel_t level, const wchar_t* body)
{
    return formattedlinetest::text(level, function, body);
}

/// Converts ASCII characters and throws at any other.
class throwingfacet : public std::codecvt<wchar_t, char, std::mbstate_t>
{
    result do_out(state_type& state, const wchar_t* from, const wchar_t* fromEnd,
                  const wchar_t*& fromNext, char* to, char* toEnd, char*& toNext) const override
    {
        if (from != fromEnd && *from > 0x7F) {
            throw std::runtime_error("not for me");
        }
        const wchar_t* const stop = std::find_if(from, fromEnd, [](wchar_t c) { return c > 0x7F; });
        return codecvt::do_out(state, from, stop, fromNext, to, toEnd, toNext);
    }
};

/// Every file of a folder with its bytes.
std::map<std::string, std::string> contents(const temporaryfolder& folder)
{
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        const std::string name = entry.path().filename().string();
        found[name] = folder.read(name);
    }
    return found;
}

void addFiles(sinkset& sinks, const temporaryfolder& folder)
{
    sinks.add<filetracestream>(tl_info, folder.file("info.log").c_str());
    sinks.add<rotatingfilestracestream>(tl_debug, folder.file("small.log").c_str(), 4ULL, 1ULL,
                                        0ULL);
    sinks.add<rotatingfilestracestream>(tl_error, folder.file("tiny.log").c_str(), 3ULL, 0ULL,
                                        1000ULL);
}

void writePlainly(const sinkset& sinks, const formattedline& written, tracelevel_t level)
{
    for (const auto& sink : sinks.byId()) {
        if (level <= sink.second->level(function)) {
            sink.second->log(written);
        }
    }
}

} // namespace

TEST_CASE("files hold after a pass what they hold when every line is written at once", "[sinks]")
{
    const temporaryfolder gatheredFolder;
    const temporaryfolder plainFolder;
    sinkset gathered;
    sinkset plain;
    addFiles(gathered, gatheredFolder);
    addFiles(plain, plainFolder);
    std::mt19937 random(8);

    for (int pass = 0; pass < 20; ++pass) {
        passwriter writer(gathered.byId());
        const auto lines = random() % 40;
        for (unsigned long i = 0; i < lines; ++i) {
            const auto level = static_cast<tracelevel_t>(random() % 7);
            const std::wstring body =
                std::wstring(random() % 300, L'x') + (i % 7 == 0 ? L"\n\x4e2d" : L"");
            const formattedline written = line(level, body.c_str());
            writer.write(written);
            writePlainly(plain, written, level);
        }
    }

    CHECK(contents(gatheredFolder) == contents(plainFolder));
    CHECK(gatheredFolder.has("small.log.2"));
}

TEST_CASE("a pass writes to a file when it ends, and leaves it closed", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    {
        passwriter writer(sinks.byId());
        writer.write(line(tl_info, L"one"));
        CHECK_FALSE(folder.has("trace.log"));
    }
    CHECK(folder.has("trace.log"));

    std::filesystem::remove(folder.file("trace.log"));

    CHECK_FALSE(folder.has("trace.log"));
}

TEST_CASE("a pass in which a file takes no line does not make it", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_error, folder.file("trace.log").c_str());
    {
        passwriter writer(sinks.byId());
        writer.write(line(tl_info, L"one"));
    }

    CHECK(folder.entries() == 0);
}

TEST_CASE("two names of one file get its lines in turn", "[sinks]")
{
    const temporaryfolder folder;
    std::filesystem::create_directory(folder.path() / "sub");
    const bool existed = GENERATE(false, true);
    CAPTURE(existed);
    if (existed) {
        std::ofstream(folder.file("trace.log"));
    }
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<filetracestream>(tl_info, folder.file("sub/../trace.log").c_str());
    {
        passwriter writer(sinks.byId());
        writer.write(line(tl_info, L"one"));
        writer.write(line(tl_info, L"two"));
    }

    const std::string bytes = folder.read("trace.log");
    const std::size_t firstTwo = bytes.find("two");
    CHECK(bytes.find("one", bytes.find("one") + 1) < firstTwo);
    CHECK(bytes.find("two", firstTwo + 1) != std::string::npos);
}

TEST_CASE("lines are held back beside a file that is not there until it takes its first line",
          "[sinks]")
{
    const temporaryfolder folder;
    std::ofstream(folder.file("trace.log"));
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<filetracestream>(tl_error, folder.file("errors.log").c_str());
    {
        passwriter writer(sinks.byId());
        writer.write(line(tl_info, L"one"));
        CHECK(folder.read("trace.log").empty());

        writer.write(line(tl_error, L"two"));
        CHECK(folder.read("trace.log").find("two\r\n") != std::string::npos);
        CHECK(folder.read("errors.log").find("two\r\n") != std::string::npos);
    }
    passwriter writer(sinks.byId());
    writer.write(line(tl_error, L"three"));

    CHECK(folder.read("errors.log").find("three") == std::string::npos);
}

TEST_CASE("with a sink that the library does not know, lines are not held back", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<remembersink>(tl_info);

    passwriter writer(sinks.byId());
    writer.write(line(tl_info, L"one"));

    CHECK(folder.read("trace.log").find("one\r\n") != std::string::npos);
}

TEST_CASE("a sink derived from one of the library's is asked to log its lines", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    const auto& sink = sinks.add<countingfile>(tl_info, folder.file("trace.log").c_str());

    passwriter writer(sinks.byId());
    writer.write(line(tl_info, L"one"));

    CHECK(sink.logged == 1);
}

TEST_CASE("a stream gets each line at once, beside files", "[sinks]")
{
    const temporaryfolder folder;
    std::ostringstream stream;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<ostreamtracestream<char>>(tl_info, stream);

    passwriter writer(sinks.byId());
    writer.write(line(tl_info, L"one"));

    CHECK(stream.str().find("one\n") != std::string::npos);
    CHECK_FALSE(folder.has("trace.log"));
}

TEST_CASE("among files a record keeps no text; beside a stream, which may ask for it, it does",
          "[sinks]")
{
    for (const bool besideStream : {false, true}) {
        const temporaryfolder folder;
        std::ostringstream stream;
        sinkset sinks;
        sinks.add<filetracestream>(tl_info, folder.file("one.log").c_str());
        sinks.add<filetracestream>(tl_info, folder.file("two.log").c_str());
        if (besideStream) {
            sinks.add<ostreamtracestream<char>>(tl_error, stream); // renders nothing itself here
        }
        std::ofstream(folder.file("one.log")); // lines are gathered for files that exist
        std::ofstream(folder.file("two.log"));
        const formattedline written = line(tl_info, L"one line");

        {
            passwriter writer(sinks.byId());
            writer.write(written);
        }

        CHECK(folder.read("one.log").find(" : one line\r\n") != std::string::npos);
        CHECK(folder.read("two.log") == folder.read("one.log"));
        CHECK(formattedlinetest::formatted(written).empty() == !besideStream);
    }
}

TEST_CASE("files get a record that was rendered before as it was rendered", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    formattedline written = line(tl_info, L"as rendered");
    formattedlinetest::render(written);
    formattedlinetest::body(written) = L"changed";

    {
        passwriter writer(sinks.byId());
        writer.write(written);
    }

    CHECK(folder.read("trace.log").find("as rendered\r\n") != std::string::npos);
}

TEST_CASE("a sink gets only the lines that its level takes", "[sinks]")
{
    std::ostringstream stream;
    sinkset sinks;
    sinks.add<ostreamtracestream<char>>(tl_warning, stream);

    passwriter writer(sinks.byId());
    writer.write(line(tl_info, L"info"));
    writer.write(line(tl_warning, L"warning"));
    writer.write(line(static_cast<tracelevel_t>(-3), L"negative"));

    CHECK(stream.str().find("info") == std::string::npos);
    CHECK(stream.str().find("warning\n") != std::string::npos);
    CHECK(stream.str().find("negative\n") != std::string::npos);
}

TEST_CASE("many bytes of a pass are written before it ends", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());

    passwriter writer(sinks.byId());
    writer.write(line(tl_info, std::wstring(2000000, L'x').c_str()));

    CHECK(folder.read("trace.log").size() > 2000000);
}

TEST_CASE("a line whose conversion throws leaves nothing behind for the next one to run into",
          "[sinks]")
{
    const localeguard guard(std::locale(std::locale::classic(), new throwingfacet));
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    {
        passwriter writer(sinks.byId());
        writer.write(line(tl_info, L"first"));
        writer.write(line(tl_info, (std::wstring(600, L'x') + L'\x4e2d').c_str()));
        writer.write(line(tl_info, L"last"));
    }

    const std::string bytes = folder.read("trace.log");
    CHECK(bytes.find("first\r\n[") != std::string::npos);
    CHECK(bytes.find("last\r\n") != std::string::npos);
    CHECK(bytes.find("xxx") == std::string::npos);
}

TEST_CASE("a rotation writes first what was gathered for every file", "[sinks]")
{
    const temporaryfolder gatheredFolder;
    const temporaryfolder plainFolder;
    sinkset gathered;
    sinkset plain;
    for (const auto& each :
         {std::make_pair(&gathered, &gatheredFolder), std::make_pair(&plain, &plainFolder)}) {
        for (const char* const name :
             {"a.log", "a.log.0", "a.log.1"}) { // files that rotate into each other
            std::ofstream(each.second->file(name)) << name;
        }
        each.first->add<rotatingfilestracestream>(tl_debug, each.second->file("a.log").c_str(),
                                                  5ULL, 1ULL, 0ULL);
        each.first->add<filetracestream>(tl_info, each.second->file("a.log.0").c_str());
        each.first->add<rotatingfilestracestream>(tl_error, each.second->file("a.log.1").c_str(),
                                                  2ULL, 0ULL, 0ULL);
    }
    std::mt19937 random(5);

    for (int pass = 0; pass < 20; ++pass) {
        passwriter writer(gathered.byId());
        for (int i = 0; i < 20; ++i) {
            const auto level = static_cast<tracelevel_t>(random() % 7);
            const formattedline written = line(level, std::wstring(random() % 100, L'y').c_str());
            writer.write(written);
            writePlainly(plain, written, level);
        }
    }

    CHECK(contents(gatheredFolder) == contents(plainFolder));
}
