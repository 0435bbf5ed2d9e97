// SSE2 row kernels of mono and the tile methods.
#include "simd/kernels.h"
#if KORVIMG_X86
#include "simd/vec_sse2.h"
#include "simd/tile_rows.h"

namespace korvimg {
namespace simd {
KORVIMG_TILE_KERNELS(Sse2)
}  // namespace simd
}  // namespace korvimg
#endif
