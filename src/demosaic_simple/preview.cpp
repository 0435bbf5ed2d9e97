// preview: a half-size picture, one pixel per tile in the tile's colour
// (tile_spread.h); the output pitch is width / 2 pixels.
#include "demosaic_simple/tile_spread.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

template <class D, Pattern P>
bool preview(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
             Isa isa = best_isa()) {
    return tile_walk<TileSpread<TileOp::preview>, D, P>(source, width, height, destination, isa);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(preview, ::korvimg::preview)
KORVIMG_ISA_ENTRY(preview_isa, ::korvimg::preview)
