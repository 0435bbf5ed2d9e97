// The vector kernel of the row spike filter, written once over an instruction set I
// (Sse2 or Avx2 of src/simd/): a vector of 8-bit or 16-bit samples at a time, in the
// sample type itself, with saturating arithmetic instead of signed wide values.
//
// Why that gives the same result: an output is c kept, or c clamped to [lo, hi] where
// lo <= min(a, b) and hi >= max(a, b) lie on either side of the sample range's inner
// part. Clamping c (itself inside [0, max]) to [lo, hi] equals clamping it to
// [sat(lo), sat(hi)], sat limiting to [0, max]; and sat, being monotone, passes through
// min and max, so sat(lo) is the minimum of a, b and the saturated extrapolations
// (likewise hi). A saturated extrapolation 2a - e is (a +sat (a -sat e)) -sat (e -sat a):
// for a >= e the second difference is 0 and the first sum saturates at max; for a < e
// the first difference is 0 and the last subtraction saturates at 0. The flat test
// lo == hi cannot use the saturated values (lo = -5, hi = 0 saturate to one value); it
// is made on the samples: lo == hi exactly when a, b and the two outer samples are
// all equal.

#pragma once

#include <cstdint>

namespace korvimg {

// I's unsigned operations on samples of type S.
template <class I, class S> struct SampleOps;
template <class I> struct SampleOps<I, uint8_t> {
    using V = typename I::V;
    static constexpr int count = I::bytes;
    static V adds(V a, V b) { return I::adds8(a, b); }
    static V subs(V a, V b) { return I::subs8(a, b); }
    static V min(V a, V b) { return I::minu8(a, b); }
    static V max(V a, V b) { return I::maxu8(a, b); }
    static V eq(V a, V b) { return I::cmpeq8(a, b); }
};
template <class I> struct SampleOps<I, uint16_t> {
    using V = typename I::V;
    static constexpr int count = I::bytes / 2;
    static V adds(V a, V b) { return I::adds16(a, b); }
    static V subs(V a, V b) { return I::subs16(a, b); }
    static V min(V a, V b) { return I::minu16(a, b); }
    static V max(V a, V b) { return I::maxu16(a, b); }
    static V eq(V a, V b) { return I::cmpeq16(a, b); }
};

// Outputs for the first n - n % (samples per vector) columns of a span in which win[i]
// is the unfiltered sample of the column 2D before the span's first column, plus i;
// returns how many columns it did.
template <class I, class S, int D>
int32_t limit_vectors(const S *win, S *out, int32_t n) {
    using L = SampleOps<I, S>;
    int32_t i = 0;
    for (; i + L::count <= n; i += L::count) {
        const S *p = win + 2 * D + i;
        const auto c = I::load(p);
        const auto a = I::load(p - D), b = I::load(p + D);
        const auto ea = I::load(p - 2 * D), eb = I::load(p + 2 * D);
        const auto el = L::subs(L::adds(a, L::subs(a, ea)), L::subs(ea, a));
        const auto er = L::subs(L::adds(b, L::subs(b, eb)), L::subs(eb, b));
        const auto hi = L::max(L::max(a, b), L::max(el, er));
        const auto lo = L::min(L::min(a, b), L::min(el, er));
        const auto limited = L::min(L::max(c, lo), hi);
        const auto flat = I::and_(I::and_(L::eq(a, b), L::eq(a, ea)), L::eq(b, eb));
        I::store(out + i, I::or_(I::and_(flat, c), I::andnot(flat, limited)));
    }
    return i;
}

// The AVX2 kernel (spike_limit_avx2.cpp, reached only after the CPU check), for
// uint8_t and uint16_t samples and D = 1, 2.
namespace avx2 {
template <class S, int D>
int32_t limit_span(const S *win, S *out, int32_t n);
}

}  // namespace korvimg
