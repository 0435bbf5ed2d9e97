// laplacian: gradient-corrected interpolation in two passes. Pass 1 writes the whole
// frame's green plane (and every channel of the two-pixel ring along the edges, by
// the border fillers and the bilinear rules); pass 2 reads those greens back from the
// output and completes red and blue in the inner area. Pass 2 follows pass 1 a pair
// of rows behind instead of waiting for the whole frame.
#include "demosaic_interp/laplacian.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

// Pass 1 in the inner area: a green site keeps its own sample as green, a red or
// blue site gets the gradient-corrected green. Only channel 1 is written.
struct GreenPlane {
    static constexpr InterpOp op = InterpOp::laplacian_green;
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
    static constexpr InterpOp op = InterpOp::laplacian_rb;
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
void red_blue_row(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination, Isa isa) {
    source += 2;
    destination += 2 * D::channels;
    core_pairs<RedBlue, D, T>(source, width, destination, isa);
    source += 2;
    destination += 2 * D::channels;
}

template <class D, Pattern P>
bool laplacian(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
               Isa isa = best_isa()) {
    if (!interp_size_ok(width, height)) return false;
    // Pass 2 covers rows 2 to height - 3 in pairs (even row first). A pair whose first
    // row is r reads the greens of rows r - 1 to r + 2, so it runs as soon as pass 1
    // has completed row r + 2, while those rows are still in cache. Pass 1 never reads
    // the output, and pass 2 rewrites the greens it reads with the same values, so the
    // result is that of running pass 2 after the whole of pass 1.
    const ptrdiff_t row2 = 2 * static_cast<ptrdiff_t>(width);
    const typename D::Sample *s = source + row2;
    typename D::Sample *d = destination + row2 * D::channels;
    const int32_t pairs = (height - 4) / 2;
    int32_t next = 0;  // the next pair of pass 2; its first row is 2 + 2 * next
    auto red_blue_behind = [&](int32_t rows_done) {
        for (; next < pairs && 2 + 2 * next + 3 <= rows_done; ++next) {
            red_blue_row<D, Mosaic<P>::even_row>(s, width, d, isa);
            red_blue_row<D, Mosaic<P>::odd_row>(s, width, d, isa);
        }
    };
    core_frame<GreenPlane, D, P>(source, width, height, destination, isa, red_blue_behind);
    return true;
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(laplacian, ::korvimg::laplacian)
KORVIMG_ISA_ENTRY(laplacian_isa, ::korvimg::laplacian)
