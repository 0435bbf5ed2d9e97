// AVX2 row kernels of the interpolating methods (this file is compiled with -mavx2).
#include "simd/kernels.h"
#if KORVIMG_X86
#include "simd/vec_avx2.h"
#include "simd/interp_rows.h"

namespace korvimg {
namespace simd {
KORVIMG_INTERP_KERNELS(Avx2)
}  // namespace simd
}  // namespace korvimg
#endif
