#pragma once

#include "support/clock.h"

#include <atomic>
#include <functional>
#include <list>
#include <thread>

/// Puts a clock in use that goes as the test says, for as long as the object lives and for the
/// thread that made it. Other threads, such as the dispatcher's writer, have the platform's clock
/// throughout.
class scriptedclock
{
public:
    scriptedclock() : m_script(&makeScript()) { tolvane::Clock::use(m_script); }
    ~scriptedclock() { tolvane::Clock::use(nullptr); }

    scriptedclock(const scriptedclock&) = delete;
    scriptedclock& operator=(const scriptedclock&) = delete;

    /// Ticks of 100 nanoseconds that the next reading gives.
    void setTicks(unsigned long long ticks) { m_script->now = ticks; }

    /// How far the ticks advance behind each reading, 0 at first.
    void setTicksPerReading(unsigned long long ticks) { m_script->perReading = ticks; }

    /// How far the ticks advance with each sleep, however long, 0 at first.
    void setTicksPerSleep(unsigned long long ticks) { m_script->perSleep = ticks; }

    /// Milliseconds since 1970 on the local wall clock.
    void setLocalMilliseconds(unsigned long long time) { m_script->local = time; }

    /// Called within each sleep, which itself takes no time. It may throw nothing.
    void whenSleeping(std::function<void()> action) { m_script->action = std::move(action); }

    /// Called within each reading of the monotonic clock, when the time has been read.
    void whenAsked(std::function<void()> action) { m_script->askedAction = std::move(action); }

    unsigned long long ticks() const { return m_script->now; }
    int readings() const { return m_script->readings; }
    int sleeps() const { return m_script->sleeps; }
    unsigned long long sleptMilliseconds() const { return m_script->slept; }

private:
    class script : public tolvane::Clock
    {
    public:
        unsigned long long ticks() const noexcept override
        {
            if (isOther()) {
                return platform().ticks();
            }
            ++readings;
            const unsigned long long reading = now;
            now += perReading;
            return reading;
        }

        using Clock::localMilliseconds;

        unsigned long long localMilliseconds() const noexcept override
        {
            return isOther() ? platform().localMilliseconds() : local;
        }

        unsigned long long monotonicMilliseconds() const noexcept override
        {
            if (isOther()) {
                return platform().monotonicMilliseconds();
            }
            const unsigned long long reading = slept;
            if (askedAction) {
                askedAction();
            }
            return reading;
        }

        /// A wait is a sleep in which the event is not set.
        bool wait(tolvane::AutoResetEvent& event, unsigned int milliseconds) const noexcept override
        {
            if (isOther()) {
                return platform().wait(event, milliseconds);
            }
            sleep(milliseconds);
            return false;
        }

        void sleep(unsigned int milliseconds) const noexcept override
        {
            if (isOther()) {
                platform().sleep(milliseconds);
                return;
            }
            ++sleeps;
            slept += milliseconds;
            now += perSleep;
            if (action) {
                action();
            }
        }

        bool isOther() const noexcept { return std::this_thread::get_id() != m_owner; }

        mutable unsigned long long now = 0;
        unsigned long long perReading = 0;
        unsigned long long perSleep = 0;
        unsigned long long local = 0;
        std::function<void()> action;
        std::function<void()> askedAction;
        mutable int readings = 0;
        mutable int sleeps = 0;
        mutable unsigned long long slept = 0;

    private:
        const std::thread::id m_owner = std::this_thread::get_id();
    };

    /// Kept until the process ends: another thread may still be about to use the clock when the
    /// test has ended.
    static script& makeScript()
    {
        static auto* const scripts = new std::list<script>;
        return scripts->emplace_back();
    }

    script* m_script;
};
