// preview: a half-size picture, one pixel per tile in the tile's colour
// (tile_colour.h); the output pitch is width / 2 pixels.
#include "demosaic_simple/tile_colour.h"

namespace korvimg {
namespace {

template <class D, Pattern P>
bool preview(const typename D::Sample *source, int32_t width, int32_t height, typename D::Sample *destination) {
    return tile_walk<TileColour<true>, D, P>(source, width, height, destination);
}

}  // namespace
}  // namespace korvimg

KORVIMG_DEMOSAIC_FAMILY(preview, ::korvimg::preview)
