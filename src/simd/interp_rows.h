// The row kernels of the interpolating methods (kernels.h, InterpOp), over an
// instruction set I. Included by interp_sse2.cpp and interp_avx2.cpp. The rules are
// those of the plain routines in src/demosaic_interp/. A vector of columns holds the
// two kinds of site alternately; each is widened into its own vector (Wide::even,
// Wide::odd), computed by its own rule only, and the two joined again.
#pragma once

#include "simd/kernels.h"
#include "simd/pixels.h"

namespace korvimg {
namespace simd {

template <class I, InterpOp Op, class D, RowType T>
ptrdiff_t interp_pairs(const typename D::Sample *source, ptrdiff_t width, typename D::Sample *destination,
                       ptrdiff_t pairs) {
    using S = typename D::Sample;
    using V = typename I::V;
    using O = Ops<I, S>;
    using Wd = Wide<I, S>;
    constexpr int n = O::lanes;
    constexpr int C = D::channels;
    // The bilinear kernel starts at column 1, the others at column 2; so the first
    // column of a pair is a green site when the row starts with its own colour
    // (bilinear) or with green (the others).
    constexpr bool green_first = Op == InterpOp::bilinear ? Row<T>::own_first : !Row<T>::own_first;
    // The elements at the green sites and at the own-colour sites of a vector of
    // samples, widened; join(at green sites, at own-colour sites) puts them back.
    auto at_green = [](V v) { return green_first ? Wd::even(v) : Wd::odd(v); };
    auto at_own = [](V v) { return green_first ? Wd::odd(v) : Wd::even(v); };
    auto join = [](V green_sites, V own_sites) {
        return green_first ? Wd::interleave(green_sites, own_sites) : Wd::interleave(own_sites, green_sites);
    };
    const ptrdiff_t w = width;
    const ptrdiff_t columns = 2 * pairs;
    if (columns < n) return 0;
    // The second pass of the laplacian reads the greens of the first from the output
    // rows above, of and below the row, one column left of, at and right of each
    // column. They are copied out of the pixels once, as plain samples, a stretch of
    // up to kStretch columns at a time: greens[row][k] is the green of column
    // stretch_start - 1 + k of row `row` - 1 (relative to the row), for the columns
    // before stretch_end + 1.
    constexpr ptrdiff_t kStretch = Op == InterpOp::laplacian_rb ? 256 : 0;
    S greens[3][kStretch + 2];
    ptrdiff_t stretch_start = 0, stretch_end = 0;
    // Whole vectors of columns from column 0 on; when the columns are not a whole
    // number of vectors, the last vector ends at the last column and redoes some
    // columns of the one before (with the same result: a kernel reads nothing it writes
    // but greens, which it writes unchanged). Both starts are even, so the kinds of
    // site keep their positions in the vector.
    for (ptrdiff_t j = 0;; j = j + 2 * n <= columns ? j + n : columns - n) {
        const S *s = source + j;
        S *out = destination + j * C;
        if constexpr (Op == InterpOp::laplacian_rb) {
            if (j + n > stretch_end) {
                const ptrdiff_t length = columns - j < kStretch ? (columns - j) / n * n : kStretch;
                stretch_start = j;
                stretch_end = j + length;
                for (int row = 0; row < 3; ++row) {
                    const S *px = out + ((row - 1) * w - 1) * C;
                    ptrdiff_t k = 0;
                    for (; k < length; k += n) I::store(&greens[row][k], I::template greens<S, C>(px + k * C));
                    for (; k < length + 2; ++k) greens[row][k] = px[k * C + kGreen];
                }
            }
        }
        // Planes of the row's own colour, green and the third colour, as samples.
        V own_plane, green_plane, third_plane;
        const V x = I::load(s), l = I::load(s - 1), r = I::load(s + 1), u = I::load(s - w), d = I::load(s + w);
        if constexpr (Op == InterpOp::bilinear || Op == InterpOp::adaptive) {
            // At green sites: the row colour along the row, the third along the column.
            const V along_row = Wd::template shr<1>(Wd::add(at_green(l), at_green(r)));
            const V along_column = Wd::template shr<1>(Wd::add(at_green(u), at_green(d)));
            // At own-colour sites: green and the third colour.
            const V lr = Wd::add(at_own(l), at_own(r)), ud = Wd::add(at_own(u), at_own(d));
            const V four = Wd::template shr<2>(Wd::add(lr, ud));
            const V UL = at_own(I::load(s - w - 1)), UR = at_own(I::load(s - w + 1));
            const V DL = at_own(I::load(s + w - 1));
            V green_own, third_own;
            if constexpr (Op == InterpOp::bilinear) {
                green_own = four;
                // The above-right neighbour counts twice; the below-right one is not read.
                third_own = Wd::template shr<2>(Wd::add(Wd::add(UL, UR), Wd::add(UR, DL)));
            } else {
                const V DR = at_own(I::load(s + w + 1));
                const V dv = Wd::abs(Wd::sub(at_own(I::load(s - 2 * w)), at_own(I::load(s + 2 * w))));
                const V dh = Wd::abs(Wd::sub(at_own(I::load(s + 2)), at_own(I::load(s - 2))));
                green_own = Wd::select(Wd::eq(dv, dh), four,
                                       Wd::select(Wd::gt(dh, dv), Wd::template shr<1>(ud), Wd::template shr<1>(lr)));
                third_own = Wd::template shr<2>(Wd::add(Wd::add(UL, UR), Wd::add(DL, DR)));
            }
            own_plane = join(along_row, at_own(x));
            green_plane = join(at_green(x), green_own);
            third_plane = join(along_column, third_own);
        } else if constexpr (Op == InterpOp::laplacian_green) {
            // A green site keeps its sample; an own-colour site takes the corrected green.
            const V X = at_own(x), L = at_own(l), R = at_own(r), U = at_own(u), D_ = at_own(d);
            const V x2 = Wd::add(X, X);
            const V hd = Wd::sub(Wd::sub(x2, at_own(I::load(s - 2))), at_own(I::load(s + 2)));
            const V vd = Wd::sub(Wd::sub(x2, at_own(I::load(s - 2 * w))), at_own(I::load(s + 2 * w)));
            const V gh = Wd::add(Wd::abs(Wd::sub(L, R)), Wd::abs(hd));
            const V gv = Wd::add(Wd::abs(Wd::sub(U, D_)), Wd::abs(vd));
            const V lr = Wd::add(L, R), ud = Wd::add(U, D_);
            // Each plain average shifted on its own, each correction divided on its own.
            const V both = Wd::add(Wd::template shr<2>(Wd::add(lr, ud)), Wd::template div<3>(Wd::add(hd, vd)));
            const V vertical = Wd::add(Wd::template shr<1>(ud), Wd::template div<2>(vd));
            const V horizontal = Wd::add(Wd::template shr<1>(lr), Wd::template div<2>(hd));
            const V green = Wd::select(Wd::eq(gh, gv), both, Wd::select(Wd::gt(gh, gv), vertical, horizontal));
            // Only the green matters; the other channels are rewritten by the second pass.
            own_plane = third_plane = I::zero();
            green_plane = join(at_green(x), green);
        } else {
            // The greens of the first pass, from the output rows above, of and below
            // the row, one column left of, at and right of the columns j .. j + n - 1.
            auto green_vector = [&](int row, int column) {
                return I::load(&greens[row][j - stretch_start + column]);
            };
            const V gc = green_vector(1, 1);
            // At green sites: the row colour along the row, the other along the column.
            auto green_g = [&](int row, int column) { return at_green(green_vector(row, column)); };
            const V Gg = at_green(gc), g2g = Wd::add(Gg, Gg);
            const V horizontal = Wd::add(Wd::template shr<1>(Wd::add(at_green(l), at_green(r))),
                                         Wd::template div<2>(Wd::sub(Wd::sub(g2g, green_g(1, 0)), green_g(1, 2))));
            const V vertical = Wd::add(Wd::template shr<1>(Wd::add(at_green(u), at_green(d))),
                                       Wd::template div<2>(Wd::sub(Wd::sub(g2g, green_g(0, 1)), green_g(2, 1))));
            // At own-colour sites: the opposite colour along the flatter diagonal.
            auto green_o = [&](int row, int column) { return at_own(green_vector(row, column)); };
            const V Go = at_own(gc), g2o = Wd::add(Go, Go);
            const V NW = at_own(I::load(s - w - 1)), NE = at_own(I::load(s - w + 1));
            const V SW = at_own(I::load(s + w - 1)), SE = at_own(I::load(s + w + 1));
            const V d1 = Wd::sub(Wd::sub(g2o, green_o(0, 0)), green_o(2, 2));
            const V d2 = Wd::sub(Wd::sub(g2o, green_o(0, 2)), green_o(2, 0));
            const V a = Wd::add(Wd::abs(Wd::sub(NW, SE)), Wd::abs(d1));
            const V b = Wd::add(Wd::abs(Wd::sub(NE, SW)), Wd::abs(d2));
            const V four = Wd::template div<2>(Wd::add(Wd::add(Wd::add(d1, d2), Wd::add(NW, NE)), Wd::add(SW, SE)));
            const V first = Wd::template div<1>(Wd::add(Wd::add(NW, SE), d1));
            const V second = Wd::template div<1>(Wd::add(Wd::add(NE, SW), d2));
            const V opposite = Wd::select(Wd::eq(a, b), four, Wd::select(Wd::gt(b, a), first, second));
            own_plane = join(horizontal, at_own(x));
            green_plane = gc;
            third_plane = join(vertical, opposite);
        }
        if constexpr (Row<T>::own == kBlue) O::template put_pixels<C>(out, own_plane, green_plane, third_plane);
        else O::template put_pixels<C>(out, third_plane, green_plane, own_plane);
        if (j + n == columns) break;
    }
    return pairs;
}

// Explicit instantiations of every kernel for the instruction set I.
#define KORVIMG_INTERP_KERNELS_DT(I, bits, T)                                                             \
    template ptrdiff_t interp_pairs<I, InterpOp::bilinear, Depth<bits>, RowType::T>(                        \
        const Depth<bits>::Sample *, ptrdiff_t, Depth<bits>::Sample *, ptrdiff_t);                           \
    template ptrdiff_t interp_pairs<I, InterpOp::adaptive, Depth<bits>, RowType::T>(                        \
        const Depth<bits>::Sample *, ptrdiff_t, Depth<bits>::Sample *, ptrdiff_t);                           \
    template ptrdiff_t interp_pairs<I, InterpOp::laplacian_green, Depth<bits>, RowType::T>(                 \
        const Depth<bits>::Sample *, ptrdiff_t, Depth<bits>::Sample *, ptrdiff_t);                           \
    template ptrdiff_t interp_pairs<I, InterpOp::laplacian_rb, Depth<bits>, RowType::T>(                    \
        const Depth<bits>::Sample *, ptrdiff_t, Depth<bits>::Sample *, ptrdiff_t);
#define KORVIMG_INTERP_KERNELS_D(I, bits)   \
    KORVIMG_INTERP_KERNELS_DT(I, bits, bg)  \
    KORVIMG_INTERP_KERNELS_DT(I, bits, gr)  \
    KORVIMG_INTERP_KERNELS_DT(I, bits, gb)  \
    KORVIMG_INTERP_KERNELS_DT(I, bits, rg)
#define KORVIMG_INTERP_KERNELS(I)    \
    KORVIMG_INTERP_KERNELS_D(I, 24)  \
    KORVIMG_INTERP_KERNELS_D(I, 32)  \
    KORVIMG_INTERP_KERNELS_D(I, 48)  \
    KORVIMG_INTERP_KERNELS_D(I, 64)

}  // namespace simd
}  // namespace korvimg
