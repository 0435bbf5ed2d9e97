// nearest: every pixel of a tile takes the tile's red and blue samples and the green
// of its own tile row. No neighbouring tile is read.
#include "demosaic_simple/tile_walk.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

struct NearestTiles {
    static constexpr TileOp op = TileOp::nearest;
    static constexpr bool half_size = false;

    template <class D, Pattern P>
    static void tiles(const typename D::Sample *top, const typename D::Sample *bottom, int32_t count,
                      typename D::Sample *out_top, typename D::Sample *out_bottom) {
        constexpr int C = D::channels;
        for (int32_t u = 0; u < count; ++u) {
            const size_t x = 2 * static_cast<size_t>(u);
            const Tile<typename D::Sample, P> t(top + x, bottom + x);
            put_pixel<D>(out_top + x * C, t.blue(), t.green_top(), t.red());
            put_pixel<D>(out_top + (x + 1) * C, t.blue(), t.green_top(), t.red());
            put_pixel<D>(out_bottom + x * C, t.blue(), t.green_bottom(), t.red());
            put_pixel<D>(out_bottom + (x + 1) * C, t.blue(), t.green_bottom(), t.red());
        }
    }
};

template <class D, Pattern P>
bool nearest(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
             Isa isa = best_isa()) {
    return tile_walk<NearestTiles, D, P>(source, width, height, destination, isa);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(nearest, ::korvimg::nearest)
KORVIMG_ISA_ENTRY(nearest_isa, ::korvimg::nearest)
