// nearest: every pixel of a tile takes the tile's red and blue samples and the green
// of its own tile row (tile_spread.h).
#include "demosaic_simple/tile_spread.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

template <class D, Pattern P>
bool nearest(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
             Isa isa = best_isa()) {
    return tile_walk<TileSpread<TileOp::nearest>, D, P>(source, width, height, destination, isa);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(nearest, ::korvimg::nearest)
KORVIMG_ISA_ENTRY(nearest_isa, ::korvimg::nearest)
