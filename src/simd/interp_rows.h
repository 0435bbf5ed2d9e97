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
    // The bilinear kernel starts at column 1, the adaptive one at column 2; so the
    // first column of a pair is a green site when the row starts with its own colour
    // (bilinear) or with green (adaptive).
    constexpr bool green_first = Op == InterpOp::bilinear ? Row<T>::own_first : !Row<T>::own_first;
    // The elements at the green sites and at the own-colour sites of a vector of
    // samples, widened; join(at green sites, at own-colour sites) puts them back, in
    // halves (Ops::put_halves).
    auto at_green = [](V v) { return green_first ? Wd::even(v) : Wd::odd(v); };
    auto at_own = [](V v) { return green_first ? Wd::odd(v) : Wd::even(v); };
    auto join = [](V green_sites, V own_sites) {
        return green_first ? Wd::halves(green_sites, own_sites) : Wd::halves(own_sites, green_sites);
    };
    const ptrdiff_t w = width;
    const ptrdiff_t columns = 2 * pairs;
    if (columns < n) return 0;
    // Whole vectors of columns from column 0 on; when the columns are not a whole
    // number of vectors, the last vector ends at the last column and redoes some
    // columns of the one before (with the same result: a kernel reads nothing it
    // writes). Both starts are even, so the kinds of
    // site keep their positions in the vector.
    for (ptrdiff_t j = 0;; j = j + 2 * n <= columns ? j + n : columns - n) {
        const S *s = source + j;
        S *out = destination + j * C;
        const V x = I::load(s), l = I::load(s - 1), r = I::load(s + 1), u = I::load(s - w), d = I::load(s + w);
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
        // Planes of the row's own colour, green and the third colour, as samples.
        const V own_plane = join(along_row, at_own(x));
        const V green_plane = join(at_green(x), green_own);
        const V third_plane = join(along_column, third_own);
        if constexpr (Row<T>::own == kBlue) O::template put_halves<C, true, true, true>(out, own_plane, green_plane, third_plane);
        else O::template put_halves<C, true, true, true>(out, third_plane, green_plane, own_plane);
        if (j + n == columns) break;
    }
    return pairs;
}

// The two passes of the laplacian over `columns` columns of a core row (an even
// number, at least one vector's worth), from an even column on, so that the first
// column of each pair is a green site when the row starts with green.
//
// Pass 1 writes the green of each column, as a plain sample, to greens[0 ..
// columns): a green site's own sample, or the corrected green of a red or blue site.
template <class I, class D, RowType T>
void laplacian_green_row(const typename D::Sample *source, ptrdiff_t width, typename D::Sample *greens,
                         ptrdiff_t columns) {
    using S = typename D::Sample;
    using V = typename I::V;
    using Wd = Wide<I, S>;
    constexpr int n = Ops<I, S>::lanes;
    constexpr bool green_first = !Row<T>::own_first;
    auto at_green = [](V v) { return green_first ? Wd::even(v) : Wd::odd(v); };
    auto at_own = [](V v) { return green_first ? Wd::odd(v) : Wd::even(v); };
    const ptrdiff_t w = width;
    // Whole vectors, the last one ending at the last column (see interp_pairs).
    for (ptrdiff_t j = 0;; j = j + 2 * n <= columns ? j + n : columns - n) {
        const S *s = source + j;
        const V x = I::load(s);
        // The green sample of a pair is the left neighbour of its own-colour site when
        // green comes first, else the right one.
        const V G = at_green(x);
        const V X = at_own(x);
        const V L = green_first ? G : at_own(I::load(s - 1)), R = green_first ? at_own(I::load(s + 1)) : G;
        const V U = at_own(I::load(s - w)), D_ = at_own(I::load(s + w));
        const V x2 = Wd::add(X, X);
        const V hd = Wd::sub(Wd::sub(x2, at_own(I::load(s - 2))), at_own(I::load(s + 2)));
        const V vd = Wd::sub(Wd::sub(x2, at_own(I::load(s - 2 * w))), at_own(I::load(s + 2 * w)));
        const V gh = Wd::add(Wd::abs(Wd::sub(L, R)), Wd::abs(hd));
        const V gv = Wd::add(Wd::abs(Wd::sub(U, D_)), Wd::abs(vd));
        const V lr = Wd::add(L, R), ud = Wd::add(U, D_);
        // The three forms as one: a sum of neighbours shifted by 2 plus a correction
        // divided by 8 toward zero, the one-direction forms doubled to fit
        // ((a + b) >> 1 is (2a + 2b) >> 2, c / 4 is 2c / 8). Each is the sum of two
        // picks, the vertical term where gh > gv else the horizontal one, and the
        // horizontal term where gv > gh else the vertical one: twice the vertical
        // term, twice the horizontal one, or (equal gradients) one of each.
        const V vertical = Wd::gt(gh, gv), horizontal = Wd::gt(gv, gh);
        const V sum = Wd::add(Wd::select(vertical, ud, lr), Wd::select(horizontal, lr, ud));
        const V correction = Wd::add(Wd::select(vertical, vd, hd), Wd::select(horizontal, hd, vd));
        const V green = Wd::add(Wd::template shr<2>(sum), Wd::template div<3>(correction));
        I::store(greens + j, green_first ? Wd::interleave(G, green) : Wd::interleave(green, G));
        if (j + n == columns) break;
    }
}

// Pass 2 writes every channel of the pixels at destination. above, row and below
// hold the greens of pass 1 of the rows above, of and below the row, from the column
// before the first on (columns + 2 of them).
template <class I, class D, RowType T>
void laplacian_rb_row(const typename D::Sample *source, ptrdiff_t width, const typename D::Sample *above,
                      const typename D::Sample *row, const typename D::Sample *below, typename D::Sample *destination,
                      ptrdiff_t columns) {
    using S = typename D::Sample;
    using V = typename I::V;
    using O = Ops<I, S>;
    using Wd = Wide<I, S>;
    constexpr int n = O::lanes;
    constexpr int C = D::channels;
    constexpr bool green_first = !Row<T>::own_first;
    auto at_green = [](V v) { return green_first ? Wd::even(v) : Wd::odd(v); };
    auto at_own = [](V v) { return green_first ? Wd::odd(v) : Wd::even(v); };
    // Both kinds of site back in one vector, in halves (Ops::put_halves).
    auto join = [](V green_sites, V own_sites) {
        return green_first ? Wd::halves(green_sites, own_sites) : Wd::halves(own_sites, green_sites);
    };
    const ptrdiff_t w = width;
    for (ptrdiff_t j = 0;; j = j + 2 * n <= columns ? j + n : columns - n) {
        const S *s = source + j;
        const V x = I::load(s);
        // An own-colour site's neighbours on the side of its pair's green site lie in
        // that green site's column: in any row they are the green-site elements of
        // the vector at the columns themselves (U, Dn, Ga, Gb serve on both sites),
        // and the green site's neighbour on the other side is the own-colour sample.
        const V Xo = at_own(x);
        const V U = at_green(I::load(s - w)), Dn = at_green(I::load(s + w));  // above, below the green sites
        const V gc = I::load(row + j + 1);  // the greens at the columns
        const V Gg = at_green(gc), Go = at_own(gc);
        const V Ga = at_green(I::load(above + j + 1)), Gb = at_green(I::load(below + j + 1));
        // At green sites: the row colour along the row, the other along the column,
        // each corrected by the greens' second difference.
        const V g2g = Wd::add(Gg, Gg);
        const V beyond = at_green(I::load(green_first ? s - 1 : s + 1));
        const V green_beyond = at_green(I::load(green_first ? row + j : row + j + 2));
        const V ch = Wd::sub(Wd::sub(g2g, Go), green_beyond);
        const V cv = Wd::sub(Wd::sub(g2g, Ga), Gb);
        const V horizontal = Wd::add(Wd::template shr<1>(Wd::add(beyond, Xo)), Wd::template div<2>(ch));
        const V vertical = Wd::add(Wd::template shr<1>(Wd::add(U, Dn)), Wd::template div<2>(cv));
        // At own-colour sites: the opposite colour along the flatter diagonal.
        const V g2o = Wd::add(Go, Go);
        const V NW = green_first ? U : at_own(I::load(s - w - 1)), NE = green_first ? at_own(I::load(s - w + 1)) : U;
        const V SW = green_first ? Dn : at_own(I::load(s + w - 1)), SE = green_first ? at_own(I::load(s + w + 1)) : Dn;
        const V GNW = green_first ? Ga : at_own(I::load(above + j)), GNE = green_first ? at_own(I::load(above + j + 2)) : Ga;
        const V GSW = green_first ? Gb : at_own(I::load(below + j)), GSE = green_first ? at_own(I::load(below + j + 2)) : Gb;
        const V d1 = Wd::sub(Wd::sub(g2o, GNW), GSE);
        const V d2 = Wd::sub(Wd::sub(g2o, GNE), GSW);
        const V a = Wd::add(Wd::abs(Wd::sub(NW, SE)), Wd::abs(d1));
        const V b = Wd::add(Wd::abs(Wd::sub(NE, SW)), Wd::abs(d2));
        // One division by 4 toward zero for the three forms, the diagonal ones doubled
        // to fit (c / 2 is 2c / 4): the sum of two picks, as in pass 1.
        const V first = Wd::add(Wd::add(NW, SE), d1), second = Wd::add(Wd::add(NE, SW), d2);
        const V sum = Wd::add(Wd::select(Wd::gt(b, a), first, second), Wd::select(Wd::gt(a, b), second, first));
        const V opposite = Wd::template div<2>(sum);
        const V own_plane = join(horizontal, Xo);
        const V third_plane = join(vertical, opposite);
        S *out = destination + j * C;
        if constexpr (Row<T>::own == kBlue) O::template put_halves<C, true, false, true>(out, own_plane, gc, third_plane);
        else O::template put_halves<C, true, false, true>(out, third_plane, gc, own_plane);
        if (j + n == columns) break;
    }
}

// Explicit instantiations of every kernel for the instruction set I.
#define KORVIMG_INTERP_KERNELS_DT(I, bits, T)                                                             \
    template ptrdiff_t interp_pairs<I, InterpOp::bilinear, Depth<bits>, RowType::T>(                        \
        const Depth<bits>::Sample *, ptrdiff_t, Depth<bits>::Sample *, ptrdiff_t);                           \
    template ptrdiff_t interp_pairs<I, InterpOp::adaptive, Depth<bits>, RowType::T>(                        \
        const Depth<bits>::Sample *, ptrdiff_t, Depth<bits>::Sample *, ptrdiff_t);                           \
    template void laplacian_green_row<I, Depth<bits>, RowType::T>(const Depth<bits>::Sample *, ptrdiff_t,     \
                                                                    Depth<bits>::Sample *, ptrdiff_t);         \
    template void laplacian_rb_row<I, Depth<bits>, RowType::T>(                                              \
        const Depth<bits>::Sample *, ptrdiff_t, const Depth<bits>::Sample *, const Depth<bits>::Sample *,   \
        const Depth<bits>::Sample *, Depth<bits>::Sample *, ptrdiff_t);
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
