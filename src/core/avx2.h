// Whether the engine's fast forms may use the processor's AVX2 instructions. Found out once, when the program
// starts; nothing is owned.
#pragma once

// A form with these instructions sits beside a plain one and gives the same bits: each lane does the plain
// form's operations in the plain form's order, and none are fused. Where the compiler or the system does not
// suit, only the plain forms are built.

// On Windows the stack is not aligned for these registers.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(_WIN32)
#define TARN_AVX2 1
/// In front of a function: it may use the instructions, whatever the rest of the program is compiled for.
#define AVX2 __attribute__((target("avx2")))
#else
#define TARN_AVX2 0
#endif

/// Whether this processor and its system have the instructions.
inline bool hasAvx2() {
#if TARN_AVX2
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
#else
    return false;
#endif
}

/// Whether they are used. Tests turn it off to reach the plain forms; off, too, until the program's start-up
/// code has run.
inline bool avx2InUse = hasAvx2();
