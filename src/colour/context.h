// The colour-correction context: the correction parameters and a cache holding the
// corrected value of every 24-bit colour. Shared by the operations that create,
// change and read it (context.cpp) and by the correction itself (correction.cpp).
#pragma once

#include <cstdint>

#include "korvimg.h"

#if !defined(__BYTE_ORDER__) || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "cache entries are read and written as little-endian 32-bit words"
#endif

namespace korvimg {

constexpr uint32_t kColourCacheEntries = 1u << 24;

// Cache entry of the colour blue b, green g, red r: number b * 65536 + r * 256 + g.
// Note the order blue, red, green of the index.
inline uint32_t colour_cache_index(uint32_t blue, uint32_t green, uint32_t red) {
    return blue << 16 | red << 8 | green;
}

// An entry is four bytes in pixel order, blue, green, red, then the generation stamp;
// held here as one little-endian word.
inline uint32_t colour_cache_entry(uint32_t blue, uint32_t green, uint32_t red, uint32_t stamp) {
    return blue | green << 8 | red << 16 | stamp << 24;
}

}  // namespace korvimg

// One block from memory_alloc, fields in this order. The setters and getters take each
// gain before its offset; the fields keep the offset first.
struct ColorCorrectionContext {
    uint32_t cache[korvimg::kColourCacheEntries];
    uint32_t use_matrix;  // 0: gains, offsets and HSL; nonzero: the matrix
    // m0..m11: rows input red, green, blue and constant; columns output red, green, blue.
    double matrix[12];
    double red_offset, red_gain;
    double green_offset, green_gain;
    double blue_offset, blue_gain;
    double hue_shift;
    double saturation_gain;
    double lightness_offset, lightness_gain;
    // An entry is current when its stamp equals this; every setter advances it,
    // wrapping from 255 to 0.
    uint8_t generation;
};

namespace korvimg {

struct MemoryServices;

// A context with the defaults (every entry its own colour, stamp 0; generation 0),
// in one block from the memory services: memory_alloc for color_correction_init.
// Null, and nothing filled, when they refuse the block.
ColorCorrectionContext *create_context(const MemoryServices &memory);
// Gives the context's block back through the services: 1, or 0 for a null context.
uint32_t release_context(ColorCorrectionContext *context, const MemoryServices &memory);

}  // namespace korvimg
