#pragma once

/// Marks a function for steps that are seldom taken: compiled apart, it leaves the usual way short.
#if defined(_MSC_VER)
#define TOLVANE_COLD __declspec(noinline)
#else
#define TOLVANE_COLD __attribute__((cold, noinline))
#endif
