// Only code of the Microsoft compiler takes part in its translation; build with /EHa. The file is
// empty for other compilers, see translator_gcc.cpp.
#ifdef _MSC_VER

#include "stacktrace/windows/translator.h"

#include "stacktrace/faulthooks.h"

#include <eh.h>
#include <stdlib.h>

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

} // namespace

void installTranslator()
{
    _set_se_translator(translate);
}

void installPureCallHandler()
{
    _set_purecall_handler(pureCall);
}

bool isSignalOfStartupFilter()
{
    return false; // translated exceptions arrive there as C++ ones, which it passes on
}

} // namespace faults

#endif
