// mono: every sample becomes a grey pixel. The frame is one run of width x height
// samples (a signed 32-bit product, so two negative sizes make a positive count).
#include "frame/isa_entry.h"
#include "frame/traits.h"
#include "simd/kernels.h"

namespace korvimg {
namespace {

template <class D>
bool mono(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
          Isa isa = best_isa()) {
    const int32_t n = wrapped_product(width, height);
    const auto kernel = mono_kernel<D>(isa);
    // A fast kernel may do the first part of the run; the loop does the rest.
    for (int32_t k = n > 0 && kernel ? kernel(source, n, destination) : 0; k < n; ++k) {
        const uint32_t s = source[k];
        put_pixel<D>(destination + static_cast<size_t>(k) * D::channels, s, s, s);
    }
    return true;
}

// The member of a pattern is the depth's one function.
template <class D, Pattern>
bool mono_member(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
                 Isa isa) {
    return mono<D>(source, width, height, destination, isa);
}

}  // namespace
}  // namespace korvimg

// One function per depth; the other three pattern names are aliases of it.
#define KORVIMG_MONO(bits)                                                                       \
    extern "C" KORVIMG_API uint32_t KORVIMG_CALL mono##bits##bggr(                               \
        const ::korvimg::Depth<bits>::Sample *source, int32_t width, int32_t height,            \
        ::korvimg::Depth<bits>::Sample *destination) {                                          \
        return ::korvimg::mono<::korvimg::Depth<bits>>(source, width, height, destination) ? 1u : 0u; \
    }
KORVIMG_MONO(24)
KORVIMG_MONO(32)
KORVIMG_MONO(48)
KORVIMG_MONO(64)

KORVIMG_ISA_ENTRY(mono_isa, ::korvimg::mono_member)
