// SSE2 row kernels of the interpolating methods.
#include "simd/kernels.h"
#if KORVIMG_X86
#include "simd/vec_sse2.h"
#include "simd/interp_rows.h"

namespace korvimg {
namespace simd {
KORVIMG_INTERP_KERNELS(Sse2)
}  // namespace simd
}  // namespace korvimg
#endif
