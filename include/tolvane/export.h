#pragma once

#if defined(_MSVC_LANG) ? _MSVC_LANG < 201703L : __cplusplus < 201703L
#error "tolvane needs C++17 or later"
#define TOLVANE_IS_TOO_OLD
#endif

/// What differs between compilers and is visible outside the library.
///
/// TOLVANE_EXPORT marks what crosses the library's boundary. On Windows there are three cases: the
/// library itself is being built, its objects are linked into the program (TOLVANE_LINKED_IN), or a
/// program imports them.

/// TOLVANE_INTERNAL marks what does not cross it, though its class does. On Windows a class is
/// exported with all that it has, but for what is nested in it.

#if !defined(_WIN32)
#define TOLVANE_EXPORT __attribute__((visibility("default")))
#elif defined(TOLVANE_BUILDING)
#define TOLVANE_EXPORT __declspec(dllexport)
#elif defined(TOLVANE_LINKED_IN)
#define TOLVANE_EXPORT
#else
#define TOLVANE_EXPORT __declspec(dllimport)
#endif

#if !defined(_WIN32)
#define TOLVANE_INTERNAL __attribute__((visibility("hidden")))
#else
#define TOLVANE_INTERNAL
#endif

/// What tells the calling thread from all others, in one instruction, and accesses to a number that
/// other threads read. Where the compiler has no words for these, or the system no such
/// instruction, the mark is null: then nothing is accessed in this way.
#if defined(__has_builtin) && !defined(_WIN32)
#if __has_builtin(__builtin_thread_pointer)
#define TOLVANE_THREAD_MARK() static_cast<const void*>(__builtin_thread_pointer())
#define TOLVANE_LOAD(place) __atomic_load_n((place), __ATOMIC_RELAXED)
#define TOLVANE_RELEASE(place, value) __atomic_store_n((place), (value), __ATOMIC_RELEASE)
#endif
#endif
#if !defined(TOLVANE_THREAD_MARK)
#define TOLVANE_THREAD_MARK() static_cast<const void*>(nullptr)
#define TOLVANE_LOAD(place) (*(place))
#define TOLVANE_RELEASE(place, value) static_cast<void>(*(place) = (value))
#endif

/// A read of a number that other threads write, anew each time. On the processors that the library
/// runs on, an aligned number is read as a whole.
#if defined(__GNUC__)
#define TOLVANE_READ(number) __atomic_load_n(&(number), __ATOMIC_RELAXED)
#else
#define TOLVANE_READ(number) \
    (*const_cast<const volatile std::remove_reference_t<decltype((number))>*>(&(number)))
#endif

/// The same of a pointer, behind which what was written before it can be seen.
#if defined(__GNUC__)
#define TOLVANE_ACQUIRE(pointer) __atomic_load_n(&(pointer), __ATOMIC_ACQUIRE)
#else
#define TOLVANE_ACQUIRE(pointer) TOLVANE_READ(pointer)
#endif

/// A condition that is false for most of the time: what follows is not to stand in the way.
#if defined(__GNUC__)
#define TOLVANE_RARELY(condition) __builtin_expect((condition), false)
#else
#define TOLVANE_RARELY(condition) (condition)
#endif

/// Around the declarations of a public header. The Microsoft compiler warns about data members and
/// bases whose class is compiled into both sides instead of being exported (4251, 4275), which is
/// what the library intends, and about the standard multibyte conversions (4996), whose results the
/// library bounds itself.
#if defined(_MSC_VER)
#define TOLVANE_BEGIN_DECLARATIONS \
    __pragma(warning(push)) __pragma(warning(disable : 4251 4275 4996))
#define TOLVANE_END_DECLARATIONS __pragma(warning(pop))
#else
#define TOLVANE_BEGIN_DECLARATIONS
#define TOLVANE_END_DECLARATIONS
#endif

/// Around a declaration that may hide another one on purpose. The Microsoft compiler tells of what
/// is hidden within a function by 4456 and 4457, outside by 4458 and 4459.
#if defined(_MSC_VER)
#define TOLVANE_SHADOWING __pragma(warning(push)) __pragma(warning(disable : 4456 4457 4458 4459))
#define TOLVANE_NO_SHADOWING __pragma(warning(pop))
#elif defined(__GNUC__)
#define TOLVANE_SHADOWING \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wshadow\"")
#define TOLVANE_NO_SHADOWING _Pragma("GCC diagnostic pop")
#else
#define TOLVANE_SHADOWING
#define TOLVANE_NO_SHADOWING
#endif

/// GCC and clang call pure virtual functions through a weak reference, which by itself brings in no
/// definition: such a call would jump to null. What imports the library therefore holds this strong
/// one, to the entry through which the library's definition is imported. (A strong reference to the
/// function itself would become weak as soon as a class of the same source has a pure function.)
#if defined(__MINGW32__) && !defined(TOLVANE_BUILDING) && !defined(TOLVANE_LINKED_IN)
extern "C" void (*__imp___cxa_pure_virtual)();

namespace tolvane {
__attribute__((used)) inline void (** const pureCallImport)() = &__imp___cxa_pure_virtual;
} // namespace tolvane
#endif
