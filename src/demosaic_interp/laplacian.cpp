// laplacian: gradient-corrected interpolation in two passes. Pass 1 gives the whole
// frame's green plane (and every channel of the two-pixel ring along the edges, by
// the border fillers and the bilinear rules); pass 2 reads those greens and completes
// red and blue in the inner area.
//
// The plain routine writes the greens of pass 1 into the output and reads them back
// from there, pass 2 following pass 1 a pair of rows behind. With fast kernels the
// greens of the inner area go to a small ring of rows on the stack instead, and the
// frame is done in vertical strips so that the ring stays small at any width; each
// inner pixel is then written once, by pass 2.
#include "demosaic_interp/laplacian.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

// Pass 1 in the inner area: a green site keeps its own sample as green, a red or
// blue site gets the gradient-corrected green. Only channel 1 is written.
struct GreenPlane {
    template <class D, RowType T>
    static simd::PairsFn<typename D::Sample> kernel(Isa) { return nullptr; }
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
    static simd::PairsFn<typename D::Sample> kernel(Isa) { return nullptr; }
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

// The widest strip of inner columns the fast path does at once. The ring holds three
// rows of kStrip + 4 greens: 24 KiB at most (16-bit samples).
constexpr ptrdiff_t kStrip = 4096;

// Columns 0 and 1 (at the row's start) and width - 2 and width - 1 (from `at` on) of
// a row of the inner band, by the bilinear rules, as core_row writes them.
template <class D, RowType T>
void left_edge(const typename D::Sample *source, int32_t width, typename D::Sample *destination) {
    BilinearRules::pixel<D, T, !Row<T>::own_first, Col::first>(source, width, destination);
    BilinearRules::pixel<D, T, Row<T>::own_first, Col::inner>(source, width, destination);
}
template <class D, RowType T>
void right_edge(const typename D::Sample *source, int32_t width, typename D::Sample *destination) {
    BilinearRules::pixel<D, T, !Row<T>::own_first, Col::inner>(source, width, destination);
    BilinearRules::pixel<D, T, Row<T>::own_first, Col::last>(source, width, destination);
}

// The fast path, for frames of at least `least` inner columns. Rows 0, 1, height - 2
// and height - 1 come first, whole; then the inner columns 2 .. width - 3 in strips
// of at most kStrip columns (as even as they can be, each a whole number of pairs).
// In a strip [a, b) the ring holds, for three consecutive rows, the greens of
// columns a - 2 .. b + 1 (index 0 is column a - 2): pass 1 of row r fills its ring
// row, and pass 2 of row r - 1 follows at once. The greens pass 2 reads in the ring
// along the edges (rows 1 and height - 2, columns 1 and width - 2) are those of the
// bilinear rules, taken from the output where those pixels are already written;
// columns 2 .. width - 3 of the core rows are computed by pass 1, which in a strip
// covers the columns a - 2 .. b + 1 of the inner area.
template <class D, Pattern P>
void laplacian_strips(const typename D::Sample *source, int32_t width, int32_t height,
                      typename D::Sample *destination, Isa isa, const LaplacianKernels<typename D::Sample> &even,
                      const LaplacianKernels<typename D::Sample> &odd) {
    using S = typename D::Sample;
    constexpr RowType E = Mosaic<P>::even_row, O = Mosaic<P>::odd_row;
    constexpr ptrdiff_t C = D::channels;
    const ptrdiff_t w = width, h = height;
    {
        const S *s = source;
        S *d = destination;
        border_row<D, E>(s, width, d);
        second_row<D, P>(s, width, d, isa);
        s = source + (h - 2) * w;
        d = destination + (h - 2) * w * C;
        bilinear_row<D, E>(s, width, d, isa);
        border_row<D, O>(s, -width, d);
    }
    if (h < 6) return;  // no core rows
    auto output_green = [&](ptrdiff_t r, ptrdiff_t c) { return destination[(r * w + c) * C + kGreen]; };
    S ring[3][kStrip + 4];
    auto ring_row = [&](ptrdiff_t r) { return ring[r % 3]; };
    const ptrdiff_t pairs = (w - 4) / 2;
    const ptrdiff_t strips = (2 * pairs + kStrip - 1) / kStrip;
    ptrdiff_t a = 2;
    for (ptrdiff_t k = 0; k < strips; ++k) {
        const ptrdiff_t b = a + 2 * (pairs / strips + (k < pairs % strips ? 1 : 0));
        const ptrdiff_t lo = a > 2 ? a - 2 : 2, hi = b < w - 2 ? b + 2 : w - 2;
        const bool left = a == 2, right = b == w - 2;
        // Ring index of column c: c - a + 2.
        auto edge_greens = [&](ptrdiff_t r) {
            S *g = ring_row(r);
            if (left) g[1] = output_green(r, 1);
            if (right) g[b - a + 2] = output_green(r, w - 2);
        };
        auto red_blue = [&](ptrdiff_t r) {
            (r % 2 == 0 ? even : odd)
                .red_blue(source + r * w + a, w, ring_row(r - 1) + 1, ring_row(r) + 1, ring_row(r + 1) + 1,
                          destination + (r * w + a) * C, b - a);
        };
        for (ptrdiff_t c = a - 1; c <= b; ++c) ring_row(1)[c - a + 2] = output_green(1, c);
        for (ptrdiff_t r = 2; r < h - 2; ++r) {
            const S *s = source + r * w;
            S *d = destination + r * w * C;
            if (r % 2 == 0) {
                if (left) left_edge<D, E>(s, width, d);
                if (right) right_edge<D, E>(s + w - 2, width, d + (w - 2) * C);
                even.green(s + lo, w, ring_row(r) + (lo - a + 2), hi - lo);
            } else {
                if (left) left_edge<D, O>(s, width, d);
                if (right) right_edge<D, O>(s + w - 2, width, d + (w - 2) * C);
                odd.green(s + lo, w, ring_row(r) + (lo - a + 2), hi - lo);
            }
            edge_greens(r);
            if (r > 2) red_blue(r - 1);
        }
        for (ptrdiff_t c = a - 1; c <= b; ++c) ring_row(h - 2)[c - a + 2] = output_green(h - 2, c);
        red_blue(h - 3);
        a = b;
    }
}

template <class D, Pattern P>
bool laplacian(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
               Isa isa = best_isa()) {
    if (!interp_size_ok(width, height)) return false;
    const auto even = laplacian_kernels<D, Mosaic<P>::even_row>(isa);
    const auto odd = laplacian_kernels<D, Mosaic<P>::odd_row>(isa);
    if (even.green != nullptr && width - 4 >= even.least) {
        laplacian_strips<D, P>(source, width, height, destination, isa, even, odd);
        return true;
    }
    // The plain routine.
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
