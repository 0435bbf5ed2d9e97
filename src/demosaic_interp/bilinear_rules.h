// The bilinear rules of an inner row (any row but the first and the last), shared by
// the bilinear method, by the adaptive method outside its edge-directed core and by
// the laplacian method on its two-pixel edge ring.
#pragma once

#include "demosaic_interp/border_row.h"

namespace korvimg {

struct BilinearRules {
    // X is the pixel's own sample; L, Rt its left and right neighbours; U, D the
    // samples above and below; UL, UR, DL, DR the diagonal ones. `width` is the
    // distance between rows.
    template <class D, RowType T, bool Green, Col C>
    static void pixel(const typename D::Sample *&source, ptrdiff_t width, typename D::Sample *&destination) {
        const typename D::Sample *s = source;
        const ptrdiff_t w = width;
        const uint32_t x = s[0], up = s[-w], down = s[w];
        if constexpr (Green) {
            // The row's own colour from along the row, the third colour from the column.
            put_by_colour<D, Row<T>::own, Row<T>::third>(destination, along_row<C>(s), x, (up + down) >> 1);
        } else {
            uint32_t green, third;
            if constexpr (C == Col::first) {
                green = (up + down + s[1]) / 3u;
                third = (uint32_t{s[1 - w]} + s[1 + w]) >> 1;
            } else if constexpr (C == Col::last) {
                green = (up + down + s[-1]) / 3u;
                third = (uint32_t{s[-1 - w]} + s[-1 + w]) >> 1;
            } else {
                green = (up + down + s[-1] + s[1]) >> 2;
                // The above-right neighbour counts twice; the below-right one is not read.
                third = (uint32_t{s[-1 - w]} + 2u * s[1 - w] + s[-1 + w]) >> 2;
            }
            put_by_colour<D, Row<T>::own, Row<T>::third>(destination, x, green, third);
        }
        step<D>(source, destination);
    }
};

// One whole inner row of width `width` by the bilinear rules (the middle of the row
// by the fast kernel of `isa`, where there is one).
template <class D, RowType T>
inline void bilinear_row(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination,
                         Isa isa) {
    walk_row<BilinearRules, D, T>(source, width, destination, (width - 2) / 2,
                                  interp_kernel<InterpOp::bilinear, D, T>(isa));
}

// Column 0 of row 1 in adaptive64grbg and laplacian64grbg: a blue site of a
// blue-green row, by the bilinear first-column rule (blue = X, green = (U + D + Rt) / 3,
// red = (UR + DR) >> 1).
void left_blue_pixel64(const uint16_t *&source, int32_t width, uint16_t *&destination);

// Row 1 of the adaptive and laplacian methods: a bilinear row, whose first pixel
// adaptive64grbg and laplacian64grbg compute through left_blue_pixel64.
template <class D, Pattern P>
inline void second_row(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination,
                       Isa isa) {
    constexpr RowType T = Mosaic<P>::odd_row;
    if constexpr (D::bits == 64 && P == Pattern::grbg) {
        static_assert(T == RowType::bg, "row 1 of grbg starts with blue");
        left_blue_pixel64(source, width, destination);
        walk_row_rest<BilinearRules, D, T>(source, width, destination, (width - 2) / 2,
                                           interp_kernel<InterpOp::bilinear, D, T>(isa));
    } else {
        bilinear_row<D, T>(source, width, destination, isa);
    }
}

// Columns 2 to width - 3 of a row as (width - 4) / 2 pairs of pixels by Core:
//   Core::template own<D, T>(source, width, destination)    a site of the row's colour
//   Core::template green<D, T>(source, width, destination)  a green site
// each advancing both cursors by one pixel. The cursors start at column 2. The fast
// kernel Core::kernel<D, T>(isa), where there is one, does the first part of the
// pairs.
template <class Core, class D, RowType T>
inline void core_pairs(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination,
                       Isa isa) {
    const ptrdiff_t pairs = (width - 4) / 2;
    ptrdiff_t i = 0;
    if (const auto kernel = Core::template kernel<D, T>(isa)) {
        i = kernel(source, width, destination, pairs);
        source += 2 * i;
        destination += 2 * i * D::channels;
    }
    for (; i < pairs; ++i) {
        if constexpr (Row<T>::own_first) {
            Core::template own<D, T>(source, width, destination);
            Core::template green<D, T>(source, width, destination);
        } else {
            Core::template green<D, T>(source, width, destination);
            Core::template own<D, T>(source, width, destination);
        }
    }
}

// A row of the inner band (rows 2 to height - 3) of the adaptive and laplacian
// methods: columns 0, 1, width - 2 and width - 1 by the bilinear rules, the columns
// between them by Core (core_pairs).
template <class Core, class D, RowType T>
inline void core_row(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination, Isa isa) {
    constexpr bool own_first = Row<T>::own_first;
    using B = BilinearRules;
    B::pixel<D, T, !own_first, Col::first>(source, width, destination);
    B::pixel<D, T, own_first, Col::inner>(source, width, destination);
    core_pairs<Core, D, T>(source, width, destination, isa);
    B::pixel<D, T, !own_first, Col::inner>(source, width, destination);
    B::pixel<D, T, own_first, Col::last>(source, width, destination);
}

// What core_frame calls after the rows it has finished, when nothing has to follow
// the walk.
struct NothingBehind {
    void operator()(int32_t /*rows_done*/) const {}
};

// The frame walk of the adaptive method and of the laplacian method's first pass:
// row 0 by its border filler, row 1 by the bilinear rules, rows 2 to height - 3 as
// (height - 4) / 2 pairs of core rows (even row first), row height - 2 by the bilinear
// rules, row height - 1 by its border filler. The sizes have been checked.
// After each pair of core rows and after row height - 2, behind(rows_done) is called
// with the number of rows from the top that are complete, so that a later pass can
// follow the walk while those rows are still in cache.
template <class Core, class D, Pattern P, class Behind = NothingBehind>
inline void core_frame(const typename D::Sample *source, int32_t width, int32_t height,
                       typename D::Sample *destination, Isa isa, Behind &&behind = Behind{}) {
    constexpr RowType even = Mosaic<P>::even_row, odd = Mosaic<P>::odd_row;
    border_row<D, even>(source, width, destination);
    second_row<D, P>(source, width, destination, isa);
    for (int32_t i = 0; i < (height - 4) / 2; ++i) {
        core_row<Core, D, even>(source, width, destination, isa);
        core_row<Core, D, odd>(source, width, destination, isa);
        behind(2 * i + 4);
    }
    bilinear_row<D, even>(source, width, destination, isa);
    behind(height - 1);
    border_row<D, odd>(source, -width, destination);
}

}  // namespace korvimg
