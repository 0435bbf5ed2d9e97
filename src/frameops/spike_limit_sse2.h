// SSE2 lanes of the row spike filter's vector kernel (spike_limit.h): the baseline of
// every x86 build.
#pragma once

#include <cstdint>

#include "frameops/spike_limit.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define KORVIMG_SPIKE_LIMIT_SSE2 1

namespace korvimg {
namespace sse2 {

struct Bits {
    static __m128i load(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }
    static void store(void *p, __m128i v) { _mm_storeu_si128(static_cast<__m128i *>(p), v); }
    static __m128i and_(__m128i x, __m128i y) { return _mm_and_si128(x, y); }
    static __m128i or_(__m128i x, __m128i y) { return _mm_or_si128(x, y); }
    static __m128i andnot(__m128i x, __m128i y) { return _mm_andnot_si128(x, y); }  // ~x & y
};

template <class S> struct Lanes;
template <> struct Lanes<uint8_t> : Bits {
    static constexpr int count = 16;
    static __m128i adds(__m128i x, __m128i y) { return _mm_adds_epu8(x, y); }
    static __m128i subs(__m128i x, __m128i y) { return _mm_subs_epu8(x, y); }
    static __m128i min(__m128i x, __m128i y) { return _mm_min_epu8(x, y); }
    static __m128i max(__m128i x, __m128i y) { return _mm_max_epu8(x, y); }
    static __m128i eq(__m128i x, __m128i y) { return _mm_cmpeq_epi8(x, y); }
};
template <> struct Lanes<uint16_t> : Bits {
    static constexpr int count = 8;
    static __m128i adds(__m128i x, __m128i y) { return _mm_adds_epu16(x, y); }
    static __m128i subs(__m128i x, __m128i y) { return _mm_subs_epu16(x, y); }
    // No unsigned 16-bit min and max in SSE2: x - (x -sat y) and y + (x -sat y).
    static __m128i min(__m128i x, __m128i y) { return _mm_sub_epi16(x, _mm_subs_epu16(x, y)); }
    static __m128i max(__m128i x, __m128i y) { return _mm_add_epi16(y, _mm_subs_epu16(x, y)); }
    static __m128i eq(__m128i x, __m128i y) { return _mm_cmpeq_epi16(x, y); }
};

template <class S, int D>
int32_t limit_span(const S *win, S *out, int32_t n) {
    return limit_vectors<Lanes<S>, S, D>(win, out, n);
}

}  // namespace sse2
}  // namespace korvimg
#endif
