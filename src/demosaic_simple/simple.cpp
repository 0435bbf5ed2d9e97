// simple: all four pixels of a tile get the tile's colour (tile_colour.h).
#include "demosaic_simple/tile_colour.h"

namespace korvimg {
namespace {

template <class D, Pattern P>
bool simple(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination) {
    return tile_walk<TileColour<false>, D, P>(source, width, height, destination);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(simple, ::korvimg::simple)
