// simple: all four pixels of a tile get the tile's colour (tile_spread.h).
#include "demosaic_simple/tile_spread.h"
#include "frame/isa_entry.h"

namespace korvimg {
namespace {

template <class D, Pattern P>
bool simple(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination,
            Isa isa = best_isa()) {
    return tile_walk<TileSpread<TileOp::simple>, D, P>(source, width, height, destination, isa);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(simple, ::korvimg::simple)
KORVIMG_ISA_ENTRY(simple_isa, ::korvimg::simple)
