// Method and pattern names of the korvimg library, and the demosaic step by code.
#pragma once

#include <cstdint>
#include <string>

#include "korvimg.h"

namespace kvcli {

constexpr int kMethods = 8;
extern const char *const kMethodNames[kMethods];  // by method code
extern const char *const kPatternNames[4];        // by pattern code
int method_code(const std::string &name);         // -1 when unknown
int pattern_code(const std::string &name);        // -1 when unknown

// Where red and blue sit in a pattern's 2x2 tile, as row * 2 + column: red at the
// pattern code itself (rggb 0, grbg 1, gbrg 2, bggr 3), blue diagonally across.
constexpr int red_site(int pattern) { return pattern; }
constexpr int blue_site(int pattern) { return 3 - pattern; }
// The pattern seen from a photosite dx columns and dy rows into the pattern's tile:
// an odd column swaps the tile's columns, an odd row its rows.
constexpr int shifted_pattern(int pattern, int dx, int dy) { return pattern ^ (dx & 1) ^ (dy & 1) << 1; }

// Output size of a method for a width x height frame.
int32_t output_width(int method, int32_t width);
int32_t output_height(int method, int32_t height);
// Demosaics with (method, format, pattern) through the library's dispatcher of the
// format: 24, 32 (8-bit samples) or 48, 64 (16-bit samples). The dispatcher does not
// pass on a member's refusal, so the caller checks the frame size first (see
// minimum_size).
void demosaic(int method, int format, int pattern, const void *source, int32_t width, int32_t height,
              void *destination);
// Smallest frame the method accepts (2 for the tile methods, 4 for the interpolating
// ones, 1 for mono); all but mono also need even sizes.
int32_t minimum_size(int method);

}  // namespace kvcli
