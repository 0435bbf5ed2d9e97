// 128-bit integer vectors (SSE2) in the shape the row kernels are written against;
// vec_avx2.h gives the same names for 256-bit vectors. SSE2 is the baseline of every
// x86 build, so any x86 source may use it.
#pragma once

#include <emmintrin.h>
#include <xmmintrin.h>

#include <cstdint>
#include <cstring>

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
    static V cmpeq8(V a, V b) { return _mm_cmpeq_epi8(a, b); }
    static V cmpeq16(V a, V b) { return _mm_cmpeq_epi16(a, b); }
    // Unsigned saturating arithmetic, minimum and maximum. SSE2 has no unsigned 16-bit
    // minimum or maximum: x - (x -sat y) and y + (x -sat y).
    static V adds8(V a, V b) { return _mm_adds_epu8(a, b); }
    static V subs8(V a, V b) { return _mm_subs_epu8(a, b); }
    static V minu8(V a, V b) { return _mm_min_epu8(a, b); }
    static V maxu8(V a, V b) { return _mm_max_epu8(a, b); }
    static V adds16(V a, V b) { return _mm_adds_epu16(a, b); }
    static V subs16(V a, V b) { return _mm_subs_epu16(a, b); }
    static V minu16(V a, V b) { return _mm_sub_epi16(a, _mm_subs_epu16(a, b)); }
    static V maxu16(V a, V b) { return _mm_add_epi16(b, _mm_subs_epu16(a, b)); }
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
    // fourth channel, which is 0, dropped): 48 bytes, exactly. Each 64-bit half of a
    // vector is made to hold 6 bytes of output followed by 2 zero bytes (for 8-bit
    // samples two pixels are first packed together; a 16-bit pixel already is one),
    // and the halves are stored 8 bytes at a time, 6 bytes apart, in order: each
    // store's 2 extra bytes are overwritten by the next one. The last half, whose
    // extra bytes would fall past the 48, is stored as 4 bytes and 2.
    template <class S>
    static void store3(S *out, V p0, V p1, V p2, V p3) {
        uint8_t *o = reinterpret_cast<uint8_t *>(out);
        const V q[4] = {six_bytes<S>(p0), six_bytes<S>(p1), six_bytes<S>(p2), six_bytes<S>(p3)};
        for (int k = 0; k < 4; ++k) {
            _mm_storel_epi64(reinterpret_cast<__m128i *>(o + 12 * k), q[k]);
            if (k < 3) _mm_storeh_pi(reinterpret_cast<__m64 *>(o + 12 * k + 6), _mm_castsi128_ps(q[k]));
        }
        const V last = _mm_unpackhi_epi64(q[3], q[3]);
        const uint32_t first4 = static_cast<uint32_t>(_mm_cvtsi128_si32(last));
        const uint16_t last2 = static_cast<uint16_t>(_mm_extract_epi16(last, 2));
        std::memcpy(o + 42, &first4, 4);
        std::memcpy(o + 46, &last2, 2);
    }

  private:
    // Four-channel pixels to 6 bytes of three-channel ones in each 64-bit half,
    // followed by 2 zero bytes.
    template <class S>
    static V six_bytes(V p) {
        if constexpr (sizeof(S) == 1) {
            // Per 64-bit half: pixel 0 stays, pixel 1 moves down by its X byte.
            const V low_pixel = _mm_set_epi32(0, -1, 0, -1);
            const V high_part = _mm_set_epi32(-1, static_cast<int>(0xFF000000u), -1, static_cast<int>(0xFF000000u));
            return _mm_or_si128(_mm_and_si128(p, low_pixel), _mm_and_si128(_mm_srli_epi64(p, 8), high_part));
        } else {
            return p;
        }
    }
};

}  // namespace korvimg
