// The instruction sets the fast paths are written for, and the best one this CPU
// offers. The plain C++ routines are the definition of every method; a fast path is
// only ever an accelerator that must produce the same bytes.
#pragma once

#if defined(__x86_64__) || defined(__i386__) || defined(_M_X64) || defined(_M_IX86)
#  define KORVIMG_X86 1
#else
#  define KORVIMG_X86 0
#endif

namespace korvimg {

// Ordered: every level includes the ones below it.
enum class Isa : int {
    scalar = 0,  // plain C++ only
    sse2 = 1,    // 128-bit integer vectors: the baseline of every x86 build
    avx2 = 2,    // 256-bit integer vectors, chosen at run time
};

// The best level this build and this CPU support. Found out on the first call (a
// thread-safe one-time initialisation) and constant afterwards.
Isa best_isa();

// The levels a caller may ask for: `wanted`, lowered to what best_isa() allows.
inline Isa usable_isa(Isa wanted) {
    const Isa best = best_isa();
    return static_cast<int>(wanted) < static_cast<int>(best) ? wanted : best;
}

const char *isa_name(Isa isa);

}  // namespace korvimg
