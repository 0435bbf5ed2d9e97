// The tile methods that give every pixel of a tile the tile's own blue and red
// samples, shared by nearest, simple and preview. They differ only in green:
//   nearest   each pixel row of the tile keeps the green of its own tile row;
//   simple    all four pixels take the floor of the mean of the tile's two greens;
//   preview   simple's colour, written to the tile's single pixel of a half-size
//             picture.
// No neighbouring tile is read.
#pragma once

#include "demosaic_simple/tile_walk.h"

namespace korvimg {

template <TileOp Op>
struct TileSpread {
    static_assert(Op == TileOp::nearest || Op == TileOp::simple || Op == TileOp::preview,
                  "bayer keeps each sample in its own channel");
    static constexpr TileOp op = Op;
    static constexpr bool half_size = Op == TileOp::preview;

    template <class D, Pattern P>
    static void tiles(const typename D::Sample *top, const typename D::Sample *bottom, int32_t count,
                      typename D::Sample *out_top, typename D::Sample *out_bottom) {
        constexpr int C = D::channels;
        for (int32_t u = 0; u < count; ++u) {
            const size_t x = 2 * static_cast<size_t>(u);
            const Tile<typename D::Sample, P> t(top + x, bottom + x);
            uint32_t green_top = t.green_top(), green_bottom = t.green_bottom();
            if constexpr (Op != TileOp::nearest) {
                // The sum of two samples cannot overflow 32 bits; the halving truncates.
                green_top = green_bottom = (green_top + green_bottom) >> 1;
            }
            if constexpr (half_size) {
                put_pixel<D>(out_top + static_cast<size_t>(u) * C, t.blue(), green_top, t.red());
            } else {
                put_pixel<D>(out_top + x * C, t.blue(), green_top, t.red());
                put_pixel<D>(out_top + (x + 1) * C, t.blue(), green_top, t.red());
                put_pixel<D>(out_bottom + x * C, t.blue(), green_bottom, t.red());
                put_pixel<D>(out_bottom + (x + 1) * C, t.blue(), green_bottom, t.red());
            }
        }
    }
};

}  // namespace korvimg
