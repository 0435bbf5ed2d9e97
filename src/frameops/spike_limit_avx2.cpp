// AVX2 lanes of the row spike filter's vector kernel (this file is compiled with
// -mavx2 and reached only after the CPU check).
#include "frameops/spike_limit.h"
#include "frame/cpu.h"

#if KORVIMG_X86
#include <immintrin.h>

namespace korvimg {
namespace avx2 {
namespace {

struct Bits {
    static __m256i load(const void *p) { return _mm256_loadu_si256(static_cast<const __m256i *>(p)); }
    static void store(void *p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }
    static __m256i and_(__m256i x, __m256i y) { return _mm256_and_si256(x, y); }
    static __m256i or_(__m256i x, __m256i y) { return _mm256_or_si256(x, y); }
    static __m256i andnot(__m256i x, __m256i y) { return _mm256_andnot_si256(x, y); }  // ~x & y
};

template <class S> struct Lanes;
template <> struct Lanes<uint8_t> : Bits {
    static constexpr int count = 32;
    static __m256i adds(__m256i x, __m256i y) { return _mm256_adds_epu8(x, y); }
    static __m256i subs(__m256i x, __m256i y) { return _mm256_subs_epu8(x, y); }
    static __m256i min(__m256i x, __m256i y) { return _mm256_min_epu8(x, y); }
    static __m256i max(__m256i x, __m256i y) { return _mm256_max_epu8(x, y); }
    static __m256i eq(__m256i x, __m256i y) { return _mm256_cmpeq_epi8(x, y); }
};
template <> struct Lanes<uint16_t> : Bits {
    static constexpr int count = 16;
    static __m256i adds(__m256i x, __m256i y) { return _mm256_adds_epu16(x, y); }
    static __m256i subs(__m256i x, __m256i y) { return _mm256_subs_epu16(x, y); }
    static __m256i min(__m256i x, __m256i y) { return _mm256_min_epu16(x, y); }
    static __m256i max(__m256i x, __m256i y) { return _mm256_max_epu16(x, y); }
    static __m256i eq(__m256i x, __m256i y) { return _mm256_cmpeq_epi16(x, y); }
};

}  // namespace

template <class S, int D>
int32_t limit_span(const S *win, S *out, int32_t n) {
    return limit_vectors<Lanes<S>, S, D>(win, out, n);
}
template int32_t limit_span<uint8_t, 1>(const uint8_t *, uint8_t *, int32_t);
template int32_t limit_span<uint8_t, 2>(const uint8_t *, uint8_t *, int32_t);
template int32_t limit_span<uint16_t, 1>(const uint16_t *, uint16_t *, int32_t);
template int32_t limit_span<uint16_t, 2>(const uint16_t *, uint16_t *, int32_t);

}  // namespace avx2
}  // namespace korvimg
#endif
