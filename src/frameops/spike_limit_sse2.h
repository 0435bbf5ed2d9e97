// SSE2 kernel of the row spike filter: 16 8-bit or 8 16-bit samples at a time, in the
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

#if defined(__SSE2__)
#include <emmintrin.h>
#define KORVIMG_SPIKE_LIMIT_SSE2 1

namespace korvimg {
namespace sse2 {

template <class S> struct Lanes;
template <> struct Lanes<uint8_t> {
    static constexpr int count = 16;
    static __m128i adds(__m128i x, __m128i y) { return _mm_adds_epu8(x, y); }
    static __m128i subs(__m128i x, __m128i y) { return _mm_subs_epu8(x, y); }
    static __m128i min(__m128i x, __m128i y) { return _mm_min_epu8(x, y); }
    static __m128i max(__m128i x, __m128i y) { return _mm_max_epu8(x, y); }
    static __m128i eq(__m128i x, __m128i y) { return _mm_cmpeq_epi8(x, y); }
};
template <> struct Lanes<uint16_t> {
    static constexpr int count = 8;
    static __m128i adds(__m128i x, __m128i y) { return _mm_adds_epu16(x, y); }
    static __m128i subs(__m128i x, __m128i y) { return _mm_subs_epu16(x, y); }
    // No unsigned 16-bit min and max in SSE2: x - (x -sat y) and y + (x -sat y).
    static __m128i min(__m128i x, __m128i y) { return _mm_sub_epi16(x, _mm_subs_epu16(x, y)); }
    static __m128i max(__m128i x, __m128i y) { return _mm_add_epi16(y, _mm_subs_epu16(x, y)); }
    static __m128i eq(__m128i x, __m128i y) { return _mm_cmpeq_epi16(x, y); }
};

// Outputs for the first n - n % Lanes<S>::count columns of a span laid out as for the
// scalar kernel (win[i] is the sample of the span's first column plus i - 2D); returns
// how many columns it did.
template <class S, int D>
int32_t limit_span(const S *win, S *out, int32_t n) {
    using L = Lanes<S>;
    auto load = [](const S *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); };
    int32_t i = 0;
    for (; i + L::count <= n; i += L::count) {
        const S *p = win + 2 * D + i;
        const __m128i c = load(p);
        const __m128i a = load(p - D), b = load(p + D);
        const __m128i ea = load(p - 2 * D), eb = load(p + 2 * D);
        const __m128i el = L::subs(L::adds(a, L::subs(a, ea)), L::subs(ea, a));
        const __m128i er = L::subs(L::adds(b, L::subs(b, eb)), L::subs(eb, b));
        const __m128i hi = L::max(L::max(a, b), L::max(el, er));
        const __m128i lo = L::min(L::min(a, b), L::min(el, er));
        const __m128i limited = L::min(L::max(c, lo), hi);
        const __m128i flat = _mm_and_si128(_mm_and_si128(L::eq(a, b), L::eq(a, ea)), L::eq(b, eb));
        const __m128i result = _mm_or_si128(_mm_and_si128(flat, c), _mm_andnot_si128(flat, limited));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(out + i), result);
    }
    return i;
}

}  // namespace sse2
}  // namespace korvimg
#endif
