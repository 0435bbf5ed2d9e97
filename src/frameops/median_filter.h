// The row spike filter with a chosen instruction set (lowered to what the CPU has):
// the exports use best_isa(); the tests run every level and compare.
#pragma once

#include <cstdint>

#include "frame/cpu.h"

namespace korvimg {

template <class S>
void median_filter_isa(Isa isa, S *frame, int32_t width, int32_t height, uint32_t mosaic);

}  // namespace korvimg
