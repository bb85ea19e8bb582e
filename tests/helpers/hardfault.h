#pragma once

/// Faults of the hardware, made on purpose: sources that use them are compiled without the
/// sanitizer of undefined behaviour.
namespace hardfault {

inline void readNowhere()
{
    static_cast<void>(*static_cast<volatile int*>(nullptr));
}

/// Behind a pointer, since compilers expect no exception from a plain instruction.
inline void (*volatile const raise)() = readNowhere;

int useUpStack(int depth);

/// Behind a pointer, since compilers see that the recursion has no end.
inline int (*volatile const goDeeper)(int) = useUpStack;

/// So much a call that the handlers find room above where the stack ended.
inline int useUpStack(int depth)
{
    constexpr int size = 32768;
    constexpr int step = 1024; // from the top down, so that no guard area is stepped over
    volatile char frame[size];
    for (int place = size - 1; place >= 0; place -= step) {
        frame[place] = static_cast<char>(depth);
    }
    return goDeeper(depth + 1) + frame[size - 1];
}

} // namespace hardfault
