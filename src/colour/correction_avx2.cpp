// Colour correction's table copy over AVX2 (this file is compiled with -mavx2 and
// reached only after the CPU check): eight pixels' cache indices are formed with one
// byte shuffle, their entries are loaded one by one (on the CPUs we measured, eight
// plain loads beat a gather) and joined, and when all eight are current the pixels
// are rewritten from them with one more shuffle.
#include "colour/correction.h"

#if KORVIMG_X86
#include <immintrin.h>

namespace korvimg {
namespace avx2 {
namespace {

// Per 32-bit lane, the index green | red << 8 | blue << 16 of the pixel whose blue
// byte is at offset o of the 128-bit half: bytes o + 1, o + 2, o, then a zero.
#define KORVIMG_INDEX_LANE(o) (o) + 1, (o) + 2, (o), -128
// Per 128-bit half, the first three bytes of each of its four entries, packed into
// bytes 0..11; bytes 12..15 zero.
#define KORVIMG_PACK_HALF 0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -128, -128, -128, -128

// The cache indices of the eight pixels from p on. Reads exactly 8 * Step bytes.
template <int Step>
__m256i indices(const uint8_t *p) {
    if constexpr (Step == 4) {
        const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
        const __m256i lanes = _mm256_setr_epi8(KORVIMG_INDEX_LANE(0), KORVIMG_INDEX_LANE(4), KORVIMG_INDEX_LANE(8),
                                               KORVIMG_INDEX_LANE(12), KORVIMG_INDEX_LANE(0), KORVIMG_INDEX_LANE(4),
                                               KORVIMG_INDEX_LANE(8), KORVIMG_INDEX_LANE(12));
        return _mm256_shuffle_epi8(pixels, lanes);
    } else {
        // 24 bytes: pixels 0..3 are bytes 0..11 of the low half; the high half is
        // loaded from byte 8 on, so pixels 4..7 sit at its bytes 4..15 and nothing
        // past the 24 bytes is read.
        const __m256i pixels = _mm256_inserti128_si256(
            _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p))),
            _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 8)), 1);
        const __m256i lanes = _mm256_setr_epi8(KORVIMG_INDEX_LANE(0), KORVIMG_INDEX_LANE(3), KORVIMG_INDEX_LANE(6),
                                               KORVIMG_INDEX_LANE(9), KORVIMG_INDEX_LANE(4), KORVIMG_INDEX_LANE(7),
                                               KORVIMG_INDEX_LANE(10), KORVIMG_INDEX_LANE(13));
        return _mm256_shuffle_epi8(pixels, lanes);
    }
}

}  // namespace

template <int Step>
int32_t correct_groups(const uint32_t *cache, uint32_t stamp, uint8_t *image, int32_t count,
                       void (*stale)(void *arg, uint8_t *group), void *arg) {
    const __m256i want = _mm256_set1_epi32(static_cast<int>(stamp));
    const __m256i stamp_bits = _mm256_set1_epi32(static_cast<int>(0xff000000u));
    // Nearly every entry is a miss (neighbouring colours are far apart in the cache),
    // so the indices of each group are formed kAhead groups before its turn, kept in
    // a ring, and their entries asked for at once: many misses are then under way
    // together instead of one after the other.
    constexpr int32_t kAhead = 32;
    alignas(32) uint32_t ring[kAhead][8];
    const int32_t groups = count / 8;
    auto ask = [&](int32_t g) {
        uint32_t *slot = ring[g % kAhead];
        const __m256i index = indices<Step>(image + static_cast<size_t>(g) * 8 * Step);
        _mm256_store_si256(reinterpret_cast<__m256i *>(slot), index);
        for (int j = 0; j < 8; ++j) _mm_prefetch(reinterpret_cast<const char *>(cache + slot[j]), _MM_HINT_T0);
    };
    for (int32_t g = 0; g < groups && g < kAhead; ++g) ask(g);
    for (int32_t g = 0; g < groups; ++g) {
        uint8_t *p = image + static_cast<size_t>(g) * 8 * Step;
        const uint32_t *k = ring[g % kAhead];
        const __m256i entries = _mm256_setr_epi32(
            static_cast<int>(cache[k[0]]), static_cast<int>(cache[k[1]]), static_cast<int>(cache[k[2]]),
            static_cast<int>(cache[k[3]]), static_cast<int>(cache[k[4]]), static_cast<int>(cache[k[5]]),
            static_cast<int>(cache[k[6]]), static_cast<int>(cache[k[7]]));
        const __m256i current = _mm256_cmpeq_epi32(_mm256_and_si256(entries, stamp_bits), want);
        if (_mm256_movemask_epi8(current) != -1) {
            // Computes and stores the stale entries; the ring's indices of the groups
            // ahead stay right, as their pixels are not touched.
            stale(arg, p);
        } else if constexpr (Step == 4) {
            // The fourth byte of each pixel is kept.
            const __m256i pixels = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p));
            _mm256_storeu_si256(reinterpret_cast<__m256i *>(p),
                                _mm256_blendv_epi8(pixels, entries, _mm256_set1_epi32(0x00ffffff)));
        } else {
            const __m256i packed = _mm256_shuffle_epi8(entries, _mm256_setr_epi8(KORVIMG_PACK_HALF, KORVIMG_PACK_HALF));
            // Bytes 0..11 of each half, joined: 24 bytes from dwords 0, 1, 2, 4, 5, 6.
            const __m256i joined = _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm256_castsi256_si128(joined));
            _mm_storel_epi64(reinterpret_cast<__m128i *>(p + 16), _mm256_extracti128_si256(joined, 1));
        }
        if (g + kAhead < groups) ask(g + kAhead);  // into the slot just used
    }
    return groups * 8;
}
template int32_t correct_groups<3>(const uint32_t *, uint32_t, uint8_t *, int32_t, void (*)(void *, uint8_t *),
                                   void *);
template int32_t correct_groups<4>(const uint32_t *, uint32_t, uint8_t *, int32_t, void (*)(void *, uint8_t *),
                                   void *);

#undef KORVIMG_INDEX_LANE
#undef KORVIMG_PACK_HALF

}  // namespace avx2
}  // namespace korvimg
#endif
