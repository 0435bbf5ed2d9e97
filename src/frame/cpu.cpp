// The CPU check behind best_isa().
#include "frame/cpu.h"

namespace korvimg {
namespace {

Isa detect() {
#if KORVIMG_X86 && defined(__GNUC__)
    // __builtin_cpu_supports also checks that the operating system saves the
    // 256-bit registers (XGETBV), not only the CPUID bit.
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) return Isa::avx2;
#endif
#if KORVIMG_X86 && (defined(__SSE2__) || defined(_M_X64))
    return Isa::sse2;
#else
    return Isa::scalar;
#endif
}

}  // namespace

Isa best_isa() {
    static const Isa best = detect();
    return best;
}

const char *isa_name(Isa isa) {
    switch (isa) {
        case Isa::scalar: return "scalar";
        case Isa::sse2: return "sse2";
        case Isa::avx2: return "avx2";
    }
    return "?";
}

}  // namespace korvimg
