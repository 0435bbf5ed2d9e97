// Grey-world white balance: green over red and green over blue, measured on a raw
// mosaic or on a colour image. Sums are unsigned 32-bit and wrap; -1.0 stands for a
// gain whose channel summed to 0.
#include "frame/traits.h"

namespace korvimg {
namespace {

// Both results start at -1.0; each is replaced when its channel's sum is not 0. The
// sums convert to double exactly as the unsigned values they are.
void report_gains(uint32_t red, uint32_t green, uint32_t blue, double *red_gain, double *blue_gain) {
    if (red != 0) *red_gain = static_cast<double>(green) / static_cast<double>(red);
    if (blue != 0) *blue_gain = static_cast<double>(green) / static_cast<double>(blue);
}

// Walks (width / 2) x (height / 2) tiles with one read position that moves 2 samples
// per tile and a further width samples after each row of tiles. For an even width
// that is the tile grid; for an odd width each row of tiles starts one sample further
// left than the one before (row of tiles k reads from k samples before row 2k), so
// its tiles straddle the grid and their samples are counted under the pattern's
// colours all the same. An odd height leaves the last row out.
template <class S, Pattern P>
void white_balance_raw(const S *source, int32_t width, int32_t height, double *red_gain, double *blue_gain) {
    *red_gain = -1.0;
    *blue_gain = -1.0;
    using M = Mosaic<P>;
    uint32_t sum[3] = {0, 0, 0};  // by Colour
    const int32_t tile_rows = height / 2;
    const int32_t tile_columns = width / 2;
    if (tile_rows > 0 && tile_columns > 0) {
        const size_t w = static_cast<size_t>(width);
        const S *p = source;
        for (int32_t t = 0; t < tile_rows; ++t) {
            for (int32_t u = 0; u < tile_columns; ++u, p += 2) {
                sum[M::at(0, 0)] += p[0];
                sum[M::at(0, 1)] += p[1];
                sum[M::at(1, 0)] += p[w];
                sum[M::at(1, 1)] += p[w + 1];
            }
            p += w;
        }
    }
    // Two greens per tile: half their sum (floored) is on the scale of red and blue.
    report_gains(sum[kRed], sum[kGreen] >> 1, sum[kBlue], red_gain, blue_gain);
}

// count pixels in memory order; the fourth channel of 32 and 64 is skipped.
template <class D>
void white_balance_colour(const typename D::Sample *source, int32_t count, double *red_gain, double *blue_gain) {
    *red_gain = -1.0;
    *blue_gain = -1.0;
    if (count < 1) return;
    uint32_t sum[3] = {0, 0, 0};  // by channel
    for (int32_t i = 0; i < count; ++i, source += D::channels) {
        sum[kBlue] += source[kBlue];
        sum[kGreen] += source[kGreen];
        sum[kRed] += source[kRed];
    }
    report_gains(sum[kRed], sum[kGreen], sum[kBlue], red_gain, blue_gain);
}

}  // namespace
}  // namespace korvimg

// white_balance8<pattern> on bytes, white_balance10<pattern> on 16-bit words (also
// published as white_balance12<pattern>: only ratios are formed, so the number of
// significant bits does not matter).
#define KORVIMG_WHITE_BALANCE_RAW(bits, S, pat)                                                         \
    extern "C" KORVIMG_API void KORVIMG_CALL white_balance##bits##pat(                                  \
        const S *source, int32_t width, int32_t height, double *red_gain, double *blue_gain) {          \
        ::korvimg::white_balance_raw<S, ::korvimg::Pattern::pat>(source, width, height, red_gain, blue_gain); \
    }
#define KORVIMG_WHITE_BALANCE_RAW_PATTERNS(bits, S) \
    KORVIMG_WHITE_BALANCE_RAW(bits, S, bggr)        \
    KORVIMG_WHITE_BALANCE_RAW(bits, S, gbrg)        \
    KORVIMG_WHITE_BALANCE_RAW(bits, S, grbg)        \
    KORVIMG_WHITE_BALANCE_RAW(bits, S, rggb)
KORVIMG_WHITE_BALANCE_RAW_PATTERNS(8, uint8_t)
KORVIMG_WHITE_BALANCE_RAW_PATTERNS(10, uint16_t)

#define KORVIMG_WHITE_BALANCE_COLOUR(bits)                                                              \
    extern "C" KORVIMG_API void KORVIMG_CALL white_balance##bits(                                       \
        const ::korvimg::Depth<bits>::Sample *source, int32_t count, double *red_gain, double *blue_gain) { \
        ::korvimg::white_balance_colour<::korvimg::Depth<bits>>(source, count, red_gain, blue_gain);  \
    }
KORVIMG_WHITE_BALANCE_COLOUR(24)
KORVIMG_WHITE_BALANCE_COLOUR(32)
KORVIMG_WHITE_BALANCE_COLOUR(48)
KORVIMG_WHITE_BALANCE_COLOUR(64)
