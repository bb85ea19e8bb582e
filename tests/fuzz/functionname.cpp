#include "function/functionname.h"
#include "function/plainname.h"

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
    "'",        "`2'",     "(*",         "{",       "}",      "->",     "const::",   "(lambda)",
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

/// Whatever the text is, a name is found in it or it stays; and a name is not a function's text.
void checkPlainName(const std::string& signature)
{
    const std::string name = plainName(signature);
    fuzz::check(signature.empty() == name.empty(), "a text has a name");
    fuzz::check(name.size() <= signature.size() + std::string("operator\"\"").size(),
                "a short name");
    if (name != signature) {
        fuzz::check(name.find("[with ") == std::string::npos, "no template arguments");
        fuzz::check(name.substr(0, 2) != "::", "no global qualification");
    }
}

} // namespace

void fuzz::functionname(choices& input)
{
    const std::string signature = input.truth() ? assembled(input) : input.rest();

    checkText(extractFunctionName(signature), modelFunctionName(signature), "name");
    checkPlainName(signature);
    checkText(nameOf(signature.c_str()),
              std::wstring(tolvane::string(modelFunctionName(signature.c_str()).c_str()).c_str()),
              "function");
}
