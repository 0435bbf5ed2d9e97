// The row kernels of mono and of the tile methods (bayer, nearest, simple, preview),
// over an instruction set I. Included by tile_sse2.cpp and tile_avx2.cpp, which
// instantiate them; see the plain routines in src/demosaic_simple/ for the rules.
#pragma once

#include "simd/kernels.h"
#include "simd/pixels.h"

namespace korvimg {
namespace simd {

template <class I, TileOp Op, class D, Pattern P>
int32_t tile_row(const typename D::Sample *top, const typename D::Sample *bottom, int32_t tiles,
                 typename D::Sample *out_top, typename D::Sample *out_bottom) {
    using S = typename D::Sample;
    using O = Ops<I, S>;
    using V = typename I::V;
    using M = Mosaic<P>;
    constexpr int C = D::channels;
    constexpr int n = O::lanes;
    int32_t u = 0;
    if constexpr (Op == TileOp::preview) {
        // n tiles (two vectors of each row) give n pixels.
        for (; u + n <= tiles; u += n) {
            const size_t x = 2 * static_cast<size_t>(u);
            const V t0 = I::load(top + x), t1 = I::load(top + x + n);
            const V b0 = I::load(bottom + x), b1 = I::load(bottom + x + n);
            auto pick = [&](int k) {
                const V a = k >= 2 ? b0 : t0, b = k >= 2 ? b1 : t1;
                return (k & 1) ? O::pack_odd(a, b) : O::pack_even(a, b);
            };
            const V green = O::mean_down(pick(M::green_top), pick(M::green_bottom));
            O::template put_pixels<C>(out_top + static_cast<size_t>(u) * C, pick(M::blue), green, pick(M::red));
        }
    } else {
        // n / 2 tiles (one vector of each row) give n pixels in each output row.
        for (; u + n / 2 <= tiles; u += n / 2) {
            const size_t x = 2 * static_cast<size_t>(u);
            const V t = I::load(top + x), b = I::load(bottom + x);
            S *ot = out_top + x * C;
            S *ob = out_bottom + x * C;
            if constexpr (Op == TileOp::bayer) {
                // Each photosite's sample in the channel of its colour, 0 elsewhere.
                constexpr Colour c00 = M::at(0, 0), c01 = M::at(0, 1), c10 = M::at(1, 0), c11 = M::at(1, 1);
                auto row_plane = [](V row, Colour even, Colour odd, Colour c) {
                    return even == c ? O::keep_even(row) : odd == c ? O::keep_odd(row) : I::zero();
                };
                O::template put_pixels<C>(ot, row_plane(t, c00, c01, kBlue), row_plane(t, c00, c01, kGreen),
                                          row_plane(t, c00, c01, kRed));
                O::template put_pixels<C>(ob, row_plane(b, c10, c11, kBlue), row_plane(b, c10, c11, kGreen),
                                          row_plane(b, c10, c11, kRed));
            } else {
                const V blue = O::template tile_sample<M::blue>(t, b);
                const V red = O::template tile_sample<M::red>(t, b);
                const V gt = O::template tile_sample<M::green_top>(t, b);
                const V gb = O::template tile_sample<M::green_bottom>(t, b);
                if constexpr (Op == TileOp::nearest) {
                    O::template put_pixels<C>(ot, blue, gt, red);
                    O::template put_pixels<C>(ob, blue, gb, red);
                } else {
                    const V green = O::mean_down(gt, gb);
                    O::template put_pixels<C>(ot, blue, green, red);
                    O::template put_pixels<C>(ob, blue, green, red);
                }
            }
        }
    }
    return u;
}

template <class I, class D>
int32_t mono_run(const typename D::Sample *source, int32_t n, typename D::Sample *destination) {
    using O = Ops<I, typename D::Sample>;
    int32_t k = 0;
    for (; k + O::lanes <= n; k += O::lanes) {
        const typename I::V s = I::load(source + k);
        O::template put_pixels<D::channels>(destination + static_cast<size_t>(k) * D::channels, s, s, s);
    }
    return k;
}

// Explicit instantiations of every kernel for the instruction set I.
#define KORVIMG_TILE_KERNELS_DP(I, bits, pat)                                                       \
    template int32_t tile_row<I, TileOp::bayer, Depth<bits>, Pattern::pat>(                          \
        const Depth<bits>::Sample *, const Depth<bits>::Sample *, int32_t, Depth<bits>::Sample *,    \
        Depth<bits>::Sample *);                                                                      \
    template int32_t tile_row<I, TileOp::nearest, Depth<bits>, Pattern::pat>(                        \
        const Depth<bits>::Sample *, const Depth<bits>::Sample *, int32_t, Depth<bits>::Sample *,    \
        Depth<bits>::Sample *);                                                                      \
    template int32_t tile_row<I, TileOp::simple, Depth<bits>, Pattern::pat>(                         \
        const Depth<bits>::Sample *, const Depth<bits>::Sample *, int32_t, Depth<bits>::Sample *,    \
        Depth<bits>::Sample *);                                                                      \
    template int32_t tile_row<I, TileOp::preview, Depth<bits>, Pattern::pat>(                        \
        const Depth<bits>::Sample *, const Depth<bits>::Sample *, int32_t, Depth<bits>::Sample *,    \
        Depth<bits>::Sample *);
#define KORVIMG_TILE_KERNELS_D(I, bits)                                                             \
    KORVIMG_TILE_KERNELS_DP(I, bits, bggr)                                                          \
    KORVIMG_TILE_KERNELS_DP(I, bits, gbrg)                                                          \
    KORVIMG_TILE_KERNELS_DP(I, bits, grbg)                                                          \
    KORVIMG_TILE_KERNELS_DP(I, bits, rggb)                                                          \
    template int32_t mono_run<I, Depth<bits>>(const Depth<bits>::Sample *, int32_t, Depth<bits>::Sample *);
#define KORVIMG_TILE_KERNELS(I)    \
    KORVIMG_TILE_KERNELS_D(I, 24)  \
    KORVIMG_TILE_KERNELS_D(I, 32)  \
    KORVIMG_TILE_KERNELS_D(I, 48)  \
    KORVIMG_TILE_KERNELS_D(I, 64)

}  // namespace simd
}  // namespace korvimg
