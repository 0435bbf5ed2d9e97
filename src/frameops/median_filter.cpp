// The row spike filter, in place. Each sample c at column x is limited to the range
// [lo, hi] spanned by its same-colour neighbours a (x - d) and b (x + d) and the two
// straight-line extrapolations 2a - (x - 2d) and 2b - (x + 2d); when lo equals hi the
// neighbourhood is flat and c is kept, spike or not. Columns closer than 2d to either
// end of the row keep their value. Every row is filtered from its own unfiltered
// values.
//
// The filtered row is written back as `width` BYTES through memory_copy: the whole
// row of the 8-bit filter, but only the first width / 2 samples of the 16-bit one
// (and, for an odd width, the low byte of the sample after them; its high byte keeps
// the input). The rest of a 16-bit row is left as it was.
//
// Rows of any width: instead of a buffer for the whole row, the row is done in
// blocks. A block's outputs are computed from a window holding the unfiltered
// samples from 2d before the block to 2d after it, then copied back over the block;
// the window's last 2d samples (the only ones already overwritten that the next block
// still reads) are carried over to the next window.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frameops/spike_limit_sse2.h"
#include "korvimg.h"

namespace korvimg {
namespace {

constexpr int32_t kBlock = 2048;  // outputs per block

// Outputs for `n` columns from a window in which win[i] is the unfiltered sample of
// the first of those columns plus i - 2D. Only interior columns are given here; they
// read at most 2D columns either side. This is the rule as stated, in signed values
// wide enough for the extrapolations (-max .. 2 * max); where SSE2 is there it does
// all but the last few columns of a span.
template <class S, int D>
void limit_span(const S *win, S *out, int32_t n) {
    int32_t i = 0;
#if KORVIMG_SPIKE_LIMIT_SSE2
    i = sse2::limit_span<S, D>(win, out, n);
#endif
    for (; i < n; ++i) {
        const S *p = win + 2 * D + i;
        const int32_t c = p[0];
        const int32_t a = p[-D], b = p[D];
        const int32_t el = 2 * a - p[-2 * D], er = 2 * b - p[2 * D];
        const int32_t hi = std::max(std::max(a, b), std::max(el, er));
        const int32_t lo = std::min(std::min(a, b), std::min(el, er));
        if (lo == hi) out[i] = static_cast<S>(c);  // flat: a spike in a constant run stays
        else out[i] = static_cast<S>(std::min(std::max(c, lo), hi));
    }
}

// One row: columns [0, n_out) are computed, and the first `bytes` bytes of them are
// copied back over the row.
template <class S, int D>
void filter_row(S *row, int32_t width, int32_t n_out, uint32_t bytes) {
    S win[kBlock + 4 * D];  // unfiltered samples x0 - 2D .. x0 + kBlock + 2D - 1
    S out[kBlock];
    const int32_t first = 2 * D, last = width - 1 - 2 * D;  // interior columns
    for (int32_t x0 = 0; x0 < n_out; x0 += kBlock) {
        const int32_t n = std::min(kBlock, n_out - x0);
        // The window: 2D carried-over samples (from the previous block; unused for
        // the first), then the row from x0 on as far as the row reaches.
        if (x0 > 0) std::memcpy(win, win + kBlock, 2 * D * sizeof(S));
        const int32_t avail = std::min(kBlock + 2 * D, width - x0);
        std::memcpy(win + 2 * D, row + x0, static_cast<size_t>(avail) * sizeof(S));
        // Border columns keep their value; interior ones are limited.
        const int32_t lo = std::clamp(first - x0, 0, n), hi = std::clamp(last + 1 - x0, lo, n);
        std::memcpy(out, win + 2 * D, static_cast<size_t>(lo) * sizeof(S));
        limit_span<S, D>(win + lo, out + lo, hi - lo);
        std::memcpy(out + hi, win + 2 * D + hi, static_cast<size_t>(n - hi) * sizeof(S));
        // Back over the row, never beyond the byte count.
        const uint32_t done = static_cast<uint32_t>(x0) * sizeof(S);
        memory_copy(row + x0, out, std::min<uint32_t>(static_cast<uint32_t>(n) * sizeof(S), bytes - done));
    }
}

template <class S, int D>
void filter_frame(S *frame, int32_t width, int32_t height) {
    const uint32_t bytes = static_cast<uint32_t>(width);
    const int32_t n_out = static_cast<int32_t>((bytes + sizeof(S) - 1) / sizeof(S));
    for (int32_t y = 0; y < height; ++y) filter_row<S, D>(frame + static_cast<size_t>(y) * static_cast<size_t>(width), width, n_out, bytes);
}

// A height below 1 or a width of 0 does nothing; a negative width has no rows to
// speak of and does nothing either.
template <class S>
void median_filter(S *frame, int32_t width, int32_t height, uint32_t mosaic) {
    if (height < 1 || width < 1) return;
    if (mosaic != 0) filter_frame<S, 2>(frame, width, height);
    else filter_frame<S, 1>(frame, width, height);
}

}  // namespace
}  // namespace korvimg

extern "C" KORVIMG_API void KORVIMG_CALL median_filter8(uint8_t *frame, int32_t width, int32_t height, uint32_t mosaic) {
    korvimg::median_filter(frame, width, height, mosaic);
}
extern "C" KORVIMG_API void KORVIMG_CALL median_filter16(uint16_t *frame, int32_t width, int32_t height, uint32_t mosaic) {
    korvimg::median_filter(frame, width, height, mosaic);
}
