#include "function/functionname.h"

#include <tolvane/hashedfunction.h>

#include "tests/function/functionnamemodel.h"
#include "tests/fuzz/check.h"
#include "tests/fuzz/fuzzers.h"

#include <string>

namespace {

/// What the extraction looks at.
constexpr const char* pieces[] = {
    " ",        "(",       ")",          "<",       ">",      "[",      "]",         ":",
    "::",       "\t",      "\n",         "\r",      "a",      "B2",     "class",     "struct",
    "typename", "~",       "operator",   "_",       "*",      "&",      ",",         "()",
    "void",     "const ",  "__cdecl ",   "(int)",   "==",     "`x'",    "operator ", "::operator()",
    "[with ",   "<lambda", " operator ", " class ", "x::y::", "(void)", "\x80",      "decltype(",
};

/// Beyond what is scanned, which is 1024 characters.
constexpr std::size_t longest = 3000;

std::string assembled(fuzz::choices& input)
{
    std::string signature;
    while (!input.empty() && signature.size() < longest) {
        constexpr std::size_t manyTimes = 200;
        const std::string piece = input.of(pieces);
        const std::size_t times = input.below(50) == 49 ? manyTimes : 1;
        for (std::size_t time = 0; time < times; ++time) {
            signature += piece;
        }
    }
    return signature;
}

std::wstring nameOf(const char* signature)
{
    return hashedfunction(signature).name().c_str();
}

} // namespace

void fuzz::functionname(choices& input)
{
    const std::string signature = input.truth() ? assembled(input) : input.rest();

    checkText(extractFunctionName(signature), modelFunctionName(signature), "name");
    checkText(nameOf(signature.c_str()),
              std::wstring(tolvane::string(modelFunctionName(signature.c_str()).c_str()).c_str()),
              "function");
}
