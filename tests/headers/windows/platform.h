#pragma once

// What an application may have included, with all the macros that these define.
#include <winsock2.h>

#include <windows.h>

#include <dbghelp.h>
#include <ole2.h>
#include <process.h>
#include <shellapi.h>
#include <shlobj.h>
#include <tlhelp32.h>
#include <windowsx.h>

#if !defined(min) && !defined(NOMINMAX)
#error "the platform's macros are what this is about"
#endif
