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

// "while (h > stop) h -= 360" in double precision, each step rounded, for stop >= 1024,
// in a number of operations that does not grow with h; NaN when the loop would never
// end (h - 360 == h, above 2^62). Hues are wrapped with it.
double subtract_turns(double h, double stop);

namespace avx2 {
// Runs over the whole groups of eight pixels from the first on, in order. A group
// whose entries all carry the stamp (stamp in the top byte) gets them copied in; a
// group with a stale entry is handed, untouched, to `stale` (with `arg`), which must
// correct its eight pixels one after the other. Returns the pixels done: count
// rounded down to a multiple of eight.
template <int Step>
int32_t correct_groups(const uint32_t *cache, uint32_t stamp, uint8_t *image, int32_t count,
                       void (*stale)(void *arg, uint8_t *group), void *arg);
}  // namespace avx2

}  // namespace korvimg
