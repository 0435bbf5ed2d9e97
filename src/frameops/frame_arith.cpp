// Frame arithmetic on a caller-owned accumulator of unsigned 32-bit sums: adding a
// frame, adding one and subtracting another in the same pass, and dividing the sums
// back into a frame. All sums wrap modulo 2^32; every loop is one pass in ascending
// sample order over `count` samples, and a count below 1 does nothing.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "korvimg.h"

namespace korvimg {
namespace {

// The buffers may overlap (the caller owns the memory and may lay a frame inside its
// accumulator); the result is then that of the pass in ascending order, in which
// sample i is read just before sum i is written. The plain loops below are compiled
// on the assumption that buffers of different types are distinct, so an overlap
// takes the element-by-element loop, whose loads and stores go through memcpy and so
// stay in order with each other.
bool overlap(const void *a, size_t a_bytes, const void *b, size_t b_bytes) {
    const uintptr_t x = reinterpret_cast<uintptr_t>(a), y = reinterpret_cast<uintptr_t>(b);
    return x < y + b_bytes && y < x + a_bytes;
}

template <class T>
T load(const T *p, int32_t i) {
    T v;
    std::memcpy(&v, p + i, sizeof v);
    return v;
}

template <class T>
void store(T *p, int32_t i, T v) {
    std::memcpy(p + i, &v, sizeof v);
}

template <class S>
size_t bytes(int32_t count) {
    return static_cast<size_t>(count) * sizeof(S);
}

template <class S>
void frame_add(uint32_t *accumulator, const S *frame, int32_t count) {
    if (count < 1) return;
    if (overlap(accumulator, bytes<uint32_t>(count), frame, bytes<S>(count))) {
        for (int32_t i = 0; i < count; ++i) store(accumulator, i, load(accumulator, i) + load(frame, i));
        return;
    }
    for (int32_t i = 0; i < count; ++i) accumulator[i] += frame[i];
}

// The addition comes first, so a wrap of the intermediate sum cancels against a
// subtracted frame that was added earlier; in unsigned arithmetic the order does not
// change the 32-bit result.
template <class S>
void frame_add_sub(uint32_t *accumulator, const S *add, const S *subtract, int32_t count) {
    if (count < 1) return;
    if (overlap(accumulator, bytes<uint32_t>(count), add, bytes<S>(count)) ||
        overlap(accumulator, bytes<uint32_t>(count), subtract, bytes<S>(count))) {
        for (int32_t i = 0; i < count; ++i) {
            const uint32_t a = load(add, i), b = load(subtract, i);
            store(accumulator, i, load(accumulator, i) + a - b);
        }
        return;
    }
    for (int32_t i = 0; i < count; ++i) accumulator[i] = accumulator[i] + add[i] - subtract[i];
}

// Truncating unsigned division by a divisor that is fixed for the whole frame, done
// as a multiplication by a precomputed reciprocal (which vectorises, where a division
// instruction per sample would not). With l = ceil(log2 divisor) and
// m = floor(2^32 * (2^l - divisor) / divisor) + 1, the quotient of any 32-bit n is
//   t = (m * n) >> 32;  q = (t + ((n - t) >> s1)) >> s2,  s1 = min(l, 1), s2 = max(l - 1, 0),
// exactly n / divisor for every n and every divisor from 1 to 2^32 - 1.
struct Reciprocal {
    uint32_t m;
    uint32_t s1, s2;
    explicit Reciprocal(uint32_t divisor) {
        uint32_t l = 0;
        while (l < 32 && (uint64_t{1} << l) < divisor) ++l;
        m = static_cast<uint32_t>((((uint64_t{1} << l) - divisor) << 32) / divisor + 1);
        s1 = l < 1 ? l : 1;
        s2 = l > 1 ? l - 1 : 0;
    }
    uint32_t divide(uint32_t n) const {
        const uint32_t t = static_cast<uint32_t>((static_cast<uint64_t>(m) * n) >> 32);
        return (t + ((n - t) >> s1)) >> s2;
    }
};

// The quotient is stored without clamping: only its low 8 or 16 bits are kept. A
// divisor of 0 has no quotient; nothing is written then.
template <class S>
void frame_avg(S *destination, const uint32_t *accumulator, int32_t count, uint32_t divisor) {
    if (count < 1 || divisor == 0) return;
    const Reciprocal r(divisor);
    if (overlap(destination, bytes<S>(count), accumulator, bytes<uint32_t>(count))) {
        for (int32_t i = 0; i < count; ++i) store(destination, i, static_cast<S>(r.divide(load(accumulator, i))));
        return;
    }
    for (int32_t i = 0; i < count; ++i) destination[i] = static_cast<S>(r.divide(accumulator[i]));
}

}  // namespace
}  // namespace korvimg

extern "C" KORVIMG_API void KORVIMG_CALL frame_add8(uint32_t *accumulator, const uint8_t *frame, int32_t count) {
    korvimg::frame_add(accumulator, frame, count);
}
extern "C" KORVIMG_API void KORVIMG_CALL frame_add16(uint32_t *accumulator, const uint16_t *frame, int32_t count) {
    korvimg::frame_add(accumulator, frame, count);
}
extern "C" KORVIMG_API void KORVIMG_CALL frame_add_sub8(uint32_t *accumulator, const uint8_t *add,
                                                         const uint8_t *subtract, int32_t count) {
    korvimg::frame_add_sub(accumulator, add, subtract, count);
}
extern "C" KORVIMG_API void KORVIMG_CALL frame_add_sub16(uint32_t *accumulator, const uint16_t *add,
                                                          const uint16_t *subtract, int32_t count) {
    korvimg::frame_add_sub(accumulator, add, subtract, count);
}
extern "C" KORVIMG_API void KORVIMG_CALL frame_avg8(uint8_t *destination, const uint32_t *accumulator, int32_t count,
                                                     uint32_t divisor) {
    korvimg::frame_avg(destination, accumulator, count, divisor);
}
extern "C" KORVIMG_API void KORVIMG_CALL frame_avg16(uint16_t *destination, const uint32_t *accumulator, int32_t count,
                                                      uint32_t divisor) {
    korvimg::frame_avg(destination, accumulator, count, divisor);
}
