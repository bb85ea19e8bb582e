#include "trace/traceimpl.h"

#include "settings/settingssinks.h"
#include "sinks/levelgeneration.h"
#include "support/clock.h"
#include "support/filesystem.h"
#include "support/utf8.h"
#include "support/view.h"
#include "trace/bothlocks.h"
#include "trace/changesinks.h"
#include "trace/insidelibrary.h"
#include "trace/instancelock.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

// A file that says which sinks are attached, with which levels, while the process runs.

namespace {

constexpr unsigned long long lookInterval = 1000; ///< milliseconds

/// Milliseconds that the writer waits for a sink that is busy, before it tries again later.
constexpr unsigned long long patienceToChange = 10;

/// Bytes. Whatever is larger was not written for this.
constexpr std::size_t longestFile = 1 << 20;

constexpr const wchar_t* unreadable = L"the file cannot be read, or is larger than a mebibyte";

bool readFile(const tolvane::string& path, std::string& bytes)
{
    return tolvane::FileSystem::current().read(path.narrow(), longestFile, bytes);
}

/// Complains of what is malformed.
bool readSettings(const tolvane::string& path, std::string_view bytes,
                  tolvane::outputsettings& settings)
{
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (bytes.substr(0, byteOrderMark.size()) == byteOrderMark) {
        bytes.remove_prefix(byteOrderMark.size());
    }
    std::wstring text;
    tolvane::utf8::appendWideWithBytes(text, bytes);
    const bool isFine = settings.read(text);
    if (!isFine) {
        tolvane::complain(view(path), settings.wrong());
    }
    return isFine;
}

} // namespace

/// What cannot be put in force for want of memory the writer tries again.
bool traceimpl::followSettings(const tolvane::string& path)
{
    std::exception_ptr fault;
    bool isFine = false;
    if (path.empty()) {
        const instancelock lock(m_instanceMutex);
        m_followed.path = path;
        m_looksAt = never;
        return false;
    }
    {
        const insidelibrary inside;
        auto sinks = std::make_unique<const tolvane::SettingsSinks>();
        std::string bytes;
        tolvane::outputsettings settings;
        const bool isRead = readFile(path, bytes);
        isFine = isRead && readSettings(path, bytes, settings);
        bothlocks locks(*this);
        m_followed.path = path;
        m_followed.sinks = std::move(sinks);
        m_followed.taken.reset();
        m_followed.seen.reset();
        m_followed.isUnreadable = !isRead;
        m_followed.malformed = settings.wrong();
        m_looksAt = tolvane::Clock::current().monotonicMilliseconds() + lookInterval;
        startWriter();
        if (isFine) {
            fault = changeSinks(locks, [this, &settings, &bytes] { adopt(settings, bytes); });
        } else if (isRead) {
            m_followed.taken = bytes;
        }
    }
    if (fault) {
        std::rethrow_exception(fault);
    }
    return isFine;
}

/// A line about the followed file while something is wrong with it. Caller holds m_instanceMutex.
std::wstring traceimpl::describeSettings() const
{
    if (m_followed.path.empty() || (!m_followed.isUnreadable && m_followed.malformed.empty())) {
        return {};
    }
    const std::wstring wrong = m_followed.isUnreadable ? unreadable : m_followed.malformed;
    const tolvane::string text(L"settings " + std::wstring(view(m_followed.path)) + L": " + wrong);
    return std::wstring(view(tolvane::escaped(text))) + L'\n';
}

/// Called by the writer behind each of its passes. Without memory it looks again later.
///
/// \return the hardware fault of a sink.
std::exception_ptr traceimpl::lookAtSettings() noexcept
{
    if (m_looksAt == never || tolvane::Clock::current().monotonicMilliseconds() < m_looksAt) {
        return nullptr;
    }
    const insidelibrary inside;
    try {
        const tolvane::string path = followedFile();
        std::string bytes;
        if (path.empty()) {
            return nullptr;
        }
        const bool isRead = readFile(path, bytes);
        if (isNews(path, isRead ? &bytes : nullptr)) {
            return changeSettings(path, bytes);
        }
    } catch (const std::bad_alloc&) {
    }
    return nullptr;
}

/// To be looked at now; then not for a while.
tolvane::string traceimpl::followedFile()
{
    const instancelock lock(m_instanceMutex);
    if (m_followed.path.empty()) {
        return tolvane::string();
    }
    m_looksAt = tolvane::Clock::current().monotonicMilliseconds() + lookInterval;
    return m_followed.path;
}

/// Whether the file has changed, and nobody is writing it: what differs from the last look is
/// looked at again with the next pass.
/// \param bytes  null: it cannot be read.
bool traceimpl::isNews(const tolvane::string& path, const std::string* bytes)
{
    const instancelock lock(m_instanceMutex);
    if (m_followed.path != path) {
        return false;
    }
    m_followed.isUnreadable = !bytes;
    if (!bytes || m_followed.taken == *bytes) {
        return false;
    }
    const bool isSettled = m_followed.seen == *bytes;
    m_followed.seen = *bytes;
    if (!isSettled) {
        m_looksAt = 0;
    }
    return isSettled;
}

/// When a sink is busy, the next pass tries again.
std::exception_ptr traceimpl::changeSettings(const tolvane::string& path, const std::string& bytes)
{
    tolvane::outputsettings settings;
    if (!readSettings(path, bytes, settings)) {
        const instancelock lock(m_instanceMutex);
        if (m_followed.path == path) {
            m_followed.taken = bytes; // and is not complained of again
            m_followed.malformed = settings.wrong();
        }
        return nullptr;
    }
    bothlocks locks(*this, patienceToChange);
    if (!locks.areHeld()) {
        m_looksAt = 0;
        return nullptr;
    }
    if (m_followed.path != path) {
        return nullptr; // another file is followed by now
    }
    return changeSinks(locks, [this, &settings, &bytes] { adopt(settings, bytes); });
}

/// Without memory a part may be in force, and all of it is still to be taken. Caller holds both
/// locks.
void traceimpl::adopt(const tolvane::outputsettings& settings, const std::string& bytes)
{
    detachUnnamed(settings);
    for (const tolvane::outputsettings::entry& each : settings.all()) {
        adopt(each);
    }
    m_followed.current = settings;
    m_followed.taken = bytes;
    m_followed.malformed.clear();
}

/// What the application attached itself is left alone. A sink that is there already gets all of its
/// levels at once.
void traceimpl::adopt(const tolvane::outputsettings::entry& entry)
{
    const unsigned long long id = tolvane::SettingsSinks::idOf(entry.to);
    const auto found = m_sinks.find(id);
    if (found != m_sinks.end() && !found->second.isFromSettings) {
        return;
    }
    const std::unique_ptr<tracestream> sink = m_followed.sinks->make(entry.to);
    setLevelsOf(*sink, entry.levels);
    const auto& before = m_followed.current.all();
    const bool wasNamed = std::any_of(before.begin(), before.end(),
                                      [&entry](const auto& each) { return each.to == entry.to; });
    const bool stays = found != m_sinks.end() && wasNamed;
    tracestream& attached = stays ? *found->second.sink : attach(*sink);
    m_sinks.at(id).isFromSettings = true; // before memory may be out
    attached = *sink;
}

/// Of what was attached for settings, the sinks that are not for them any more.
void traceimpl::detachUnnamed(const tolvane::outputsettings& settings)
{
    std::vector<unsigned long long> named;
    for (const tolvane::outputsettings::entry& each : settings.all()) {
        named.push_back(tolvane::SettingsSinks::idOf(each.to));
    }
    for (auto next = m_sinks.begin(); next != m_sinks.end();) {
        const auto attached = next++;
        if (attached->second.isFromSettings &&
            std::find(named.begin(), named.end(), attached->first) == named.end()) {
            detach(attached);
        }
    }
    levelgeneration::raise();
}
