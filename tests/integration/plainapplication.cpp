// An application that is compiled without exceptions and without type information, and attaches
// sinks of every kind. The argument is the trace file's name; how many lines each sink wrote shows
// in the output and in the file.

#include <tolvane/consoletracestream.h>
#include <tolvane/filetracestream.h>
#include <tolvane/ostreamtracestream.h>
#include <tolvane/rotatingfilestracestream.h>
#include <tolvane/trace.h>
#include <tolvane/traceobject.h>

#include <iostream>
#include <streambuf>
#include <string>

#if defined(__cpp_rtti) || defined(__cpp_exceptions)
#error "compile it without them"
#endif

namespace {

/// A sink of its own.
class plainsink : public tracestream
{
public:
    void log(const formattedline& line) override
    {
        tolvane::string text = line;
        std::cout << "custom " << text.narrow() << std::endl;
    }

    unsigned long long id() const override { return 1; }
    plainsink* clone() const override { return new plainsink; }
};

/// Derives from a sink of the library's, and has a log() that must be called.
class plainfile : public filetracestream
{
public:
    using filetracestream::filetracestream;

    void log(const formattedline& line) override
    {
        std::cout << "derived" << std::endl;
        filetracestream::log(line);
    }

    plainfile* clone() const override { return new plainfile(*this); }
};

/// A buffer of its own, whose class has no type information either.
class plainbuffer : public std::streambuf
{
public:
    std::string text;

protected:
    int_type overflow(int_type character) override
    {
        text += traits_type::to_char_type(character);
        return character;
    }
};

void traceLines(int count)
{
    static const hashedfunction* function = nullptr;
    traceobject scope(function, "void plain::lines()");
    for (int line = 0; line < count; ++line) {
        scope(tl_info) << L"line " << line << std::endl;
    }
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2) {
        return 1;
    }
    constexpr int lines = 10;
    const std::string file = arguments[1];
    trace::output(plainsink());
    trace::output(plainfile((file + ".derived").c_str()));
    trace::output(filetracestream(file.c_str()));
    trace::output(rotatingfilestracestream((file + ".rotating").c_str(), 2, 1000, 0));
    trace::output(ostreamtracestream<char>(std::cerr));
    plainbuffer buffer;
    std::ostream stream(&buffer);
    trace::output(consoletracestream(stream));
    trace::setLevel(tl_info);
    traceLines(lines);
    trace::sync(10000);
    trace::remove(consoletracestream(stream));
    std::cout << buffer.text;
    return 0;
}
