// 256-bit integer vectors (AVX2) under the names of vec_sse2.h. Only for *_avx2.cpp
// files, which are compiled with -mavx2 and reached only after the CPU check.
#pragma once

#include <immintrin.h>

#include <cstdint>

namespace korvimg {

struct Avx2 {
    using V = __m256i;
    static constexpr int bytes = 32;

    static V load(const void *p) { return _mm256_loadu_si256(static_cast<const __m256i *>(p)); }
    static void store(void *p, V v) { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }
    static V zero() { return _mm256_setzero_si256(); }
    static V set8(int x) { return _mm256_set1_epi8(static_cast<char>(x)); }
    static V set16(int x) { return _mm256_set1_epi16(static_cast<short>(x)); }
    static V set32(int x) { return _mm256_set1_epi32(x); }

    static V and_(V a, V b) { return _mm256_and_si256(a, b); }
    static V or_(V a, V b) { return _mm256_or_si256(a, b); }
    static V xor_(V a, V b) { return _mm256_xor_si256(a, b); }
    static V andnot(V a, V b) { return _mm256_andnot_si256(a, b); }  // ~a & b

    template <int K> static V sll16(V v) { return _mm256_slli_epi16(v, K); }
    template <int K> static V srl16(V v) { return _mm256_srli_epi16(v, K); }
    template <int K> static V sll32(V v) { return _mm256_slli_epi32(v, K); }
    template <int K> static V srl32(V v) { return _mm256_srli_epi32(v, K); }
    template <int K> static V sra32(V v) { return _mm256_srai_epi32(v, K); }
    template <int K> static V sra16(V v) { return _mm256_srai_epi16(v, K); }

    static V sub8(V a, V b) { return _mm256_sub_epi8(a, b); }
    static V sub16(V a, V b) { return _mm256_sub_epi16(a, b); }
    static V sub32(V a, V b) { return _mm256_sub_epi32(a, b); }
    static V add16(V a, V b) { return _mm256_add_epi16(a, b); }
    static V add32(V a, V b) { return _mm256_add_epi32(a, b); }
    static V cmpeq8(V a, V b) { return _mm256_cmpeq_epi8(a, b); }
    static V cmpeq16(V a, V b) { return _mm256_cmpeq_epi16(a, b); }
    static V adds8(V a, V b) { return _mm256_adds_epu8(a, b); }
    static V subs8(V a, V b) { return _mm256_subs_epu8(a, b); }
    static V minu8(V a, V b) { return _mm256_min_epu8(a, b); }
    static V maxu8(V a, V b) { return _mm256_max_epu8(a, b); }
    static V adds16(V a, V b) { return _mm256_adds_epu16(a, b); }
    static V subs16(V a, V b) { return _mm256_subs_epu16(a, b); }
    static V minu16(V a, V b) { return _mm256_min_epu16(a, b); }
    static V maxu16(V a, V b) { return _mm256_max_epu16(a, b); }
    static V cmpeq32(V a, V b) { return _mm256_cmpeq_epi32(a, b); }
    static V cmpgt16(V a, V b) { return _mm256_cmpgt_epi16(a, b); }
    static V cmpgt32(V a, V b) { return _mm256_cmpgt_epi32(a, b); }
    static V abs16(V a) { return _mm256_abs_epi16(a); }
    static V abs32(V a) { return _mm256_abs_epi32(a); }
    static V avg8(V a, V b) { return _mm256_avg_epu8(a, b); }
    static V avg16(V a, V b) { return _mm256_avg_epu16(a, b); }
    // mask ? a : b, the mask's elements all ones or all zeros. GCC turns a byte blend
    // into a test of each mask byte's sign and, when one mask feeds two blends, makes
    // that test an extra compare; the empty asm hands each blend the mask as it is.
    static V select(V mask, V a, V b) {
#if defined(__GNUC__)
        __asm__ volatile("" : "+x"(mask));
#endif
        return _mm256_blendv_epi8(b, a, mask);
    }
    // a with the sign of b (0 where b is 0).
    static constexpr bool has_sign = true;
    static V sign16(V a, V b) { return _mm256_sign_epi16(a, b); }
    static V sign32(V a, V b) { return _mm256_sign_epi32(a, b); }

    // Unpacks work within each 128-bit lane.
    static V unpacklo8(V a, V b) { return _mm256_unpacklo_epi8(a, b); }
    static V unpackhi8(V a, V b) { return _mm256_unpackhi_epi8(a, b); }
    static V unpacklo16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
    static V unpackhi16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
    static V unpacklo32(V a, V b) { return _mm256_unpacklo_epi32(a, b); }
    static V unpackhi32(V a, V b) { return _mm256_unpackhi_epi32(a, b); }

    // Packs work within lanes too, giving a.lo, b.lo, a.hi, b.hi; pack_order puts the
    // 64-bit quarters back in element order.
    static V packus16(V a, V b) { return _mm256_packus_epi16(a, b); }
    static V packs32(V a, V b) { return _mm256_packs_epi32(a, b); }
    static V packus32(V a, V b) { return _mm256_packus_epi32(a, b); }
    static V pack_order(V v) { return _mm256_permute4x64_epi64(v, 0xD8); }
    // Within each 128-bit lane, the elements (of S's size) of the low half and of the
    // high half taken alternately: one byte shuffle.
    template <class S>
    static V zip_halves(V v) {
        const V order = sizeof(S) == 1
            ? _mm256_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15,
                               0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15)
            : _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15,
                               0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        return _mm256_shuffle_epi8(v, order);
    }

    // The lane-wise unpacking leaves p0 = pixels [0..q) and [4q..5q), p1 = [q..2q) and
    // [5q..6q) and so on (q pixels per lane); reorder to four consecutive runs.
    static void pixel_order(V &p0, V &p1, V &p2, V &p3) {
        const V a = _mm256_permute2x128_si256(p0, p1, 0x20), b = _mm256_permute2x128_si256(p2, p3, 0x20);
        const V c = _mm256_permute2x128_si256(p0, p1, 0x31), d = _mm256_permute2x128_si256(p2, p3, 0x31);
        p0 = a; p1 = b; p2 = c; p3 = d;
    }

    // Three planes of samples (blue, green, red; bytes / sizeof(S) samples each, in
    // element order) stored as as many three-channel pixels: 96 bytes, exactly. Each
    // 128-bit lane makes 48 bytes, three 16-byte chunks. A byte shuffle first moves
    // each plane's samples to the positions where the chunks take them (every
    // position of a plane serves exactly one of the three chunks), two blends make
    // each chunk, and the chunks of the two lanes are put in order.
    // A plane whose flag (BlueHalves, ...) is set comes in halves instead: each lane's
    // samples of even position before its odd ones (zip_halves would put them in
    // order), which the same byte shuffle undoes.
    static constexpr bool byte_shuffle = true;
    template <class S, bool BlueHalves = false, bool GreenHalves = false, bool RedHalves = false>
    static void store_planes3(S *out, V blue, V green, V red) {
        constexpr Planes3 k = planes3<static_cast<int>(sizeof(S))>();
        auto mask = [](const int8_t *m) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(m)); };
        const V p[3] = {_mm256_shuffle_epi8(blue, mask(BlueHalves ? k.from_halves[0] : k.move[0])),
                        _mm256_shuffle_epi8(green, mask(GreenHalves ? k.from_halves[1] : k.move[1])),
                        _mm256_shuffle_epi8(red, mask(RedHalves ? k.from_halves[2] : k.move[2]))};
        const V second = mask(k.second), third = mask(k.third);
        constexpr int m = 16 / static_cast<int>(sizeof(S));  // samples per chunk
        // Chunk c takes, at an element whose position is t modulo 3, channel (m c + t) % 3.
        auto chunk = [&](int c) {
            return _mm256_blendv_epi8(_mm256_blendv_epi8(p[(m * c) % 3], p[(m * c + 1) % 3], second),
                                      p[(m * c + 2) % 3], third);
        };
        const V c0 = chunk(0), c1 = chunk(1), c2 = chunk(2);  // low lane: chunks 0-2, high lane: 3-5
        uint8_t *o = reinterpret_cast<uint8_t *>(out);
        store(o, _mm256_permute2x128_si256(c0, c1, 0x20));
        store(o + 32, _mm256_permute2x128_si256(c2, c0, 0x30));
        store(o + 64, _mm256_permute2x128_si256(c1, c2, 0x31));
    }

  private:
    // The byte shuffles of store_planes3 (move[channel], from_halves[channel] for a
    // plane in halves) and its blend masks: the elements at positions 1 and 2 modulo
    // 3 of a chunk.
    struct Planes3 {
        int8_t move[3][32];
        int8_t from_halves[3][32];
        int8_t second[32];
        int8_t third[32];
    };
    template <int E>  // bytes per sample
    static constexpr Planes3 planes3() {
        Planes3 k{};
        constexpr int m = 16 / E;
        for (int i = 0; i < m; ++i) {
            for (int c = 0; c < 3; ++c) {
                // The chunk whose element i is channel c, and the pixel it belongs to.
                int chunk = 0;
                while ((m * chunk + i) % 3 != c) ++chunk;
                const int pixel = (m * chunk + i) / 3;
                // Where that sample lies in a lane in halves.
                const int halves = pixel % 2 == 0 ? pixel / 2 : m / 2 + pixel / 2;
                for (int e = 0; e < E; ++e) {
                    k.move[c][E * i + e] = k.move[c][16 + E * i + e] = static_cast<int8_t>(E * pixel + e);
                    k.from_halves[c][E * i + e] = k.from_halves[c][16 + E * i + e] = static_cast<int8_t>(E * halves + e);
                }
            }
            for (int e = 0; e < E; ++e) {
                k.second[E * i + e] = k.second[16 + E * i + e] = static_cast<int8_t>(i % 3 == 1 ? -1 : 0);
                k.third[E * i + e] = k.third[16 + E * i + e] = static_cast<int8_t>(i % 3 == 2 ? -1 : 0);
            }
        }
        return k;
    }
};

}  // namespace korvimg
