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

// The green of output pixel `px` moved by (dx, dy) pixels, as pass 1 left it.
template <class D>
inline int32_t green_at(const typename D::Sample *px, int32_t width, ptrdiff_t dx, ptrdiff_t dy) {
    return px[(dy * width + dx) * D::channels + kGreen];
}

// Pass 2, at a green site of a row holding RowColour: the row colour from left and
// right, the other colour from up and down, each corrected by a quarter of the
// green plane's second difference in its direction.
template <class D, Colour RowColour>
inline void laplacian_green_site(const typename D::Sample *&source, int32_t width,
                                 typename D::Sample *&destination) {
    constexpr Colour column_colour = RowColour == kBlue ? kRed : kBlue;
    const typename D::Sample *s = source;
    const typename D::Sample *px = destination;
    const ptrdiff_t w = width;
    const int32_t g = green_at<D>(px, width, 0, 0);
    const int32_t horizontal =
        ((s[-1] + s[1]) >> 1) + (2 * g - green_at<D>(px, width, -1, 0) - green_at<D>(px, width, 1, 0)) / 4;
    const int32_t vertical =
        ((s[-w] + s[w]) >> 1) + (2 * g - green_at<D>(px, width, 0, -1) - green_at<D>(px, width, 0, 1)) / 4;
    put_by_colour<D, RowColour, column_colour>(destination, clamp_to<D>(horizontal), static_cast<uint32_t>(g),
                                               clamp_to<D>(vertical));
    step<D>(source, destination);
}

// Pass 2, at a red or blue site: the opposite colour along the diagonal of the
// smaller gradient, corrected by the green plane's second difference along it; the
// whole sum is divided once, toward zero. Equal gradients take the four-way form.
template <class D, Colour Own>
inline void laplacian_colour_site(const typename D::Sample *&source, int32_t width,
                                  typename D::Sample *&destination) {
    constexpr Colour opposite = Own == kBlue ? kRed : kBlue;
    const typename D::Sample *s = source;
    const typename D::Sample *px = destination;
    const ptrdiff_t w = width;
    const int32_t g = green_at<D>(px, width, 0, 0);
    const int32_t nw = s[-w - 1], ne = s[-w + 1], sw = s[w - 1], se = s[w + 1];
    const int32_t d1 = 2 * g - green_at<D>(px, width, -1, -1) - green_at<D>(px, width, 1, 1);
    const int32_t d2 = 2 * g - green_at<D>(px, width, 1, -1) - green_at<D>(px, width, -1, 1);
    const int32_t a = absolute(nw - se) + absolute(d1);
    const int32_t b = absolute(ne - sw) + absolute(d2);
    int32_t value;
    if (a == b) value = (d1 + d2 + nw + ne + sw + se) / 4;
    else if (a < b) value = (nw + se + d1) / 2;
    else value = (ne + sw + d2) / 2;
    put_by_colour<D, Own, opposite>(destination, s[0], static_cast<uint32_t>(g), clamp_to<D>(value));
    step<D>(source, destination);
}

template <class D>
inline void laplacian_blue_site(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    laplacian_colour_site<D, kBlue>(source, width, destination);
}
template <class D>
inline void laplacian_red_site(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    laplacian_colour_site<D, kRed>(source, width, destination);
}
template <class D>
inline void laplacian_gb_site(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    laplacian_green_site<D, kBlue>(source, width, destination);
}
template <class D>
inline void laplacian_gr_site(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    laplacian_green_site<D, kRed>(source, width, destination);
}

}  // namespace korvimg
