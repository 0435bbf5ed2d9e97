// The per-pixel estimators of the laplacian method. Each takes the source cursor
// (at the pixel's sample), the row width in samples and the destination cursor (at
// the pixel's output), writes that pixel and advances both cursors by one pixel.
#pragma once

#include "demosaic_interp/bilinear_rules.h"

namespace korvimg {

inline int32_t absolute(int32_t v) { return v < 0 ? -v : v; }

// Pass 1, at a red or blue site: green from raw samples only, along the direction of
// the smaller gradient, corrected by a quarter of the second difference of the
// site's own colour along it; equal gradients take the four-way form. The plain
// average is shifted on its own and the correction divided (toward zero) on its own.
// Writes channel 1 only.
template <class D>
inline void laplacian_green(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    const typename D::Sample *s = source;
    const ptrdiff_t w = width;
    const int32_t x = s[0], n = s[-w], so = s[w], we = s[-1], e = s[1];
    const int32_t hd = 2 * x - s[-2] - s[2];
    const int32_t vd = 2 * x - s[-2 * w] - s[2 * w];
    const int32_t h = absolute(we - e) + absolute(hd);
    const int32_t v = absolute(n - so) + absolute(vd);
    int32_t green;
    if (h == v) green = ((n + so + we + e) >> 2) + (hd + vd) / 8;
    else if (h > v) green = ((n + so) >> 1) + vd / 4;
    else green = ((we + e) >> 1) + hd / 4;
    destination[kGreen] = static_cast<typename D::Sample>(clamp_to<D>(green));
    step<D>(source, destination);
}

// The neighbourhood pass 2 reads: raw samples around the source cursor and the
// greens pass 1 left in the output around the destination cursor.
template <class D>
struct GreenPlaneAround {
    const typename D::Sample *s, *px;
    ptrdiff_t w;
    int32_t raw(ptrdiff_t dx, ptrdiff_t dy) const { return s[dy * w + dx]; }
    int32_t green(ptrdiff_t dx, ptrdiff_t dy) const { return px[(dy * w + dx) * D::channels + kGreen]; }
    // Second difference of the green plane through the centre along (dx, dy).
    int32_t curvature(ptrdiff_t dx, ptrdiff_t dy) const { return 2 * green(0, 0) - green(-dx, -dy) - green(dx, dy); }
};

// Pass 2, at a green site of a row holding RowColour: the row colour from left and
// right, the other colour from up and down, each plain mean corrected by a quarter
// (toward zero) of the green plane's second difference in its direction.
template <class D, Colour RowColour>
inline void laplacian_green_site(const typename D::Sample *&source, int32_t width,
                                 typename D::Sample *&destination) {
    const GreenPlaneAround<D> a{source, destination, width};
    const int32_t horizontal = ((a.raw(-1, 0) + a.raw(1, 0)) >> 1) + a.curvature(1, 0) / 4;
    const int32_t vertical = ((a.raw(0, -1) + a.raw(0, 1)) >> 1) + a.curvature(0, 1) / 4;
    put_by_colour<D, RowColour, other_colour(RowColour)>(destination, clamp_to<D>(horizontal),
                                                         static_cast<uint32_t>(a.green(0, 0)), clamp_to<D>(vertical));
    step<D>(source, destination);
}

// Pass 2, at a red or blue site: the opposite colour along the diagonal of the
// smaller gradient, corrected by the green plane's second difference along it; the
// whole sum is divided once, toward zero. Equal gradients take the four-way form.
template <class D, Colour Own>
inline void laplacian_colour_site(const typename D::Sample *&source, int32_t width,
                                  typename D::Sample *&destination) {
    const GreenPlaneAround<D> a{source, destination, width};
    const int32_t nw = a.raw(-1, -1), ne = a.raw(1, -1), sw = a.raw(-1, 1), se = a.raw(1, 1);
    const int32_t d1 = a.curvature(1, 1);   // along NW-SE
    const int32_t d2 = a.curvature(1, -1);  // along NE-SW
    const int32_t da = absolute(nw - se) + absolute(d1);
    const int32_t db = absolute(ne - sw) + absolute(d2);
    int32_t value;
    if (da == db) value = (d1 + d2 + nw + ne + sw + se) / 4;
    else if (da < db) value = (nw + se + d1) / 2;
    else value = (ne + sw + d2) / 2;
    put_by_colour<D, Own, other_colour(Own)>(destination, a.raw(0, 0), static_cast<uint32_t>(a.green(0, 0)),
                                             clamp_to<D>(value));
    step<D>(source, destination);
}

// The estimators by site: a blue site, a red site, a green site between blue
// samples, a green site between red samples.
template <class D> inline constexpr auto laplacian_blue_site = &laplacian_colour_site<D, kBlue>;
template <class D> inline constexpr auto laplacian_red_site = &laplacian_colour_site<D, kRed>;
template <class D> inline constexpr auto laplacian_gb_site = &laplacian_green_site<D, kBlue>;
template <class D> inline constexpr auto laplacian_gr_site = &laplacian_green_site<D, kRed>;

}  // namespace korvimg
