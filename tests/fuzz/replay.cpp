#include <tolvane/stacktrace.h>

#include "tests/fuzz/fuzzers.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

// Runs one fuzzer with each file of a folder: tolvane_fuzz_replay NAME FOLDER

namespace {

struct fuzzer
{
    const char* name;
    void (*run)(fuzz::choices& input);
};

constexpr fuzzer fuzzers[] = {
    {"formats", fuzz::formats},
    {"functionname", fuzz::functionname},
    {"functiontree", fuzz::functiontree},
    {"operands", fuzz::operands},
    {"rotation", fuzz::rotation},
    {"staging", fuzz::staging},
    {"textconversion", fuzz::textconversion},
    {"timestamps", fuzz::timestamps},
};

const fuzzer* find(const char* name)
{
    for (const fuzzer& each : fuzzers) {
        if (std::strcmp(each.name, name) == 0) {
            return &each;
        }
    }
    return nullptr;
}

std::string contents(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios_base::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

/// The name is told before, since a failure ends the process.
void replay(const fuzzer& with, const std::filesystem::path& path)
{
    std::printf("%s\n", path.filename().string().c_str());
    std::fflush(stdout);
    const std::string bytes = contents(path);
    fuzz::choices input(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
    with.run(input);
}

} // namespace

int main(int count, char** arguments)
{
    const fuzzer* const found = count == 3 ? find(arguments[1]) : nullptr;
    if (!found) {
        std::fprintf(stderr, "usage: tolvane_fuzz_replay NAME FOLDER\n");
        return 2;
    }
    stacktrace::uninstallHandlers(); // a fault ends the process
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[2])) {
        replay(*found, entry.path());
        ++files;
    }
    return files == 0 ? 1 : 0;
}
