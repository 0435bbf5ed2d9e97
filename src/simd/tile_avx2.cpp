// AVX2 row kernels of mono and the tile methods (this file is compiled with -mavx2).
#include "simd/kernels.h"
#if KORVIMG_X86
#include "simd/vec_avx2.h"
#include "simd/tile_rows.h"

namespace korvimg {
namespace simd {
KORVIMG_TILE_KERNELS(Avx2)
}  // namespace simd
}  // namespace korvimg
#endif
