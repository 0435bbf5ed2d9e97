// The colour of a whole tile, shared by simple and preview: its blue sample, the
// floor of the mean of its two greens, its red sample — written to all four pixels
// of the tile (simple) or to the tile's single pixel of a half-size picture (preview).
#pragma once

#include "demosaic_simple/tile_walk.h"

namespace korvimg {

template <bool HalfSize>
struct TileColour {
    static constexpr TileOp op = HalfSize ? TileOp::preview : TileOp::simple;
    static constexpr bool half_size = HalfSize;

    template <class D, Pattern P>
    static void tiles(const typename D::Sample *top, const typename D::Sample *bottom, int32_t count,
                      typename D::Sample *out_top, typename D::Sample *out_bottom) {
        constexpr int C = D::channels;
        for (int32_t u = 0; u < count; ++u) {
            const size_t x = 2 * static_cast<size_t>(u);
            const Tile<typename D::Sample, P> t(top + x, bottom + x);
            // The sum of two samples cannot overflow 32 bits; the halving truncates.
            const uint32_t green = (t.green_top() + t.green_bottom()) >> 1;
            if constexpr (HalfSize) {
                put_pixel<D>(out_top + static_cast<size_t>(u) * C, t.blue(), green, t.red());
            } else {
                put_pixel<D>(out_top + x * C, t.blue(), green, t.red());
                put_pixel<D>(out_top + (x + 1) * C, t.blue(), green, t.red());
                put_pixel<D>(out_bottom + x * C, t.blue(), green, t.red());
                put_pixel<D>(out_bottom + (x + 1) * C, t.blue(), green, t.red());
            }
        }
    }
};

}  // namespace korvimg
