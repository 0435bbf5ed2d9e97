// The first and last rows of a frame, shared by bilinear, adaptive and laplacian so
// that all three give the same border rows. A border row is interpolated from itself
// and its single neighbouring row (the row below for the first row, the row above for
// the last row).
//
// border_row<D, T>(source, offset, destination): source points at the row's first
// sample, destination at its first output pixel; offset is the signed distance in
// samples to the same column of the neighbouring row (+width for the first row,
// -width for the last). The row width is |offset|. Both cursors are advanced past the
// row. One member per output depth and row type: border_row<Depth<24>, RowType::bg>
// is the 24-bit filler of a blue-green row, and so on (16 in all).
#pragma once

#include "demosaic_interp/row_walk.h"

namespace korvimg {

struct BorderRules {
    // X is the row's own sample at the column; L and Rt its left and right
    // neighbours in the row; O, O- and O+ the neighbouring row's samples at the
    // column, one to the left and one to the right.
    template <class D, RowType T, bool Green, Col C>
    static void pixel(const typename D::Sample *&source, ptrdiff_t offset, typename D::Sample *&destination) {
        const typename D::Sample *s = source;
        const uint32_t x = s[0], o = s[offset];
        if constexpr (Green) {
            // The row's own colour from along the row; the third colour straight across.
            put_by_colour<D, Row<T>::own, Row<T>::third>(destination, along_row<C>(s), x, o);
        } else {
            // Green from the two or three green neighbours that exist on a border row;
            // the third colour from the one or two diagonal neighbours.
            uint32_t green, third;
            if constexpr (C == Col::first) {
                green = (o + s[1]) >> 1;
                third = s[offset + 1];
            } else if constexpr (C == Col::last) {
                green = (o + s[-1]) >> 1;
                third = s[offset - 1];
            } else {
                green = (o + s[-1] + s[1]) / 3u;
                third = (uint32_t{s[offset - 1]} + s[offset + 1]) >> 1;
            }
            put_by_colour<D, Row<T>::own, Row<T>::third>(destination, x, green, third);
        }
        step<D>(source, destination);
    }
};

template <class D, RowType T>
void border_row(const typename D::Sample *&source, int32_t offset, typename D::Sample *&destination) {
    const uint32_t width = offset < 0 ? 0u - static_cast<uint32_t>(offset) : static_cast<uint32_t>(offset);
    // Column 0, the pairs (1, 2), (3, 4), ..., the last column: width pixels.
    const ptrdiff_t pairs = width > 2 ? static_cast<ptrdiff_t>(((width - 3) >> 1) + 1) : 0;
    walk_row<BorderRules, D, T>(source, offset, destination, pairs);
}

}  // namespace korvimg
