// The edge-directed pixel of the adaptive method, used at the blue and red sites of
// the frame's core (two or more pixels from every edge).
#pragma once

#include "demosaic_interp/bilinear_rules.h"

namespace korvimg {

// adaptive_pixel<D, kBlue> serves blue sites (own sample to channel 0, diagonal mean
// to channel 2), adaptive_pixel<D, kRed> red sites. Green is interpolated along the
// direction in which the site's own colour, two samples away, changes least; equal
// changes take the mean of all four greens. The greens themselves take no part in
// the choice. The third colour is the mean of all four diagonal samples.
template <class D, Colour Own>
inline void adaptive_pixel(const typename D::Sample *&source, int32_t width, typename D::Sample *&destination) {
    const typename D::Sample *s = source;
    const ptrdiff_t w = width;
    const uint32_t up = s[-w], down = s[w], left = s[-1], right = s[1];
    const int32_t dv = static_cast<int32_t>(s[-2 * w]) - static_cast<int32_t>(s[2 * w]);
    const int32_t dh = static_cast<int32_t>(s[2]) - static_cast<int32_t>(s[-2]);
    const uint32_t vertical = static_cast<uint32_t>(dv < 0 ? -dv : dv);
    const uint32_t horizontal = static_cast<uint32_t>(dh < 0 ? -dh : dh);
    uint32_t green;
    if (vertical == horizontal) green = (up + down + left + right) >> 2;
    else if (vertical < horizontal) green = (up + down) >> 1;
    else green = (left + right) >> 1;
    const uint32_t diagonal = (uint32_t{s[-w - 1]} + s[-w + 1] + s[w - 1] + s[w + 1]) >> 2;
    put_by_colour<D, Own, other_colour(Own)>(destination, s[0], green, diagonal);
    step<D>(source, destination);
}

}  // namespace korvimg
