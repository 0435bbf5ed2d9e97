// The walk shared by the methods that look no further than one 2x2 tile (bayer,
// nearest, simple, preview): the size checks, and a loop over rows of tiles that
// hands each row of tiles to the method.
#pragma once

#include "frame/traits.h"
#include "simd/kernels.h"

namespace korvimg {

// The four samples of one tile, in raster order, with the pattern's names for them.
template <class S, Pattern P> struct Tile {
    S s[4];
    Tile(const S *top, const S *bottom) : s{top[0], top[1], bottom[0], bottom[1]} {}
    uint32_t blue() const { return s[Mosaic<P>::blue]; }
    uint32_t red() const { return s[Mosaic<P>::red]; }
    uint32_t green_top() const { return s[Mosaic<P>::green_top]; }
    uint32_t green_bottom() const { return s[Mosaic<P>::green_bottom]; }
};

// Method is a class with
//   static constexpr TileOp op;       which method it is, to find its fast row kernel
//   static constexpr bool half_size;  true: one output pixel per tile (preview)
//   template <class D, Pattern P> static void tiles(const S *top, const S *bottom,
//       int32_t count, S *out_top, S *out_bottom);
// which converts `count` tiles from two source rows into two output rows (or, for a
// half-size method, one output row given as out_top).
//
// Odd width or height (lowest bit, so negative even sizes count as even): false,
// nothing written. Half width or half height below 1: true, nothing written.
// With a fast row kernel for `isa`, the kernel does the first part of each row of
// tiles and Method::tiles the rest.
template <class Method, class D, Pattern P>
bool tile_walk(const typename D::Sample *source, int32_t width, int32_t height,
               typename D::Sample *destination, Isa isa) {
    if ((width & 1) != 0 || (height & 1) != 0) return false;
    const int32_t tile_rows = height / 2;
    const int32_t tile_columns = width / 2;
    if (tile_rows < 1 || tile_columns < 1) return true;
    const size_t w = static_cast<size_t>(width);
    const size_t out_pitch = (Method::half_size ? w / 2 : w) * D::channels;
    const auto kernel = tile_row_kernel<Method::op, D, P>(isa);
    for (int32_t t = 0; t < tile_rows; ++t) {
        const auto *top = source + 2 * w * static_cast<size_t>(t);
        auto *out = destination + out_pitch * (Method::half_size ? 1 : 2) * static_cast<size_t>(t);
        const int32_t done = kernel ? kernel(top, top + w, tile_columns, out, out + out_pitch) : 0;
        const size_t x = 2 * static_cast<size_t>(done);
        const size_t ox = (Method::half_size ? x / 2 : x) * D::channels;
        Method::template tiles<D, P>(top + x, top + w + x, tile_columns - done, out + ox, out + out_pitch + ox);
    }
    return true;
}

}  // namespace korvimg
