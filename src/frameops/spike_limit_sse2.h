// The row spike filter's vector kernel (spike_limit.h) over SSE2, the baseline of
// every x86 build.
#pragma once

#include <cstdint>

#include "frameops/spike_limit.h"

#if defined(__SSE2__)
#include "simd/vec_sse2.h"
#define KORVIMG_SPIKE_LIMIT_SSE2 1

namespace korvimg {
namespace sse2 {

template <class S, int D>
int32_t limit_span(const S *win, S *out, int32_t n) {
    return limit_vectors<Sse2, S, D>(win, out, n);
}

}  // namespace sse2
}  // namespace korvimg
#endif
