// laplacian: gradient-corrected interpolation in two passes. Pass 1 writes the whole
// frame's green plane (and every channel of the two-pixel ring along the edges, by
// the border fillers and the bilinear rules); pass 2 reads those greens back from the
// output and completes red and blue in the inner area.
#include "demosaic_interp/laplacian.h"

namespace korvimg {
namespace {

// Pass 1 in the inner area: a green site keeps its own sample as green, a red or
// blue site gets the gradient-corrected green. Only channel 1 is written.
struct GreenPlane {
    template <class D, RowType T>
    static void own(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
        laplacian_green<D>(source, width, destination);
    }
    template <class D, RowType T>
    static void green(const typename D::Sample *&source, int32_t /*width*/, typename D::Sample *&destination) {
        destination[kGreen] = source[0];
        step<D>(source, destination);
    }
};

// Pass 2 in the inner area: each site by its estimator.
struct RedBlue {
    template <class D, RowType T>
    static void own(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
        if constexpr (Row<T>::own == kBlue) laplacian_blue_site<D>(source, width, destination);
        else laplacian_red_site<D>(source, width, destination);
    }
    template <class D, RowType T>
    static void green(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
        if constexpr (Row<T>::own == kBlue) laplacian_gb_site<D>(source, width, destination);
        else laplacian_gr_site<D>(source, width, destination);
    }
};

// Pass 2 over one row of the inner band: the two columns at each end are stepped over.
template <class D, RowType T>
void red_blue_row(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    source += 2;
    destination += 2 * D::channels;
    core_pairs<RedBlue, D, T>(source, width, destination);
    source += 2;
    destination += 2 * D::channels;
}

template <class D, Pattern P>
bool laplacian(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination) {
    if (!interp_size_ok(width, height)) return false;
    core_frame<GreenPlane, D, P>(source, width, height, destination);
    // Pass 2 starts at row 2, after every green of the frame is in place.
    const ptrdiff_t row2 = 2 * static_cast<ptrdiff_t>(width);
    const typename D::Sample *s = source + row2;
    typename D::Sample *d = destination + row2 * D::channels;
    for (int32_t i = 0; i < (height - 4) / 2; ++i) {
        red_blue_row<D, Mosaic<P>::even_row>(s, width, d);
        red_blue_row<D, Mosaic<P>::odd_row>(s, width, d);
    }
    return true;
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(laplacian, ::korvimg::laplacian)
