#include "sinks/passwriter.h"

#include <tolvane/filetracestream.h>
#include <tolvane/hashedfunction.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/rotatingfilestracestream.h>

#include "stacktrace/structuredexception.h"
#include "tests/helpers/allocations.h"
#include "tests/helpers/gate.h"
#include "tests/helpers/limitedfiles.h"
#include "tests/helpers/localeguard.h"
#include "tests/helpers/probesink.h"
#include "tests/helpers/sinkset.h"
#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

const hashedfunction function("void store::load()");
const hashedfunction otherFunction("void store::save()");

/// Derives from a sink of the library, and has a log() that must be called.
class countingfile : public filetracestream
{
public:
    countingfile(const tolvane::string& filename, int& logged)
        : filetracestream(filename), m_logged(logged)
    {}

    void log(const formattedline& line) override
    {
        ++m_logged;
        filetracestream::log(line);
    }

    countingfile* clone() const override { return new countingfile(filename(), m_logged); }

private:
    int& m_logged;
};

/// An application's sink that needs no memory.
class silentsink : public tracestream
{
public:
    void log(const formattedline&) override {}
    unsigned long long id() const override { return 0; }
    silentsink* clone() const override { return new silentsink(*this); }
};

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

/// A stream whose writing may do something.
class probestream : private std::stringbuf, public std::ostream
{
public:
    probestream() : std::ostream(static_cast<std::stringbuf*>(this)) {}

    std::string text() const { return std::stringbuf::str(); }

    std::function<void()> onLine;

private:
    int sync() override
    {
        if (onLine) {
            onLine();
        }
        return 0;
    }
};

using probe_t = std::shared_ptr<probesink::report>;

/// Adds a custom sink that does something with each line.
probe_t addProbe(sinkset& sinks, tracelevel_t level,
                 std::function<void(const std::wstring&)> onLog = nullptr)
{
    auto told = std::make_shared<probesink::report>();
    told->onLog = std::move(onLog);
    sinks.add<probesink>(level, 77ULL, told);
    return told;
}

linebatch infos(std::initializer_list<const wchar_t*> bodies)
{
    linebatch batch;
    for (const wchar_t* const body : bodies) {
        batch.add(tl_info, function, body);
    }
    return batch;
}

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

/// The bodies of a file's lines, each with a blank behind it.
std::string bodies(const std::string& bytes)
{
    const std::string before = " : ";
    std::string found;
    for (std::size_t at = bytes.find(before); at != std::string::npos;
         at = bytes.find(before, at)) {
        at += before.size();
        found += bytes.substr(at, bytes.find("\r\n", at) - at) + ' ';
    }
    return found;
}

bool endsWithLine(const std::string& bytes)
{
    return bytes.size() >= 2 && bytes.compare(bytes.size() - 2, 2, "\r\n") == 0;
}

/// Counts as they are, or as they should be.
struct expectedcounts
{
    unsigned long long written = 0;
    unsigned long long refused = 0;
    unsigned long long atDestination = 0;
    unsigned long long forWantOfMemory = 0;

    bool operator==(const expectedcounts& other) const
    {
        return written == other.written && refused == other.refused &&
               atDestination == other.atDestination && forWantOfMemory == other.forWantOfMemory;
    }

    friend std::ostream& operator<<(std::ostream& stream, const expectedcounts& counts)
    {
        return stream << counts.written << " written, " << counts.refused << " refused, "
                      << counts.atDestination << " lost at the destination, "
                      << counts.forWantOfMemory << " for want of memory";
    }
};

expectedcounts countsOf(const sinkcounts& counts)
{
    REQUIRE(counts.lost[trace::busySink] == 0);
    REQUIRE(counts.lost[trace::ended] == 0);
    return {counts.written, counts.refused, counts.lost[trace::destination],
            counts.lost[trace::noMemory]};
}

void addFiles(sinkset& sinks, const temporaryfolder& folder)
{
    sinks.add<filetracestream>(tl_info, folder.file("info.log").c_str());
    sinks.add<rotatingfilestracestream>(tl_debug, folder.file("small.log").c_str(), 4ULL, 1ULL,
                                        0ULL);
    sinks.add<rotatingfilestracestream>(tl_error, folder.file("tiny.log").c_str(), 3ULL, 0ULL,
                                        1000ULL);
}

/// Line by line, as each sink does it by itself.
void writePlainly(sinkset& sinks, const linebatch& batch)
{
    for (std::size_t line = 0; line < batch.size(); ++line) {
        for (const auto& sink : sinks.sinks()) {
            if (formattedlinetest::level(batch[line]) <= sink.second.sink->level(function)) {
                sink.second.sink->log(batch[line]);
            }
        }
    }
}

linebatch randomLines(std::mt19937& random, unsigned long most, unsigned long longest)
{
    linebatch batch;
    const auto lines = random() % most;
    for (unsigned long i = 0; i < lines; ++i) {
        const auto level = static_cast<tracelevel_t>(random() % 7);
        const std::wstring body =
            std::wstring(random() % longest, L'x') + (i % 7 == 0 ? L"\n\x4e2d" : L"");
        batch.add(level, function, body.c_str());
    }
    return batch;
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
    if (GENERATE(false, true)) {
        addProbe(gathered, tl_warning);
    }
    std::mt19937 random(8);

    for (int pass = 0; pass < 20; ++pass) {
        const linebatch batch = randomLines(random, 40, 300);
        gathered.write(batch);
        writePlainly(plain, batch);
    }

    CHECK(contents(gatheredFolder) == contents(plainFolder));
    CHECK(gatheredFolder.has("small.log.2"));
}

TEST_CASE("a pass opens a file once, and leaves it closed", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");

    sinks.write(infos({L"one", L"two", L"three"}));

    CHECK(files.appends == 1);
    CHECK(bodies(files.files["trace.log"]) == "one two three ");
}

TEST_CASE(
    "in the copy of a process that a sink forks, nothing more of the pass is written or counted",
    "[sinks][fork]")
{
    limitedfiles files;
    files.files["before.log"] = "";
    files.files["behind.log"] = "";
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "before.log");
    const probe_t told = addProbe(sinks, tl_info, [&sinks](const std::wstring& text) {
        if (text.find(L"two") != std::wstring::npos) {
            sinks.progress().noteFork();
        }
    });
    sinks.add<filetracestream>(tl_info, "behind.log");

    sinks.write(infos({L"one", L"two", L"three"}));

    CHECK(bodies(files.files["before.log"]) == "one two ");
    CHECK(bodies(files.files["behind.log"]) == "one ");
    CHECK(told->events() == std::vector<std::string>{"clone 77", "77: one", "77: two"});
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2});
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{1});
    CHECK(countsOf(sinks.counts(3)) == expectedcounts{1});
}

TEST_CASE("in the copy of a process that is forked amid writing a file, the file is left alone",
          "[sinks][fork]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    files.refusals["trace.log"] = 1;
    files.onAppend = [&sinks] { sinks.progress().noteFork(); };

    sinks.write(infos({L"one", L"two"}));

    CHECK(files.appends == 1);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{});
}

TEST_CASE("the pass that follows on a fork is the copy's own", "[sinks][fork]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.progress().noteFork();

    sinks.write(infos({L"one"}));

    CHECK(bodies(files.files["trace.log"]) == "one ");
}

TEST_CASE("a file can be removed behind a pass", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());

    sinks.write(infos({L"one"}));
    CHECK(folder.has("trace.log"));
    std::filesystem::remove(folder.file("trace.log"));

    CHECK_FALSE(folder.has("trace.log"));
}

TEST_CASE("a pass in which a file takes no line does not make it", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_error, folder.file("trace.log").c_str());

    sinks.write(infos({L"one"}));

    CHECK(folder.entries() == 0);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{0, 1});
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

    sinks.write(infos({L"one", L"two"}));

    CHECK(bodies(folder.read("trace.log")) == "one one two two ");
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{2});
}

TEST_CASE("lines are gathered beside a file that is not there until it takes its first line",
          "[sinks]")
{
    limitedfiles files;
    files.files["trace.log"] = "";
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.add<filetracestream>(tl_error, "errors.log");
    linebatch batch = infos({L"one", L"two"});
    batch.add(tl_error, function, L"three");
    batch.add(tl_info, function, L"four");
    batch.add(tl_info, function, L"five");

    sinks.write(batch);
    CHECK(files.appends == 1 + 1 + 2); // what was gathered, the error, and then each line
    CHECK(bodies(files.files["trace.log"]) == "one two three four five ");
    CHECK(bodies(files.files["errors.log"]) == "three ");

    files.appends = 0;
    sinks.write(batch); // now it is there
    CHECK(files.appends == 2);
}

TEST_CASE("a custom sink finds in the files what they hold when each line is written at once",
          "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    files.files["first.log"] = "";
    files.files["last.log"] = "";
    std::vector<std::string> seen;
    sinks.add<filetracestream>(tl_info, "first.log");
    addProbe(sinks, tl_warning, [&](const std::wstring&) {
        seen.push_back(bodies(files.files["first.log"]) + "| " + bodies(files.files["last.log"]));
    });
    sinks.add<filetracestream>(tl_info, "last.log");
    linebatch batch = infos({L"one", L"two"});
    batch.add(tl_error, function, L"three");
    batch.add(tl_info, function, L"four");
    batch.add(tl_error, function, L"five");

    sinks.write(batch);

    CHECK(seen == std::vector<std::string>{"one two three | one two ",
                                           "one two three four five | one two three four "});
    CHECK(bodies(files.files["last.log"]) == "one two three four five ");
    CHECK(files.appends == 5); // each file before each of the calls, and the last one at the end
}

TEST_CASE("a stream beside a custom sink finds the files written, too", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    probestream stream;
    std::vector<std::string> seen;
    stream.onLine = [&] { seen.push_back(bodies(files.files["trace.log"])); };
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    addProbe(sinks, tl_always);

    sinks.write(infos({L"one", L"two"}));

    CHECK(seen == std::vector<std::string>{"one ", "one two "});
}

TEST_CASE("beside a custom sink each line goes to all sinks in the order of their ids", "[sinks]")
{
    sinkset sinks;
    std::string order;
    probestream stream;
    stream.onLine = [&] { order += "stream "; };
    addProbe(sinks, tl_info, [&](const std::wstring&) { order += "first "; });
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    addProbe(sinks, tl_info, [&](const std::wstring&) { order += "last "; });

    sinks.write(infos({L"one", L"two"}));

    CHECK(order == "first stream last first stream last ");
}

TEST_CASE("a sink derived from one of the library's is asked to log its lines", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    int logged = 0;
    sinks.add<countingfile>(tl_info, folder.file("trace.log").c_str(), logged);

    sinks.write(infos({L"one", L"two"}));

    CHECK(logged == 2);
    CHECK(bodies(folder.read("trace.log")) == "one two ");
}

TEST_CASE("streams get their lines behind all files, each line in the order of the streams' ids",
          "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    std::string order;
    probestream first;
    probestream last;
    first.onLine = [&] { order += "first(" + bodies(files.files["trace.log"]) + ") "; };
    last.onLine = [&] { order += "last "; };
    sinks.add<ostreamtracestream<char>>(tl_info, first);
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.add<ostreamtracestream<char>>(tl_info, last);

    sinks.write(infos({L"one", L"two"}));

    CHECK(order == "first(one two ) last first(one two ) last ");
    CHECK(files.appends == 1);
    CHECK(first.text().find("one\n") != std::string::npos);
}

TEST_CASE("a stream that is stuck costs the files nothing of the pass", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    gate stuck;
    gate release;
    probestream stream;
    stream.onLine = [&] {
        stuck.open();
        release.wait();
    };
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<rotatingfilestracestream>(tl_info, folder.file("other.log").c_str(), 3ULL, 1000ULL,
                                        0ULL);
    const linebatch batch = infos({L"one", L"two", L"three"});

    std::thread pass([&] { sinks.write(batch); });
    REQUIRE(stuck.wait());
    CHECK(bodies(folder.read("trace.log")) == "one two three ");
    CHECK(bodies(folder.read("other.log")) == "one two three ");
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{3});
    CHECK(countsOf(sinks.counts(3)) == expectedcounts{3});
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{});
    CHECK(sinks.progress().isInForeignCall());
    const unsigned long long moves = sinks.progress().moves();
    release.open();
    pass.join();

    CHECK(countsOf(sinks.counts(1)) == expectedcounts{3});
    CHECK_FALSE(sinks.progress().isInForeignCall());
    CHECK(sinks.progress().moves() > moves);
}

TEST_CASE("while a custom sink is stuck, the files hold and the counts tell of the lines so far",
          "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    gate stuck;
    gate release;
    sinks.add<filetracestream>(tl_info, folder.file("before.log").c_str());
    addProbe(sinks, tl_info, [&](const std::wstring& text) {
        if (text == L"two") {
            stuck.open();
            release.wait();
        }
    });
    sinks.add<filetracestream>(tl_info, folder.file("behind.log").c_str());
    linebatch batch = infos({L"one"});
    batch.add(tl_debug, function, L"refused");
    batch.add(tl_info, function, L"two");
    batch.add(tl_info, function, L"three");

    std::thread pass([&] { sinks.write(batch); });
    REQUIRE(stuck.wait());
    CHECK(bodies(folder.read("before.log")) == "one two ");
    CHECK(bodies(folder.read("behind.log")) == "one ");
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2, 1});
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{1, 1});
    CHECK(countsOf(sinks.counts(3)) == expectedcounts{1, 1});
    CHECK(sinks.progress().isInForeignCall());
    release.open();
    pass.join();

    CHECK(countsOf(sinks.counts(3)) == expectedcounts{3, 1});
    CHECK(bodies(folder.read("behind.log")) == "one two three ");
}

TEST_CASE("a pass gets on with each line, and around each writing of a file", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    CHECK(sinks.progress().moves() == 0);

    sinks.write(infos({L"one", L"two", L"three"}));

    CHECK(sinks.progress().moves() == 3 + 2);
    CHECK_FALSE(sinks.progress().isInForeignCall());
}

TEST_CASE("files get the same text of a line, whatever sinks are beside them", "[sinks]")
{
    const int besides = GENERATE(0, 1, 2);
    CAPTURE(besides);
    const temporaryfolder folder;
    std::ostringstream stream;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("one.log").c_str());
    sinks.add<filetracestream>(tl_info, folder.file("two.log").c_str());
    if (besides == 1) {
        sinks.add<ostreamtracestream<char>>(tl_error, stream); // renders nothing itself here
    } else if (besides == 2) {
        addProbe(sinks, tl_error);
    }
    std::ofstream(folder.file("one.log")); // lines are gathered for files that exist
    std::ofstream(folder.file("two.log"));
    const linebatch batch = infos({L"one line"});

    sinks.write(batch);

    CHECK(folder.read("one.log").find(" : one line\r\n") != std::string::npos);
    CHECK(folder.read("two.log") == folder.read("one.log"));
}

TEST_CASE("files and streams, which follow, get the same texts, long ones too", "[sinks]")
{
    const temporaryfolder folder;
    std::wostringstream stream;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    sinks.add<ostreamtracestream<wchar_t>>(tl_info, stream);
    const std::wstring longText(2000, L'x');
    const std::wstring longer(20000, L'y');

    sinks.write(infos({L"short", longText.c_str(), longer.c_str(), L"last"}));

    std::string expected = folder.read("trace.log");
    CHECK(bodies(expected) ==
          "short " + std::string(2000, 'x') + " " + std::string(20000, 'y') + " last ");
    expected.erase(std::remove(expected.begin(), expected.end(), '\r'), expected.end());
    const std::wstring streamed = stream.str();
    CHECK(std::string(streamed.begin(), streamed.end()) == expected);
}

TEST_CASE("the next batch may lie in the memory of the one before", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    passwriter pass(sinks.sinks(), sinks.progress());
    linebatch batch;
    for (const wchar_t* const body : {L"one", L"two"}) {
        batch.clear();
        batch.add(tl_info, function, body);
        pass.write(batch.lines());
    }

    CHECK(bodies(folder.read("trace.log")) == "one two ");
}

TEST_CASE("a sink gets only the lines that its level takes", "[sinks]")
{
    std::ostringstream stream;
    sinkset sinks;
    sinks.add<ostreamtracestream<char>>(tl_warning, stream);
    linebatch batch = infos({L"info"});
    batch.add(tl_warning, function, L"warning");
    batch.add(static_cast<tracelevel_t>(-3), function, L"negative");

    sinks.write(batch);

    CHECK(stream.str().find("info") == std::string::npos);
    CHECK(stream.str().find("warning\n") != std::string::npos);
    CHECK(stream.str().find("negative\n") != std::string::npos);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2, 1});
}

TEST_CASE("a sink has a level of its own for each function in turn", "[sinks]")
{
    std::ostringstream stream;
    sinkset sinks;
    sinks.add<ostreamtracestream<char>>(tl_info, stream).setLevel(tl_error, L"store::save");
    linebatch batch;
    for (const wchar_t* const body : {L"a", L"b", L"c"}) {
        batch.add(tl_info, function, body);
        batch.add(tl_info, otherFunction, body);
        batch.add(tl_info, otherFunction, body);
    }

    sinks.write(batch);

    CHECK(countsOf(sinks.counts(1)) == expectedcounts{3, 6});
}

TEST_CASE("a level that changes amid a pass holds from the next line on", "[sinks]")
{
    std::ostringstream stream;
    sinkset sinks;
    auto& changed = sinks.add<ostreamtracestream<char>>(tl_info, stream);
    addProbe(sinks, tl_info, [&](const std::wstring& text) {
        if (text == L"two") {
            changed.setLevel(tl_error);
        } else if (text == L"four") {
            changed.clearLevels(tl_debug);
        }
    });

    sinks.write(infos({L"one", L"two", L"three", L"four", L"five"}));

    CHECK(stream.str().find("two\n") != std::string::npos);
    CHECK(stream.str().find("three\n") == std::string::npos);
    CHECK(stream.str().find("four\n") == std::string::npos);
    CHECK(stream.str().find("five\n") != std::string::npos);
}

TEST_CASE("levels may be set by another thread while passes are written", "[sinks]")
{
    std::ostringstream stream;
    sinkset sinks;
    auto& changed = sinks.add<ostreamtracestream<char>>(tl_info, stream);
    const linebatch batch = infos({L"one", L"two", L"three"});
    std::atomic<bool> isDone{false};

    std::thread setter([&changed, &isDone] {
        while (!isDone) {
            changed.setLevel(tl_error);
            changed.setLevel(tl_debug, L"store::load");
            changed.clearLevels(tl_info);
            changed.clearLevels(L"store");
        }
    });
    constexpr int passes = 300;
    for (int pass = 0; pass < passes; ++pass) {
        sinks.write(batch);
    }
    isDone = true;
    setter.join();

    const expectedcounts counts = countsOf(sinks.counts(1));
    CHECK(counts.written + counts.refused == passes * batch.size());
    CHECK(changed.level(function) == tl_info);
}

TEST_CASE("many bytes of a pass are written before it ends", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    const std::wstring large(2000000, L'x');

    sinks.write(infos({L"one", large.c_str(), L"two", L"three"}));

    CHECK(files.appends == 2);
    CHECK(files.files["trace.log"].size() > large.size());
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{4});
}

TEST_CASE("a line whose conversion throws leaves nothing behind for the next one to run into",
          "[sinks]")
{
    const localeguard guard(std::locale(std::locale::classic(), new throwingfacet));
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());

    sinks.write(infos({L"first", (std::wstring(600, L'x') + L'\x4e2d').c_str(), L"last"}));

    const std::string bytes = folder.read("trace.log");
    CHECK(bytes.find("first\r\n[") != std::string::npos);
    CHECK(bytes.find("last\r\n") != std::string::npos);
    CHECK(bytes.find("xxx") == std::string::npos);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2, 0, 1});
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
        const linebatch batch = randomLines(random, 20, 100);
        gathered.write(batch);
        writePlainly(plain, batch);
    }

    CHECK(contents(gatheredFolder) == contents(plainFolder));
}

TEST_CASE("each line has its try at opening the file; the first that succeeds takes the rest along",
          "[sinks]")
{
    limitedfiles files;
    files.refusals["trace.log"] = 2;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");

    sinks.write(infos({L"one", L"two", L"three", L"four"}));

    CHECK(bodies(files.files["trace.log"]) == "three four ");
    CHECK(files.appends == 3);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2, 0, 2});
}

TEST_CASE("the lines that do not fit into a file count as lost, and the others as written",
          "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.write(infos({L"one"}));
    files.limits["trace.log"] = files.files["trace.log"].size() * 5 / 2;

    sinks.write(infos({L"two", L"six", L"ten", L"lost"}));

    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2, 0, 3});
    CHECK(bodies(files.files["trace.log"]) == "one two ");
    CHECK(endsWithLine(files.files["trace.log"]));
}

TEST_CASE("behind a line that does not fit a shorter one still does", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.write(infos({L"one"}));
    files.limits["trace.log"] = files.files["trace.log"].size() * 3;
    const std::wstring tooLong(100, L'x');

    sinks.write(infos({L"two", tooLong.c_str(), L"six", L"ten"}));

    CHECK(countsOf(sinks.counts(1)) == expectedcounts{3, 0, 2});
    CHECK(bodies(files.files["trace.log"]) == "one two six ");
    CHECK(endsWithLine(files.files["trace.log"]));
}

TEST_CASE("when a full file has room again, whole lines go on", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.write(infos({L"one"}));
    files.limits["trace.log"] = files.files["trace.log"].size() * 5 / 2;
    sinks.write(infos({L"two", L"six", L"ten"}));
    files.limits.clear();

    sinks.write(infos({L"last"}));

    CHECK(bodies(files.files["trace.log"]) == "one two last ");
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{3, 0, 2});
}

TEST_CASE("where a part of a line must stay in a full file, the next line stands by itself",
          "[sinks]")
{
    limitedfiles files;
    files.canBeCut = false;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.write(infos({L"one"}));
    const std::size_t length = files.files["trace.log"].size();
    files.limits["trace.log"] = length * 3 / 2;
    sinks.write(infos({L"two", L"six"}));
    files.limits.clear();

    sinks.write(infos({L"ten", L"last"}));

    const std::string& bytes = files.files["trace.log"];
    CHECK(bodies(bytes.substr(0, length)) == "one ");
    CHECK(bytes.substr(length, 3) == bytes.substr(0, 3)); // the part of a line
    CHECK(bytes.substr(length * 3 / 2, 3) == "\r\n[");
    CHECK(bodies(bytes.substr(length * 3 / 2)) == "ten last ");
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{3, 0, 2});
}

TEST_CASE("a pipe that nobody empties is waited for once, until it has taken all lines again",
          "[sinks]")
{
    const bool isGathered = GENERATE(true, false);
    CAPTURE(isGathered);
    limitedfiles files;
    files.pipes = {"pipe"};
    files.limits["pipe"] = 0;
    files.files["trace.log"] = "";
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, "pipe");
    sinks.add<filetracestream>(tl_info, "trace.log");
    if (!isGathered) {
        sinks.add<filetracestream>(tl_info, "new.log");
    }

    sinks.write(infos({L"one", L"two", L"three"}));
    sinks.write(infos({}));
    sinks.write(infos({L"four", L"five"}));
    CHECK(files.waits == 1);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{0, 0, 5});

    files.limits.clear();
    sinks.write(infos({L"six"}));
    files.limits["pipe"] = 0;
    sinks.write(infos({L"seven", L"eight"}));
    CHECK(files.waits == 2);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{1, 0, 7});
    CHECK(bodies(files.files["pipe"]) == "six ");
    CHECK(bodies(files.files["trace.log"]) == "one two three four five six seven eight ");
}

TEST_CASE("two names that differ only in what the encoding lacks are those of one file", "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, L"\x4e2d.log");
    sinks.add<filetracestream>(tl_info, L"\x6587.log");

    sinks.write(infos({L"one", L"two"}));
    sinks.write(infos({L"three", L"four"}));

    CHECK(bodies(files.files["?.log"]) == "one one two two three three four four ");
    CHECK(files.files.size() == 1);
}

TEST_CASE("what a custom sink throws costs it that line, as a fault of its own", "[sinks]")
{
    sinkset sinks;
    std::ostringstream stream;
    const probe_t told = addProbe(sinks, tl_info, [](const std::wstring& text) {
        if (text == L"exception") {
            throw std::runtime_error("broken sink");
        }
        if (text == L"memory") {
            throw std::bad_alloc();
        }
        if (text == L"number") {
            throw 42; // anything can be thrown
        }
    });
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    const linebatch batch = infos({L"one", L"exception", L"memory", L"number", L"two"});

    passwriter pass(sinks.sinks(), sinks.progress());
    pass.write(batch.lines());

    CHECK(countsOf(sinks.counts(1)) == expectedcounts{2, 0, 3});
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{5});
    CHECK(told->events().size() == 1 + batch.size()); // "clone", and the lines
    CHECK_FALSE(sinks.attached(1).isFaulty);
    CHECK_FALSE(pass.fault());
    CHECK_FALSE(sinks.progress().isInForeignCall());
}

TEST_CASE("what a stream throws costs it that line", "[sinks]")
{
    sinkset sinks;
    probestream stream;
    stream.exceptions(std::ios::badbit);
    int line = 0;
    stream.onLine = [&line] {
        if (++line == 2) {
            throw std::runtime_error("broken stream");
        }
    };
    sinks.add<ostreamtracestream<char>>(tl_info, stream);

    sinks.write(infos({L"one", L"two"}));

    CHECK(countsOf(sinks.counts(1)) == expectedcounts{1, 0, 1});
}

TEST_CASE("a fault in a sink is kept for the caller, and the sink is not called again", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    const probe_t first = addProbe(sinks, tl_info, [](const std::wstring& text) {
        if (text == L"two") {
            throw StructuredException("the first fault");
        }
    });
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    const probe_t second = addProbe(sinks, tl_info, [](const std::wstring& text) {
        if (text == L"three") {
            throw StructuredException("the second fault");
        }
    });
    linebatch batch = infos({L"one", L"two", L"three", L"four"});
    batch.add(tl_debug, function, L"refused");

    passwriter pass(sinks.sinks(), sinks.progress());
    CHECK_FALSE(pass.fault());
    pass.write(batch.lines());

    REQUIRE(pass.fault());
    CHECK_THROWS_WITH(std::rethrow_exception(pass.fault()), "the first fault");
    CHECK_THROWS_AS(std::rethrow_exception(pass.fault()), StructuredException);
    CHECK(first->events() == std::vector<std::string>{"clone 77", "77: one", "77: two"});
    CHECK(second->events().back() == "77: three");
    CHECK(bodies(folder.read("trace.log")) == "one two three four ");
    CHECK(sinks.attached(1).isFaulty);
    CHECK_FALSE(sinks.attached(2).isFaulty);
    CHECK(sinks.attached(3).isFaulty);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{1, 1, 3});
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{4, 1});
    CHECK(countsOf(sinks.counts(3)) == expectedcounts{2, 1, 2});
}

TEST_CASE("a faulty sink gets nothing in later passes, which are as if it were not there",
          "[sinks]")
{
    limitedfiles files;
    sinkset sinks;
    const probe_t told =
        addProbe(sinks, tl_info, [](const std::wstring&) { throw StructuredException("a fault"); });
    probestream stream;
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    sinks.add<filetracestream>(tl_info, "trace.log");
    sinks.write(infos({L"one"}));
    files.appends = 0;
    std::string seen;
    stream.onLine = [&] { seen += bodies(files.files["trace.log"]) + "| "; };

    linebatch batch = infos({L"two", L"three"});
    batch.add(tl_debug, function, L"refused");
    passwriter pass(sinks.sinks(), sinks.progress());
    pass.write(batch.lines());

    CHECK_FALSE(pass.fault());
    CHECK(told->events().back() == "77: one");
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{0, 1, 3});
    CHECK(files.appends == 1);
    CHECK(seen == "one two three | one two three | "); // files first
}

TEST_CASE("a fault in a stream is one of the stream alone", "[sinks]")
{
    sinkset sinks;
    probestream stream;
    stream.exceptions(std::ios::badbit);
    stream.onLine = [] { throw StructuredException("a fault"); };
    std::ostringstream healthy;
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    sinks.add<ostreamtracestream<char>>(tl_info, healthy);
    const linebatch batch = infos({L"one", L"two"});

    passwriter pass(sinks.sinks(), sinks.progress());
    pass.write(batch.lines());

    CHECK(pass.fault());
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{0, 0, 2});
    CHECK(countsOf(sinks.counts(2)) == expectedcounts{2});
}

TEST_CASE("without memory every line still counts once, and files hold what counts as written",
          "[sinks]")
{
    const std::wstring body(2000, L'x'); // more than a string holds by itself
    bool ranOut = false;
    bool wroteAll = false;
    for (unsigned long long after = 0; !wroteAll; ++after) {
        CAPTURE(after);
        const temporaryfolder folder;
        std::ostringstream stream;
        sinkset sinks;
        sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
        sinks.add<rotatingfilestracestream>(tl_info, folder.file("other.log").c_str(), 3ULL, 0ULL,
                                            0ULL);
        sinks.add<ostreamtracestream<char>>(tl_info, stream);
        const linebatch batch = infos({body.c_str(), L"short", body.c_str()});

        passwriter pass(sinks.sinks(), sinks.progress());
        {
            const allocations::failure failure(after);
            pass.write(batch.lines());
        }

        unsigned long long written = 0;
        for (unsigned long long sink = 1; sink <= 3; ++sink) {
            const expectedcounts counts = countsOf(sinks.counts(sink));
            CHECK(counts.written + counts.forWantOfMemory == batch.size());
            CHECK(counts.atDestination == 0);
            written += counts.written;
        }
        const std::string bytes = folder.read("trace.log");
        CHECK(static_cast<unsigned long long>(std::count(bytes.begin(), bytes.end(), '\n')) ==
              sinks.counts(1).written);
        ranOut = ranOut || written == 0;
        wroteAll = written == 3 * batch.size() && after > 100;
    }

    CHECK(ranOut);
}

TEST_CASE("without memory for its record a line is lost for an application's sink, too, and not "
          "called its failure",
          "[sinks]")
{
    const std::wstring body(2000, L'x');
    bool ranOut = false;
    bool wroteAll = false;
    for (unsigned long long after = 0; !wroteAll; ++after) {
        CAPTURE(after);
        sinkset sinks;
        sinks.add<silentsink>(tl_info);
        const linebatch batch = infos({L"short", body.c_str(), L"short"});

        passwriter pass(sinks.sinks(), sinks.progress());
        {
            const allocations::failure failure(after);
            pass.write(batch.lines());
        }

        const expectedcounts counts = countsOf(sinks.counts(1));
        CHECK(counts.written + counts.forWantOfMemory == batch.size());
        ranOut = ranOut || counts.forWantOfMemory == 1;
        wroteAll = counts.written == batch.size();
    }

    CHECK(ranOut);
}

TEST_CASE("a pass that has no memory to begin with throws and counts nothing", "[sinks]")
{
    const temporaryfolder folder;
    sinkset sinks;
    sinks.add<filetracestream>(tl_info, folder.file("trace.log").c_str());
    int thrown = 0;
    bool begun = false;
    for (unsigned long long after = 0; !begun; ++after) {
        const allocations::failure failure(after);
        try {
            passwriter pass(sinks.sinks(), sinks.progress());
            begun = true;
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
    }

    CHECK(thrown > 2);
    CHECK(countsOf(sinks.counts(1)) == expectedcounts{});
}

namespace {

/// A set of files in a folder of their own, which random tests close and fill up.
struct filesetting
{
    explicit filesetting(std::string prefix) : folder(std::move(prefix))
    {
        sinks.add<filetracestream>(tl_info, path("info.log").c_str());
        sinks.add<rotatingfilestracestream>(tl_debug, path("small.log").c_str(), 4ULL, 1ULL, 0ULL);
        sinks.add<rotatingfilestracestream>(tl_error, path("tiny.log").c_str(), 3ULL, 0ULL, 0ULL);
    }

    std::string path(const std::string& name) const { return folder + name; }

    std::map<std::string, std::string> contents(const limitedfiles& files) const
    {
        std::map<std::string, std::string> found;
        for (const auto& file : files.files) {
            if (file.first.compare(0, folder.size(), folder) == 0) {
                found[file.first.substr(folder.size())] = file.second;
            }
        }
        return found;
    }

    std::string folder;
    sinkset sinks;
};

/// Closes a file for some tries, and limits its size, in both settings alike.
void makeTrouble(limitedfiles& files, const filesetting& one, const filesetting& other,
                 std::mt19937& random)
{
    for (const char* const name : {"info.log", "small.log", "tiny.log"}) {
        const auto refusals = random() % 3 == 0 ? static_cast<int>(random() % 20) : 0;
        const bool isFull = random() % 3 == 0;
        const std::size_t room = files.files[one.path(name)].size() + random() % 2000;
        for (const filesetting* const each : {&one, &other}) {
            files.refusals[each->path(name)] = refusals;
            files.limits.erase(each->path(name));
            if (isFull) {
                files.limits[each->path(name)] = room;
            }
        }
    }
}

/// What the files' counts should be: each line is written by itself, and looked after.
void writeAndCount(limitedfiles& files, sinkset& sinks, const linebatch& batch,
                   std::map<unsigned long long, expectedcounts>& expected)
{
    for (std::size_t line = 0; line < batch.size(); ++line) {
        for (const auto& sink : sinks.sinks()) {
            expectedcounts& counts = expected[sink.first];
            if (formattedlinetest::level(batch[line]) > sink.second.sink->level(function)) {
                ++counts.refused;
                continue;
            }
            files.lastWasWhole = false;
            sink.second.sink->log(batch[line]);
            ++(files.lastWasWhole ? counts.written : counts.atDestination);
        }
    }
}

} // namespace

TEST_CASE("files that fail lose the same lines as when every line is written at once, and count "
          "them",
          "[sinks]")
{
    limitedfiles files;
    filesetting gathered("gathered/");
    filesetting plain("plain/");
    std::map<unsigned long long, expectedcounts> expected;
    std::mt19937 random(GENERATE(1U, 2U, 3U, 4U));
    files.canBeCut = GENERATE(false, true);
    if (GENERATE(false, true)) {
        addProbe(gathered.sinks, tl_error);
    }

    for (int pass = 0; pass < 60; ++pass) {
        makeTrouble(files, gathered, plain, random);
        const linebatch batch = randomLines(random, 40, 300);
        gathered.sinks.write(batch);
        writeAndCount(files, plain.sinks, batch, expected);
    }

    CHECK(gathered.contents(files) == plain.contents(files));
    for (const auto& sink : expected) {
        CAPTURE(sink.first);
        CHECK(countsOf(gathered.sinks.counts(sink.first)) == sink.second);
        CHECK(sink.second.atDestination > 10);
    }
}

TEST_CASE("every line counts once for every sink, whatever becomes of it", "[sinks]")
{
    std::mt19937 random(GENERATE(11U, 12U, 13U));
    const bool hasCustom = GENERATE(false, true);
    const std::wstring throwing = L"throw";
    const std::wstring faulting = L"fault";
    sinkset sinks;
    std::ostringstream stream;
    limitedfiles files;
    sinks.add<ostreamtracestream<char>>(tl_info, stream);
    sinks.add<filetracestream>(tl_error, "a.log");
    sinks.add<filetracestream>(tl_debug, "b.log");
    if (hasCustom) {
        addProbe(sinks, tl_warning, [&](const std::wstring& text) {
            if (text == throwing) {
                throw std::runtime_error("broken sink");
            }
            if (text == faulting) {
                throw StructuredException("a fault");
            }
        });
    }
    const tracelevel_t levels[] = {tl_info, tl_error, tl_debug, tl_warning};
    std::map<unsigned long long, expectedcounts> expected;
    bool isFaulty = false;

    for (int pass = 0; pass < 40; ++pass) {
        linebatch batch;
        const auto lines = random() % 30;
        for (unsigned long i = 0; i < lines; ++i) {
            const auto level = static_cast<tracelevel_t>(random() % 7);
            const bool throws = random() % 5 == 0;
            const bool faults = !throws && pass > 20 && random() % 20 == 0;
            const std::wstring body = throws ? throwing : faults ? faulting : L"text";
            batch.add(level, function, body.c_str());
            for (const auto& sink : sinks.sinks()) {
                expectedcounts& counts = expected[sink.first];
                const bool isCustom = sink.first == 4;
                if (level > levels[sink.first - 1]) {
                    ++counts.refused;
                    continue;
                }
                isFaulty = isFaulty || (isCustom && faults);
                ++(isCustom && (throws || isFaulty) ? counts.atDestination : counts.written);
            }
        }
        sinks.write(batch);
        for (const auto& sink : sinks.sinks()) {
            CAPTURE(pass, sink.first);
            REQUIRE(countsOf(sinks.counts(sink.first)) == expected[sink.first]);
        }
    }

    CHECK(isFaulty == hasCustom);
}
