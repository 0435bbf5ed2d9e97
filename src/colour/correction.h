// Colour correction with a chosen instruction set (lowered to what the CPU has): the
// exports use best_isa(); the tests run every level and compare.
#pragma once

#include <cstdint>

#include "colour/context.h"
#include "frame/cpu.h"

namespace korvimg {

// step: bytes a pixel, 3 or 4.
uint32_t color_correction_isa(Isa isa, ColorCorrectionContext *context, uint8_t *image, int32_t width,
                              int32_t height, int step);

namespace avx2 {
// Copies the cache entries of whole groups of eight pixels into them, from the first
// pixel on, for as long as every entry of a group carries the stamp (stamp in the top
// byte). Returns the pixels done: a multiple of eight, at most count. Nothing is
// written to the cache; a group with a stale entry is left as it was.
template <int Step>
int32_t copy_current(const uint32_t *cache, uint32_t stamp, uint8_t *image, int32_t count);
}  // namespace avx2

}  // namespace korvimg
