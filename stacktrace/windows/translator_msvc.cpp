// Only code of the Microsoft compiler takes part in its translation; build with /EHa. The file is
// empty for other compilers, see translator_gcc.cpp.
#ifdef _MSC_VER

#include "stacktrace/windows/translator.h"

#include "stacktrace/faulthooks.h"

#include <eh.h>
#include <stdlib.h>

#include <exception>

namespace faults {

namespace {

void __cdecl translate(unsigned int code, struct _EXCEPTION_POINTERS*)
{
    throwStructuredException(code);
}

void __cdecl pureCall()
{
    onPureCall();
}

_se_translator_function previousTranslator = nullptr;
_purecall_handler previousPureCall = nullptr;

} // namespace

void installTranslator()
{
    const auto found = _set_se_translator(translate);
    if (found != translate) {
        previousTranslator = found;
    }
}

void uninstallTranslator()
{
    const auto found = _set_se_translator(previousTranslator);
    if (found != translate) {
        _set_se_translator(found); // the application's, which came later
    }
}

void installPureCallHandler()
{
    const auto found = _set_purecall_handler(pureCall);
    if (found != pureCall) {
        previousPureCall = found;
    }
}

void uninstallPureCallHandler()
{
    const auto found = _set_purecall_handler(previousPureCall);
    if (found != pureCall) {
        _set_purecall_handler(found);
    }
}

bool isThrow(unsigned int code)
{
    const unsigned int microsoftThrow = 0xE06D7363;
    return code == microsoftThrow;
}

long answerToThrow()
{
    std::terminate();
}

bool isSignalOfStartupFilter()
{
    return false; // translated exceptions arrive there as C++ ones, which it passes on
}

} // namespace faults

#endif
