// A sink that shows lines in a way of its own: it asks a line for its parts. Threads have names
// here, which the library's own text of a line has no room for.

#include <tolvane/chrono.h>
#include <tolvane/tolvane.h>

#include <chrono>
#include <iostream>
#include <thread>

/// One line of a table per line.
class tablesink : public tracestream
{
public:
    void log(const formattedline& line) override
    {
        // narrow() is for copies: the line is not ours
        std::cout << tolvane::string(line.threadName()).narrow() << " | "
                  << tolvane::string(line.function()).narrow() << " | "
                  << (line.type() == formattedline::tt_text ? tolvane::string(line.text()).narrow()
                                                            : "-")
                  << (isNew(line) ? "" : " | old") << std::endl;
    }

    unsigned long long id() const override { return 1; } // there is one standard output

    tablesink* clone() const override { return new tablesink; }

private:
    static bool isNew(const formattedline& line)
    {
        return std::chrono::system_clock::now() - tolvane::timePoint(line) < std::chrono::hours(1);
    }
};

void work(const char* name)
{
    trace::nameThread(name);
    TOLVANE_SCOPE(log);
    TOLVANE_LOG(log, tl_info) << "at work";
}

int main()
{
    trace::output(tablesink()).setLevel(tl_trace);
    for (const char* const name : {"first worker", "second worker"}) {
        std::thread(work, name).join();
    }
    work("main");
    trace::sync(1000);
}
