#include <tolvane/rotatingfilestracestream.h>

#include <tolvane/hashedfunction.h>

#include "support/filesystem.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"
#include "tests/fuzz/handclock.h"
#include "tests/helpers/sinkset.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr const char* currentName = "trace.log";

std::string numbered(unsigned long long number)
{
    return currentName + ('.' + std::to_string(number));
}

struct file
{
    std::string bytes;
    unsigned long long created = 0; ///< seconds since 1970, UTC
    unsigned long long number = 0;  ///< no other file ever has it
};

/// What goes wrong with files, and how the platform is.
struct world
{
    fuzz::clockinuse clock;
    std::set<std::string> fixed;  ///< cannot be deleted or renamed
    std::set<std::string> closed; ///< cannot be opened
    bool statusFails = false;
    bool listingFails = false;
    bool keepsCreation = false;           ///< an emptied file is as old as before
    unsigned long long secondsBehind = 0; ///< of UTC
    unsigned long long lastFile = 0;

    file newFile(const std::string& bytes = "")
    {
        return {bytes, clock.now() / 1000 - secondsBehind, ++lastFile};
    }
};

/// Files in memory. The library has them in use, the model has its own.
class simulatedfiles : public tolvane::FileSystem
{
public:
    explicit simulatedfiles(world& of) : m_world(of) {}

    bool status(const std::string& path, tolvane::FileStatus& status) const override
    {
        const auto found = files.find(path);
        if (found == files.end() || m_world.statusFails) {
            return false;
        }
        status.size = found->second.bytes.size();
        status.created = found->second.created;
        return true;
    }

    bool exists(const std::string& path) const override { return files.count(path) != 0; }

    void remove(const std::string& path) const override
    {
        if (m_world.fixed.count(path) == 0) {
            files.erase(path);
        }
    }

    void rename(const std::string& from, const std::string& to) const override
    {
        if (exists(from) && m_world.fixed.count(from) == 0 && !exists(to)) {
            files[to] = std::move(files[from]);
            files.erase(from);
        }
    }

    void createEmpty(const std::string& path) const override
    {
        if (m_world.closed.count(path) != 0) {
            return;
        }
        file& emptied = files.try_emplace(path, m_world.newFile()).first->second;
        emptied.bytes.clear();
        if (!m_world.keepsCreation) {
            emptied.created = m_world.newFile().created;
        }
    }

    bool numbersBehind(const std::string& path,
                       std::vector<unsigned long long>& numbers) const override
    {
        for (const auto& each : files) {
            if (each.first.compare(0, path.size() + 1, path + '.') == 0) {
                appendNumber(numbers, each.first);
            }
        }
        return !m_world.listingFails;
    }

    tolvane::Appended append(const std::string& path, const tolvane::Lines& lines,
                             bool) const noexcept override
    {
        tolvane::Appended appended;
        appended.lines = write(path, std::string(lines.bytes(), lines.size())) ? lines.count : 0;
        return appended;
    }

    bool identify(const std::string& path, tolvane::FileIdentity& identity) const noexcept override
    {
        identity.number = numberOf(path);
        return identity.number != 0;
    }

    /// \return whether the file could be opened.
    bool write(const std::string& path, const std::string& bytes) const
    {
        if (m_world.closed.count(path) != 0) {
            return false;
        }
        files.try_emplace(path, m_world.newFile()).first->second.bytes += bytes;
        return true;
    }

    /// 0 when there is no such file.
    unsigned long long numberOf(const std::string& path) const
    {
        const auto found = files.find(path);
        return found == files.end() ? 0 : found->second.number;
    }

    mutable std::map<std::string, file> files;

private:
    world& m_world;
};

struct limits
{
    unsigned long long files;
    unsigned long long kibibytes;
    unsigned long long days;
};

/// The rules of a rotating file, step by step.
class model
{
public:
    model(const limits& within, const simulatedfiles& files, const world& around)
        : m_limits(within), m_files(files), m_world(around)
    {}

    void log(const std::wstring& rendered)
    {
        std::string bytes;
        for (const wchar_t character : rendered + L'\n') {
            bytes += character == L'\n' ? "\r\n" : std::string(1, static_cast<char>(character));
        }
        m_files.write(currentName, bytes);
        account(rendered.size());
        if (m_size != 0 && m_started != 0 && limitReached()) {
            rotate();
        }
    }

private:
    void account(unsigned long long length)
    {
        if (m_size != 0 && m_started != 0) {
            m_size += length;
            return;
        }
        tolvane::FileStatus status;
        if (m_files.status(currentName, status)) {
            m_size = status.size;
            m_started = status.created * 1000;
            if (m_emptied != 0 && m_emptied == m_files.numberOf(currentName)) {
                m_started = std::max(m_started, m_emptiedAt);
            }
        }
    }

    bool limitReached() const
    {
        const unsigned long long now = m_world.clock.now();
        unsigned long long age = now - m_started;
        unsigned long long oldest = m_limits.days * 86400000;
        if (now < m_started || m_limits.days == 0) {
            age = 0;
            oldest = 1;
        }
        return m_size >= m_limits.kibibytes << 10U || age >= oldest;
    }

    /// Numbers beyond all files have nothing to be deleted or renamed. A current file that can be
    /// neither is emptied, and counts as made then.
    void rotate()
    {
        const unsigned long long before = m_files.numberOf(currentName);
        const unsigned long long oldest = std::max(m_limits.files, 2ULL) - 2;
        for (unsigned long long i = std::min(oldest, greatestNumber(oldest) + 1); i >= 1; --i) {
            m_files.remove(numbered(i));
            m_files.rename(numbered(i - 1), numbered(i));
        }
        m_files.remove(numbered(0));
        m_files.rename(currentName, numbered(0));
        m_files.createEmpty(currentName);
        m_size = 0;
        m_started = m_world.clock.now();
        m_emptied = before == m_files.numberOf(currentName) ? before : 0;
        m_emptiedAt = m_started;
    }

    /// Of the files that are moved. Among many that cannot be listed, those behind a gap of more
    /// than 64 numbers are not found.
    unsigned long long greatestNumber(unsigned long long oldest) const
    {
        const bool findsAll = !m_world.listingFails || oldest <= 64;
        std::vector<unsigned long long> numbers = {0};
        m_files.numbersBehind(currentName, numbers);
        const unsigned long long last = *std::max_element(numbers.begin(), numbers.end());
        unsigned long long greatest = 0;
        unsigned long long missing = 0;
        for (unsigned long long number = 0; number <= last && (findsAll || missing <= 64);
             ++number) {
            const bool isThere = m_files.exists(numbered(number));
            missing = isThere ? 0 : missing + 1;
            greatest = isThere ? number : greatest;
        }
        return greatest;
    }

    const limits m_limits;
    const simulatedfiles& m_files;
    const world& m_world;
    unsigned long long m_size = 0;
    unsigned long long m_started = 0;
    unsigned long long m_emptied = 0; ///< the number of the file; 0: none
    unsigned long long m_emptiedAt = 0;
};

limits chosenLimits(fuzz::choices& input)
{
    static constexpr unsigned long long files[] = {0, 1, 2, 3, 4, 5, 70, 100, 1000000000, ~0ULL};
    static constexpr unsigned long long kibibytes[] = {0, 1, 2, 1ULL << 54U, ~0ULL, 3};
    static constexpr unsigned long long days[] = {0, 1, 2, 30, 1ULL << 54U, ~0ULL};
    const unsigned long long fileLimit = input.of(files);
    const unsigned long long sizeLimit = input.of(kibibytes);
    return {fileLimit, sizeLimit, input.of(days)};
}

/// The numbers of files that come from elsewhere, beside the ones in use.
unsigned long long chosenNumber(fuzz::choices& input)
{
    static constexpr unsigned long long numbers[] = {0,  1,   2,  3,  4,  5,  6,  62, 63, 64,
                                                     65, 300, 66, 67, 68, 69, 97, 98, 99, 100};
    return input.of(numbers);
}

class run
{
public:
    explicit run(fuzz::choices& input)
        : m_input(input),
          m_limits(chosenLimits(input)),
          m_sink(m_sinks.add<rotatingfilestracestream>(tl_trace, tolvane::string(currentName),
                                                       m_limits.files, m_limits.kibibytes,
                                                       m_limits.days))
    {
        m_world.keepsCreation = input.truth();
        m_world.secondsBehind = 3600 * input.below(24);
        m_world.clock.set(1700000000000);
        tolvane::FileSystem::use(&m_files);
    }

    ~run() { tolvane::FileSystem::use(nullptr); }

    run(const run&) = delete;
    run& operator=(const run&) = delete;

    void step()
    {
        switch (m_input.below(13)) {
        case 0:
            m_world.clock.set(m_world.clock.now() + m_input.number() % (40ULL * 86400000));
            break;
        case 1:
            m_world.clock.set(m_world.clock.now() - m_input.number() % (2ULL * 86400000));
            break;
        case 2:
            m_world.clock.set(m_input.number());
            break;
        case 3:
            fileFromElsewhere();
            break;
        case 4:
            toggle(m_world.fixed);
            break;
        case 5:
            toggle(m_world.closed);
            break;
        case 6:
            m_world.statusFails = !m_world.statusFails;
            break;
        case 7:
            m_world.listingFails = !m_world.listingFails;
            break;
        case 8:
        case 9:
            pass();
            break;
        default:
            singleLine();
            break;
        }
        compare();
    }

    void compareBytes() const
    {
        for (const auto& expected : m_expected.files) {
            fuzz::checkText(m_files.files[expected.first].bytes, expected.second.bytes,
                            expected.first.c_str());
        }
    }

private:
    std::string chosenFile()
    {
        return m_input.truth() ? std::string(currentName) : numbered(chosenNumber(m_input));
    }

    /// Made, replaced or deleted by somebody else.
    void fileFromElsewhere()
    {
        const std::string name = chosenFile();
        m_files.files.erase(name);
        m_expected.files.erase(name);
        if (m_input.truth()) {
            file made = m_world.newFile(std::string(m_input.below(3000), 'e'));
            made.created = m_input.number();
            m_files.files[name] = made;
            m_expected.files[name] = made;
        }
    }

    void toggle(std::set<std::string>& names)
    {
        const std::string name = chosenFile();
        if (names.erase(name) == 0) {
            names.insert(name);
        }
    }

    formattedline chosenLine()
    {
        static const hashedfunction function("void f()");
        const std::size_t length = m_input.below(1500);
        std::wstring body = std::to_wstring(m_lines++);
        if (length > body.size()) {
            body.resize(length, m_input.below(8) == 7 ? L'\n' : L'x');
        }
        return formattedlinetest::text(tl_info, function, body.c_str());
    }

    void singleLine()
    {
        const formattedline line = chosenLine();
        m_sink.log(line);
        m_model.log(formattedlinetest::render(line));
    }

    /// Lines that are written together.
    void pass()
    {
        linebatch batch;
        for (std::size_t count = 1 + m_input.below(6); count != 0; --count) {
            formattedline line = chosenLine();
            batch.add(tl_info, *formattedlinetest::function(line),
                      formattedlinetest::body(line).c_str());
            m_model.log(formattedlinetest::render(line));
        }
        m_sinks.write(batch);
    }

    void compare() const
    {
        fuzz::check(m_files.files.size() == m_expected.files.size(), "the number of files");
        auto found = m_files.files.begin();
        for (const auto& expected : m_expected.files) {
            fuzz::check(found->first == expected.first, "which files there are");
            fuzz::check(found->second.bytes.size() == expected.second.bytes.size(),
                        "the size of a file");
            fuzz::check(found->second.created == expected.second.created, "when a file was made");
            ++found;
        }
    }

    fuzz::choices& m_input;
    world m_world;
    simulatedfiles m_files{m_world};
    simulatedfiles m_expected{m_world};
    const limits m_limits;
    sinkset m_sinks;
    rotatingfilestracestream& m_sink;
    model m_model{m_limits, m_expected, m_world};
    unsigned int m_lines = 0;
};

} // namespace

void fuzz::rotation(choices& input)
{
    run rotating(input);
    while (!input.empty()) {
        rotating.step();
    }
    rotating.compareBytes();
}
