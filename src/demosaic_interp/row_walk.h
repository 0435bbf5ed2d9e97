// What the interpolating methods (bilinear, adaptive, laplacian) share below the
// level of a whole row: the size check, the column positions a pixel rule depends
// on, the walk of one row from left to right, and the clamp of corrected values.
//
// Every per-pixel and per-row routine here follows one cursor convention: it takes
// the source and destination positions by reference and advances them past what it
// wrote, so that the caller's loop resumes where the routine stopped.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/traits.h"

namespace korvimg {

// Where in its row a pixel lies: the first column and the last column lack a
// neighbour on one side; every other column has both.
enum class Col { first, inner, last };

// The frame sizes every interpolating method refuses: odd width, odd height, width
// below 4, height below 4 (signed, tested in that order).
inline bool interp_size_ok(int32_t width, int32_t height) {
    return (width & 1) == 0 && (height & 1) == 0 && width >= 4 && height >= 4;
}

// Blue for red, red for blue.
constexpr Colour other_colour(Colour c) { return c == kBlue ? kRed : kBlue; }

// At a green site, the row's own colour from along the row: the one neighbour that
// exists at an end column, the floor of the mean of both elsewhere.
template <Col C, class S>
inline uint32_t along_row(const S *s) {
    if constexpr (C == Col::first) return s[1];
    else if constexpr (C == Col::last) return s[-1];
    else return (uint32_t{s[-1]} + s[1]) >> 1;
}

// One step of the cursors past one pixel.
template <class D>
inline void step(const typename D::Sample *&source, typename D::Sample *&destination) {
    ++source;
    destination += D::channels;
}

// A corrected value brought into the channel's range.
template <class D>
inline uint32_t clamp_to(int32_t v) {
    return v < 0 ? 0u : static_cast<uint32_t>(v) > D::maxv ? D::maxv : static_cast<uint32_t>(v);
}

// Walks one row whose pixels follow one set of rules:
//   Rules::template pixel<D, T, Green, C>(source, stride, destination)
// computes one pixel (Green: a green site, else a site of the row's own colour) at
// column position C, with `stride` the signed distance to the neighbouring row(s),
// and advances both cursors by one pixel.
// The row is column 0, then `pairs` pairs of columns (1, 2), (3, 4), ..., then the
// last column. Which column holds green follows from the row type alone.
// walk_row_rest is the same walk from column 1 on.
template <class Rules, class D, RowType T>
inline void walk_row_rest(const typename D::Sample *&source, ptrdiff_t stride, typename D::Sample *&destination,
                          ptrdiff_t pairs) {
    constexpr bool own_first = Row<T>::own_first;
    for (ptrdiff_t i = 0; i < pairs; ++i) {
        Rules::template pixel<D, T, own_first, Col::inner>(source, stride, destination);
        Rules::template pixel<D, T, !own_first, Col::inner>(source, stride, destination);
    }
    Rules::template pixel<D, T, own_first, Col::last>(source, stride, destination);
}

template <class Rules, class D, RowType T>
inline void walk_row(const typename D::Sample *&source, ptrdiff_t stride, typename D::Sample *&destination,
                     ptrdiff_t pairs) {
    Rules::template pixel<D, T, !Row<T>::own_first, Col::first>(source, stride, destination);
    walk_row_rest<Rules, D, T>(source, stride, destination, pairs);
}

}  // namespace korvimg
