// The row spike filter's vector kernel over AVX2 (this file is compiled with -mavx2
// and reached only after the CPU check).
#include "frameops/spike_limit.h"
#include "frame/cpu.h"

#if KORVIMG_X86
#include "simd/vec_avx2.h"

namespace korvimg {
namespace avx2 {

template <class S, int D>
int32_t limit_span(const S *win, S *out, int32_t n) {
    return limit_vectors<Avx2, S, D>(win, out, n);
}
template int32_t limit_span<uint8_t, 1>(const uint8_t *, uint8_t *, int32_t);
template int32_t limit_span<uint8_t, 2>(const uint8_t *, uint8_t *, int32_t);
template int32_t limit_span<uint16_t, 1>(const uint16_t *, uint16_t *, int32_t);
template int32_t limit_span<uint16_t, 2>(const uint16_t *, uint16_t *, int32_t);

}  // namespace avx2
}  // namespace korvimg
#endif
