// The two kinds of picture the program handles: raw mosaic frames as read from a
// capture file, and colour images as the library's demosaic methods write them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kvcli {

// A sample of `from` bits taken to `to` bits (from <= to <= 16) by repeating its bits
// below it: a 9-bit 511 becomes the 10-bit 1023 and 256 becomes 513, a 12-bit 4095
// the 16-bit 65535. Zero stays zero, full scale stays full scale, the order of values
// is kept, and a shift right by to - from gives the sample back.
inline uint32_t widen(uint32_t v, int from, int to) {
    uint32_t r = v;
    int have = from;
    for (; have < to; have += from) r = r << from | v;
    return r >> (have - to);
}

// One raw frame: width x height samples, rows packed. 8-bit samples live in s8;
// deeper ones (10, 12 or 16 significant bits) in s16, one word each.
struct RawFrame {
    int32_t width = 0;
    int32_t height = 0;
    int bits = 8;
    std::vector<uint8_t> s8;
    std::vector<uint16_t> s16;

    size_t count() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    bool wide() const { return bits > 8; }
    uint32_t maxv() const { return (1u << bits) - 1u; }
    uint32_t at(size_t i) const { return wide() ? s16[i] : s8[i]; }
    void allocate(int32_t w, int32_t h, int b) {
        width = w;
        height = h;
        bits = b;
        s8.clear();
        s16.clear();
        if (wide()) s16.assign(count(), 0);
        else s8.assign(count(), 0);
    }
};

// A colour image in the library's layout: packed pixels of channels blue, green, red
// and, with four channels, the fourth channel. 8-bit channels in p8, 16-bit in p16;
// `significant` says how many low bits of a 16-bit channel carry the value.
struct ColourImage {
    int32_t width = 0;
    int32_t height = 0;
    int channels = 3;
    int bits = 8;
    int significant = 8;
    bool grey = false;  // B = G = R everywhere: may be written as one channel
    std::vector<uint8_t> p8;
    std::vector<uint16_t> p16;

    size_t pixels() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    void allocate(int32_t w, int32_t h, int ch, int b) {
        width = w;
        height = h;
        channels = ch;
        bits = b;
        significant = b;
        p8.clear();
        p16.clear();
        if (b == 8) p8.assign(pixels() * static_cast<size_t>(ch), 0);
        else p16.assign(pixels() * static_cast<size_t>(ch), 0);
    }
};

// Interleaved samples ready for a file writer: grey, grey and alpha, RGB or RGBA, 8 or
// 16 bits per sample; 16-bit samples use their full range, `significant` tells how
// many of their high bits carry information.
struct FilePixels {
    int32_t width = 0;
    int32_t height = 0;
    int channels = 3;  // 1, 2 (with alpha), 3 or 4 (with alpha)
    int bits = 8;      // 8 or 16
    int significant = 8;
    std::vector<uint8_t> p8;
    std::vector<uint16_t> p16;
};

// Library order (B, G, R[, X]) to file order (grey or R, G, B, then A). Alpha is opaque:
// the library's fourth channel carries no information (every method writes 0).
// 16-bit values are clamped to their significant bits and widened to the whole word
// (the value in the top bits, repeated below it), so that full scale is 65535 and
// alpha fully opaque in every format.
// The second form fills `out`, reusing its memory.
FilePixels to_file_pixels(const ColourImage &image);
void to_file_pixels(const ColourImage &image, FilePixels &out);

}  // namespace kvcli
