// The row kernels of the interpolating methods (kernels.h, InterpOp), over an
// instruction set I. Included by interp_sse2.cpp and interp_avx2.cpp. The rules are
// those of the plain routines in src/demosaic_interp/; each vector of columns is
// computed for both kinds of site and the result of each column's own kind kept.
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
    const V even = Wd::even_elements();
    // pick(for green sites, for own-colour sites), element by element.
    auto pick = [&](V at_green, V at_own) {
        return green_first ? Wd::select(even, at_green, at_own) : Wd::select(even, at_own, at_green);
    };
    const ptrdiff_t w = width;
    const ptrdiff_t columns = 2 * pairs;
    const ptrdiff_t vector_columns = columns - columns % n;  // the columns done here
    // The second pass of the laplacian reads the greens of the first from the output
    // rows above, of and below the row, one column left of, at and right of each
    // column. They are copied out of the pixels once, as plain samples, a stretch of
    // up to kStretch columns at a time: greens[row][k] is the green of column
    // stretch_start - 1 + k of row `row` - 1 (relative to the row).
    constexpr ptrdiff_t kStretch = Op == InterpOp::laplacian_rb ? 256 : 0;
    S greens[3][kStretch + 2];
    ptrdiff_t stretch_start = 0;
    ptrdiff_t j = 0;
    for (; j < vector_columns; j += n) {
        const S *s = source + j;
        S *out = destination + j * C;
        if constexpr (Op == InterpOp::laplacian_rb) {
            if (j % kStretch == 0) {
                stretch_start = j;
                const ptrdiff_t length = vector_columns - j < kStretch ? vector_columns - j : kStretch;
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
            const V ul = I::load(s - w - 1), ur = I::load(s - w + 1), dl = I::load(s + w - 1);
            V own_h[2], green_h[2], third_h[2];
            auto half = [&](int h, auto wide) {
                const V X = wide(x), L = wide(l), R = wide(r), U = wide(u), D_ = wide(d);
                const V UL = wide(ul), UR = wide(ur), DL = wide(dl);
                const V lr = Wd::add(L, R), ud = Wd::add(U, D_);
                const V along_row = Wd::template shr<1>(lr), along_column = Wd::template shr<1>(ud);
                const V four = Wd::template shr<2>(Wd::add(lr, ud));
                V green_own, third_own;
                if constexpr (Op == InterpOp::bilinear) {
                    green_own = four;
                    // The above-right neighbour counts twice; the below-right one is not read.
                    third_own = Wd::template shr<2>(Wd::add(Wd::add(UL, UR), Wd::add(UR, DL)));
                } else {
                    const V DR = wide(I::load(s + w + 1));
                    const V dv = Wd::abs(Wd::sub(wide(I::load(s - 2 * w)), wide(I::load(s + 2 * w))));
                    const V dh = Wd::abs(Wd::sub(wide(I::load(s + 2)), wide(I::load(s - 2))));
                    green_own = Wd::select(Wd::eq(dv, dh), four,
                                           Wd::select(Wd::gt(dh, dv), along_column, along_row));
                    third_own = Wd::template shr<2>(Wd::add(Wd::add(UL, UR), Wd::add(DL, DR)));
                }
                own_h[h] = pick(along_row, X);
                green_h[h] = pick(X, green_own);
                third_h[h] = pick(along_column, third_own);
            };
            half(0, [](V v) { return Wd::lo(v); });
            half(1, [](V v) { return Wd::hi(v); });
            own_plane = Wd::narrow(own_h[0], own_h[1]);
            green_plane = Wd::narrow(green_h[0], green_h[1]);
            third_plane = Wd::narrow(third_h[0], third_h[1]);
        } else if constexpr (Op == InterpOp::laplacian_green) {
            const V uu = I::load(s - 2 * w), dd = I::load(s + 2 * w), ll = I::load(s - 2), rr = I::load(s + 2);
            V green_h[2];
            auto half = [&](int h, auto wide) {
                const V X = wide(x), L = wide(l), R = wide(r), U = wide(u), D_ = wide(d);
                const V x2 = Wd::add(X, X);
                const V hd = Wd::sub(Wd::sub(x2, wide(ll)), wide(rr));
                const V vd = Wd::sub(Wd::sub(x2, wide(uu)), wide(dd));
                const V gh = Wd::add(Wd::abs(Wd::sub(L, R)), Wd::abs(hd));
                const V gv = Wd::add(Wd::abs(Wd::sub(U, D_)), Wd::abs(vd));
                const V lr = Wd::add(L, R), ud = Wd::add(U, D_);
                // Each plain average shifted on its own, each correction divided on its own.
                const V both = Wd::add(Wd::template shr<2>(Wd::add(lr, ud)), Wd::template div<3>(Wd::add(hd, vd)));
                const V vertical = Wd::add(Wd::template shr<1>(ud), Wd::template div<2>(vd));
                const V horizontal = Wd::add(Wd::template shr<1>(lr), Wd::template div<2>(hd));
                const V green = Wd::select(Wd::eq(gh, gv), both, Wd::select(Wd::gt(gh, gv), vertical, horizontal));
                green_h[h] = pick(X, green);
            };
            half(0, [](V v) { return Wd::lo(v); });
            half(1, [](V v) { return Wd::hi(v); });
            // Only the green matters; the other channels are rewritten by the second pass.
            own_plane = third_plane = I::zero();
            green_plane = Wd::narrow(green_h[0], green_h[1]);
        } else {
            // The greens of the first pass, from the output rows above, of and below
            // the row, one column left of, at and right of the columns j .. j + n - 1.
            auto green_vector = [&](int row, int column) {
                return I::load(&greens[row][j - stretch_start + column]);
            };
            const V nw = I::load(s - w - 1), ne = I::load(s - w + 1), sw = I::load(s + w - 1), se = I::load(s + w + 1);
            const V gc = green_vector(1, 1);
            V own_h[2], third_h[2];
            auto half = [&](int h, auto wide) {
                auto green = [&](int row, int column) { return wide(green_vector(row, column)); };
                const V G = wide(gc), g2 = Wd::add(G, G);
                // At green sites: the row colour along the row, the other along the column.
                const V horizontal = Wd::add(Wd::template shr<1>(Wd::add(wide(l), wide(r))),
                                             Wd::template div<2>(Wd::sub(Wd::sub(g2, green(1, 0)), green(1, 2))));
                const V vertical = Wd::add(Wd::template shr<1>(Wd::add(wide(u), wide(d))),
                                           Wd::template div<2>(Wd::sub(Wd::sub(g2, green(0, 1)), green(2, 1))));
                // At own-colour sites: the opposite colour along the flatter diagonal.
                const V NW = wide(nw), NE = wide(ne), SW = wide(sw), SE = wide(se);
                const V d1 = Wd::sub(Wd::sub(g2, green(0, 0)), green(2, 2));
                const V d2 = Wd::sub(Wd::sub(g2, green(0, 2)), green(2, 0));
                const V a = Wd::add(Wd::abs(Wd::sub(NW, SE)), Wd::abs(d1));
                const V b = Wd::add(Wd::abs(Wd::sub(NE, SW)), Wd::abs(d2));
                const V four = Wd::template div<2>(Wd::add(Wd::add(Wd::add(d1, d2), Wd::add(NW, NE)), Wd::add(SW, SE)));
                const V first = Wd::template div<1>(Wd::add(Wd::add(NW, SE), d1));
                const V second = Wd::template div<1>(Wd::add(Wd::add(NE, SW), d2));
                const V opposite = Wd::select(Wd::eq(a, b), four, Wd::select(Wd::gt(b, a), first, second));
                own_h[h] = pick(horizontal, wide(x));
                third_h[h] = pick(vertical, opposite);
            };
            half(0, [](V v) { return Wd::lo(v); });
            half(1, [](V v) { return Wd::hi(v); });
            own_plane = Wd::narrow(own_h[0], own_h[1]);
            green_plane = gc;
            third_plane = Wd::narrow(third_h[0], third_h[1]);
        }
        if constexpr (Row<T>::own == kBlue) O::template put_pixels<C>(out, own_plane, green_plane, third_plane);
        else O::template put_pixels<C>(out, third_plane, green_plane, own_plane);
    }
    return j / 2;
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
