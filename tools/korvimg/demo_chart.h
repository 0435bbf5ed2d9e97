// The demo's test chart and the measurements made against it.
#pragma once

#include "image.h"

namespace kvcli {

constexpr int kChartWidth = 384;
constexpr int kChartHeight = 256;

// The chart as an 8-bit, 3-channel image in the library's layout (B, G, R): colour
// patches top left, a Siemens star top right, a zone plate bottom left, fine lines
// and straight, slanted and colour edges bottom right. Anti-aliased by 4 x 4
// supersampling. Width and height must be multiples of 4 (the regions are quarters).
ColourImage render_chart(int32_t width, int32_t height);
// The chart reduced 2 x 2 (rounded box mean), the reference for the preview method.
ColourImage reduce_chart(const ColourImage &chart);
// The raw frame a sensor with the given pattern code would deliver for the chart.
RawFrame mosaic_of(const ColourImage &chart, int pattern);
// Peak signal-to-noise ratio in dB over the blue, green and red channels of two 8-bit
// images of the same size (99 for identical images); over the whole image, or over
// the rectangle of `width` x `height` pixels at (left, top).
double psnr(const ColourImage &image, const ColourImage &reference);
double psnr(const ColourImage &image, const ColourImage &reference, int32_t left, int32_t top, int32_t width,
            int32_t height);

}  // namespace kvcli
