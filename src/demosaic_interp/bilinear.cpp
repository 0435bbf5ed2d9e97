// bilinear: every pixel gets the colours it lacks from the nearest samples of those
// colours. Row 0 and the last row come from the border fillers, every other row from
// the bilinear inner-row rules.
#include "demosaic_interp/bilinear_rules.h"

namespace korvimg {

void left_blue_pixel64(const uint16_t *&source, int32_t width, uint16_t *&destination) {
    BilinearRules::pixel<Depth<64>, RowType::bg, false, Col::first>(source, width, destination);
}

namespace {

template <class D, Pattern P>
bool bilinear(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination) {
    if (!interp_size_ok(width, height)) return false;
    constexpr RowType even = Mosaic<P>::even_row, odd = Mosaic<P>::odd_row;
    border_row<D, even>(source, width, destination);
    for (int32_t i = 0; i < (height - 2) / 2; ++i) {
        bilinear_row<D, odd>(source, width, destination);
        bilinear_row<D, even>(source, width, destination);
    }
    border_row<D, odd>(source, -width, destination);
    return true;
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(bilinear, ::korvimg::bilinear)
