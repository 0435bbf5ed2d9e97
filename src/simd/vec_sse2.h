// 128-bit integer vectors (SSE2) in the shape the row kernels are written against;
// vec_avx2.h gives the same names for 256-bit vectors. Only for *_sse2.cpp files.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace korvimg {

struct Sse2 {
    using V = __m128i;
    static constexpr int bytes = 16;

    static V load(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }
    static void store(void *p, V v) { _mm_storeu_si128(static_cast<__m128i *>(p), v); }
    static V zero() { return _mm_setzero_si128(); }
    static V set8(int x) { return _mm_set1_epi8(static_cast<char>(x)); }
    static V set16(int x) { return _mm_set1_epi16(static_cast<short>(x)); }
    static V set32(int x) { return _mm_set1_epi32(x); }

    static V and_(V a, V b) { return _mm_and_si128(a, b); }
    static V or_(V a, V b) { return _mm_or_si128(a, b); }
    static V xor_(V a, V b) { return _mm_xor_si128(a, b); }
    static V andnot(V a, V b) { return _mm_andnot_si128(a, b); }  // ~a & b
    static V set64(long long x) { return _mm_set1_epi64x(x); }

    template <int K> static V sll16(V v) { return _mm_slli_epi16(v, K); }
    template <int K> static V srl16(V v) { return _mm_srli_epi16(v, K); }
    template <int K> static V sll32(V v) { return _mm_slli_epi32(v, K); }
    template <int K> static V srl32(V v) { return _mm_srli_epi32(v, K); }
    template <int K> static V sra32(V v) { return _mm_srai_epi32(v, K); }
    template <int K> static V sra16(V v) { return _mm_srai_epi16(v, K); }

    static V sub8(V a, V b) { return _mm_sub_epi8(a, b); }
    static V sub16(V a, V b) { return _mm_sub_epi16(a, b); }
    static V sub32(V a, V b) { return _mm_sub_epi32(a, b); }
    static V add16(V a, V b) { return _mm_add_epi16(a, b); }
    static V add32(V a, V b) { return _mm_add_epi32(a, b); }
    static V cmpeq16(V a, V b) { return _mm_cmpeq_epi16(a, b); }
    static V cmpeq32(V a, V b) { return _mm_cmpeq_epi32(a, b); }
    static V cmpgt16(V a, V b) { return _mm_cmpgt_epi16(a, b); }  // signed
    static V cmpgt32(V a, V b) { return _mm_cmpgt_epi32(a, b); }  // signed
    static V abs16(V a) { return _mm_max_epi16(a, _mm_sub_epi16(_mm_setzero_si128(), a)); }
    static V abs32(V a) {
        const V sign = _mm_srai_epi32(a, 31);
        return _mm_sub_epi32(_mm_xor_si128(a, sign), sign);
    }
    static V avg8(V a, V b) { return _mm_avg_epu8(a, b); }    // rounds up
    static V avg16(V a, V b) { return _mm_avg_epu16(a, b); }  // rounds up
    // mask ? a : b, the mask's elements all ones or all zeros.
    static V select(V mask, V a, V b) { return _mm_or_si128(_mm_and_si128(mask, a), _mm_andnot_si128(mask, b)); }
    // No sign-copying instruction here (it came with SSSE3).
    static constexpr bool has_sign = false;

    static V unpacklo8(V a, V b) { return _mm_unpacklo_epi8(a, b); }
    static V unpackhi8(V a, V b) { return _mm_unpackhi_epi8(a, b); }
    static V unpacklo16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
    static V unpackhi16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
    static V unpacklo32(V a, V b) { return _mm_unpacklo_epi32(a, b); }
    static V unpackhi32(V a, V b) { return _mm_unpackhi_epi32(a, b); }
    static V unpackhi64(V a, V b) { return _mm_unpackhi_epi64(a, b); }

    // Narrowing packs; the 128-bit forms keep a's elements before b's.
    static V packus16(V a, V b) { return _mm_packus_epi16(a, b); }
    static V packs32(V a, V b) { return _mm_packs_epi32(a, b); }
    // Signed 32-bit to unsigned 16-bit with saturation (SSE4.1's packusdw), for values
    // from -2^31 + 2^15 on (every caller's are sums of a few samples): moved down by
    // 2^15, the signed saturation clamps to what is 0 .. 65535 once moved back up.
    static V packus32(V a, V b) {
        const V half = _mm_set1_epi32(32768);
        return _mm_xor_si128(_mm_packs_epi32(_mm_sub_epi32(a, half), _mm_sub_epi32(b, half)),
                             _mm_set1_epi16(static_cast<short>(0x8000)));
    }
    static V pack_order(V v) { return v; }
    // The elements (of S's size) of the low half and of the high half taken
    // alternately.
    template <class S>
    static V zip_halves(V v) {
        const V high = _mm_unpackhi_epi64(v, v);
        return sizeof(S) == 1 ? _mm_unpacklo_epi8(v, high) : _mm_unpacklo_epi16(v, high);
    }

    // Four vectors of interleaved pixels made by unpacking (lo/lo, lo/hi, hi/lo,
    // hi/hi) are already in pixel order here.
    static void pixel_order(V &, V &, V &, V &) {}

    // Without a byte shuffle, three-channel pixels are made as four-channel ones
    // (Ops::put_pixels) and squeezed by store3.
    static constexpr bool byte_shuffle = false;

    // Stores four vectors of four-channel pixels as three-channel pixels (the
    // fourth channel, which is 0, dropped): 48 bytes, exactly.
    template <class S>
    static void store3(S *out, V p0, V p1, V p2, V p3) {
        const V y0 = squeeze<S>(p0), y1 = squeeze<S>(p1), y2 = squeeze<S>(p2), y3 = squeeze<S>(p3);
        store(out, _mm_or_si128(y0, _mm_slli_si128(y1, 12)));
        store(reinterpret_cast<uint8_t *>(out) + 16, _mm_or_si128(_mm_srli_si128(y1, 4), _mm_slli_si128(y2, 8)));
        store(reinterpret_cast<uint8_t *>(out) + 32, _mm_or_si128(_mm_srli_si128(y2, 8), _mm_slli_si128(y3, 4)));
    }

  private:
    // 16 bytes of four-channel pixels to 12 bytes of three-channel ones, followed by
    // 4 zero bytes.
    template <class S>
    static V squeeze(V p) {
        if constexpr (sizeof(S) == 1) {
            // Per 64-bit half: pixel 0 stays, pixel 1 moves down by its X byte.
            const V low_pixel = _mm_set_epi32(0, -1, 0, -1);
            const V high_part = _mm_set_epi32(-1, static_cast<int>(0xFF000000u), -1, static_cast<int>(0xFF000000u));
            p = _mm_or_si128(_mm_and_si128(p, low_pixel), _mm_and_si128(_mm_srli_epi64(p, 8), high_part));
        }
        // Now 6 bytes per 64-bit half: close the gap between the halves.
        const V low_half = _mm_set_epi32(0, 0, -1, -1);
        return _mm_or_si128(_mm_and_si128(p, low_half), _mm_srli_si128(_mm_andnot_si128(low_half, p), 2));
    }
};

}  // namespace korvimg
