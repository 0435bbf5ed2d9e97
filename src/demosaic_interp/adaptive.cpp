// adaptive: the bilinear method with an edge-directed green at the blue and red
// sites of the core (columns and rows 2 to size - 3). Every other pixel is bilinear.
#include "demosaic_interp/adaptive.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

// In the core, green sites keep the bilinear rule and the row's own-colour sites take
// the edge-directed one.
struct AdaptiveCore {
    template <class D, RowType T>
    static simd::PairsFn<typename D::Sample> kernel(Isa isa) {
        return interp_kernel<InterpOp::adaptive, D, T>(isa);
    }
    template <class D, RowType T>
    static void own(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
        adaptive_pixel<D, Row<T>::own>(source, width, destination);
    }
    template <class D, RowType T>
    static void green(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
        BilinearRules::pixel<D, T, true, Col::inner>(source, width, destination);
    }
};

template <class D, Pattern P>
bool adaptive(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
              Isa isa = best_isa()) {
    if (!interp_size_ok(width, height)) return false;
    core_frame<AdaptiveCore, D, P>(source, width, height, destination, isa);
    return true;
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(adaptive, ::korvimg::adaptive)
KORVIMG_ISA_ENTRY(adaptive_isa, ::korvimg::adaptive)
