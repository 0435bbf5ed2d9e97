// Internal routines of the tone and bit-depth functions that the tests reach
// directly: the power function of the brightness/contrast/gamma tables and the
// best-table builder with its memory services as parameters.
#pragma once

#include <cstdint>

#include "frame/memory.h"
#include "korvimg.h"

namespace korvimg {

// x^e computed in double precision from the single-precision operands and rounded
// back to single precision: the correctly rounded double power, then rounded to the
// nearest float. The platform's pow only serves as a fast first estimate; whenever
// that estimate lies near a float rounding boundary, the double result is worked out
// in double-double arithmetic, so the float returned does not depend on the accuracy
// of the platform's pow. x must be positive and normal, e within -64..64.
float pow_single(float x, float e);

// The correctly rounded double x^e (to within 2^-95 relative before the final
// rounding), in double-double arithmetic alone: no platform maths function is used.
// x positive and normal with at most 24 significant bits; e*ln(x) within +-700.
double pow_double_double(double x, double e);

// Builds the depth-reducing table for N input values and L output levels from a
// histogram of N / F bins, each count shared out as count / F over its F values.
// Returns 1, or 0 with the table untouched when the working array cannot be had.
template <class Out, uint32_t N, uint32_t L, uint32_t F>
uint32_t best_table(const uint32_t *histogram, Out *table, const MemoryServices &memory);

}  // namespace korvimg
