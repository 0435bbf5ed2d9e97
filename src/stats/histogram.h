// The routines of the histogram exports, which the tests also reach directly. The
// 8-bit ones count a large input by pairs of samples, in tables taken from `memory`
// for the call; when it refuses, they count the samples one by one, with the same
// result. The 10- and 12-bit ones take no memory.
#pragma once

#include <cstdint>

#include "frame/memory.h"
#include "frame/traits.h"

namespace korvimg {

// A run of n samples into one histogram of Bins bins.
template <class S, uint32_t Bins>
void histogram_run(const S *samples, int32_t n, uint32_t *histogram, const MemoryServices &memory);

// Packed colour pixels of Channels samples (blue, green, red, and a fourth that is
// skipped) into three histograms.
template <class S, uint32_t Bins, int Channels>
void histogram_image(const S *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue,
                     const MemoryServices &memory);

// A raw frame of pattern P, walked in 2x2 cells, into three histograms.
template <class S, uint32_t Bins, Pattern P>
void histogram_raw(const S *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue,
                   const MemoryServices &memory);

}  // namespace korvimg
