// A deliberately naive model of the demosaic methods: one output pixel at a time,
// straight from the rules, with the pattern and depth as run-time values, no cursors,
// no shared walks. The library is compared with it byte for byte.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace model {

enum { kBlue = 0, kGreen = 1, kRed = 2 };

// Colour of the photosite at (row y, column x) under a pattern code
// (0 rggb, 1 grbg, 2 gbrg, 3 bggr): letter (y mod 2) * 2 + (x mod 2) of the name.
int colour_at(int pattern, int64_t y, int64_t x);

struct Image {
    uint32_t result = 0;
    bool known = true;          // false: the model has no rules for this method
    int64_t pixels = 0;         // pixels written; 0 when nothing is written
    int channels = 3;
    std::vector<uint32_t> px;   // pixels * channels values, fourth channel included
};

// raw holds the samples the method may read (width * height of them, or for mono the
// signed 32-bit product's count), as values.
Image demosaic(int method, int depth, int pattern, const std::vector<uint32_t> &raw, int32_t width, int32_t height);

// The rules of each family, used by demosaic(). Each fills img.result and, when it
// writes, img.pixels and img.px.
void mono(Image &img, const std::vector<uint32_t> &raw, int32_t width, int32_t height);
void tile_method(Image &img, int method, int pattern, const std::vector<uint32_t> &raw, int32_t width, int32_t height);
// bilinear (4), adaptive (5), laplacian (6); depth gives the largest channel value.
void interpolating(Image &img, int method, int depth, int pattern, const std::vector<uint32_t> &raw, int32_t width,
                   int32_t height);

}  // namespace model
