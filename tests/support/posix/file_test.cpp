#include "support/file.h"

#include "tests/helpers/temporaryfolder.h"

#include <catch2/catch.hpp>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

tolvane::Appended append(const std::string& path, const std::string& bytes)
{
    const std::size_t end = bytes.size();
    return tolvane::appendToFile(path, {bytes.data(), 0, &end, 1}, true);
}

/// Keeps the files that this process writes from growing beyond a size.
class sizelimit
{
public:
    explicit sizelimit(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit lower = {bytes, m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &lower);
    }

    ~sizelimit()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }

    sizelimit(const sizelimit&) = delete;
    sizelimit& operator=(const sizelimit&) = delete;

private:
    rlimit m_before = {};
    void (*m_handler)(int);
};

/// A pipe with a name.
class namedpipe
{
public:
    explicit namedpipe(const temporaryfolder& folder) : m_path(folder.file("pipe"))
    {
        REQUIRE(::mkfifo(m_path.c_str(), 0600) == 0);
    }

    ~namedpipe() { closeReader(); }

    namedpipe(const namedpipe&) = delete;
    namedpipe& operator=(const namedpipe&) = delete;

    const std::string& path() const { return m_path; }

    void openReader()
    {
        m_reader = ::open(m_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        REQUIRE(m_reader >= 0);
    }

    void closeReader()
    {
        if (m_reader >= 0) {
            ::close(m_reader);
            m_reader = -1;
        }
    }

    /// What is in it now.
    std::string read() const
    {
        std::string all;
        char bytes[4096];
        for (ssize_t count = 0; (count = ::read(m_reader, bytes, sizeof bytes)) > 0;) {
            all.append(bytes, static_cast<std::size_t>(count));
        }
        return all;
    }

private:
    std::string m_path;
    int m_reader = -1;
};

/// Gives back the lease that somebody else's opening breaks.
int leased = -1;

void giveLeaseBack(int)
{
    ::fcntl(leased, F_SETLEASE, F_UNLCK);
}

} // namespace

TEST_CASE("a file on which somebody has a lease is written as soon as it is given back",
          "[support]")
{
    const temporaryfolder folder;
    REQUIRE(append(folder.file("file"), "one\r\n").lines == 1);
    leased = ::open(folder.file("file").c_str(), O_RDONLY | O_CLOEXEC);
    auto* const before = std::signal(SIGIO, giveLeaseBack);

    if (::fcntl(leased, F_SETLEASE, F_RDLCK) == 0) {
        CHECK(append(folder.file("file"), "two\r\n").lines == 1);
        CHECK(folder.read("file") == "one\r\ntwo\r\n");
    } else {
        WARN("the file system of the temporary folder has no leases");
    }
    std::signal(SIGIO, before);
    ::close(leased);
}

TEST_CASE("a file that takes no bytes tells so", "[support]")
{
    const char* const alwaysFull = "/dev/full";
    REQUIRE(std::filesystem::exists(alwaysFull));

    CHECK(append(alwaysFull, "lost").lines == 0);
}

TEST_CASE("a file at its size limit holds whole lines, and goes on with the next one that fits",
          "[support]")
{
    const temporaryfolder folder;
    const std::string text = "one\r\nsecond\r\nthird\r\n";
    const std::size_t ends[] = {5, 13, 20};
    const std::string path = folder.file("file");
    {
        const sizelimit limit(10);
        CHECK(tolvane::appendToFile(path, {text.data(), 0, ends, 3}, true).lines == 1);
        CHECK(append(path, "too long\r\n").lines == 0);
        CHECK(append(path, "six\r\n").lines == 1);
        CHECK(append(path, "no room\r\n").lines == 0);
    }
    CHECK(append(path, "last\r\n").lines == 1);

    CHECK(folder.read("file") == "one\r\nsix\r\nlast\r\n");
}

TEST_CASE("a pipe that nobody reads from takes nothing, and nobody waits", "[support]")
{
    const temporaryfolder folder;
    const namedpipe pipe(folder);

    const tolvane::Appended appended = append(pipe.path(), "lost\r\n");

    CHECK(appended.lines == 0);
    CHECK_FALSE(appended.isStuck);
}

TEST_CASE("a pipe that somebody reads from takes lines", "[support]")
{
    const temporaryfolder folder;
    namedpipe pipe(folder);
    pipe.openReader();

    CHECK(append(pipe.path(), "line\r\n").lines == 1);

    CHECK(pipe.read() == "line\r\n");
}

TEST_CASE("a pipe whose reader is late takes more than it holds", "[support]")
{
    const temporaryfolder folder;
    namedpipe pipe(folder);
    pipe.openReader();
    const std::string large = std::string(300000, 'x') + "\r\n";
    std::string all;
    std::thread reader([&] {
        while (all.size() < large.size()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            all += pipe.read();
        }
    });

    const tolvane::Appended appended = append(pipe.path(), large);
    if (appended.lines == 0) {
        all = large; // so that the reader ends
    }
    reader.join();

    CHECK(appended.lines == 1);
    CHECK_FALSE(appended.isStuck);
    CHECK(all == large);
}

TEST_CASE("a pipe whose reader takes nothing is given up after some time, and its next line stands "
          "by itself",
          "[support]")
{
    const temporaryfolder folder;
    namedpipe pipe(folder);
    pipe.openReader();
    const std::string large = std::string(300000, 'x') + "\r\n";

    const tolvane::Appended appended = append(pipe.path(), large);
    const std::string part = pipe.read();
    CHECK(append(pipe.path(), "next\r\n").lines == 1);

    CHECK(appended.lines == 0);
    CHECK(appended.isStuck);
    CHECK(part == large.substr(0, part.size()));
    CHECK(pipe.read() == "\r\nnext\r\n");
}

TEST_CASE("who may not wait for a reader does not", "[support]")
{
    const temporaryfolder folder;
    namedpipe pipe(folder);
    pipe.openReader();
    const std::string large = std::string(300000, 'x') + "\r\n";
    const std::size_t end = large.size();
    const auto start = std::chrono::steady_clock::now();

    for (int i = 0; i < 10; ++i) {
        CHECK(tolvane::appendToFile(pipe.path(), {large.data(), 0, &end, 1}, false).isStuck);
    }
    CHECK(std::chrono::steady_clock::now() - start < std::chrono::seconds(3));

    pipe.read();
    const std::size_t shortEnd = 2;
    CHECK_FALSE(tolvane::appendToFile(pipe.path(), {"\r\n", 0, &shortEnd, 1}, false).isStuck);
}

TEST_CASE("a line goes through a symbolic link, and makes the file that it leads to", "[support]")
{
    const temporaryfolder folder;
    std::filesystem::create_symlink("there", folder.file("link"));

    CHECK(append(folder.file("link"), "line").lines == 1);

    CHECK(folder.read("there") == "line");
    CHECK(std::filesystem::is_symlink(folder.file("link")));
}

TEST_CASE("symbolic links that lead back to themselves are no file", "[support]")
{
    const temporaryfolder folder;
    std::filesystem::create_symlink("link", folder.file("link"));

    CHECK(append(folder.file("link"), "lost").lines == 0);
}

TEST_CASE("a pipe is not read, and nobody waits for somebody who writes", "[support]")
{
    const temporaryfolder folder;
    REQUIRE(::mkfifo(folder.file("pipe").c_str(), 0600) == 0);
    std::string bytes;

    CHECK_FALSE(tolvane::readFile(folder.file("pipe"), 100, bytes));
}
