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
// blocks, each copied back over the row one block late, when nothing still to be
// computed reads the unfiltered samples it replaces.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frameops/median_filter.h"
#include "frameops/spike_limit_sse2.h"
#include "korvimg.h"

namespace korvimg {
namespace {

constexpr int32_t kBlock = 2048;  // outputs per block

// Outputs for `n` columns from a window in which win[i] is the unfiltered sample of
// the column 2D before the first of those columns, plus i. Only interior columns are
// given here; they read at most 2D columns either side. The plain loop is the rule as
// stated, in signed values wide enough for the extrapolations (-max .. 2 * max); the
// vector kernels, where the instruction set allows, do all but the last few columns.
template <class S, int D>
void limit_span(const S *win, S *out, int32_t n, Isa isa) {
    int32_t i = 0;
#if KORVIMG_X86
    if (isa == Isa::avx2) i = avx2::limit_span<S, D>(win, out, n);
#endif
#if KORVIMG_SPIKE_LIMIT_SSE2
    if (isa != Isa::scalar) i += sse2::limit_span<S, D>(win + i, out + i, n - i);
#endif
    (void)isa;
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
// copied back over the row. A block's outputs are computed straight from the row,
// whose samples from 2D before the block on are still unfiltered: the block before
// is copied back only once this block is done (the blocks are longer than 2D).
template <class S, int D>
void filter_row(S *row, int32_t width, int32_t n_out, uint32_t bytes, Isa isa) {
    static_assert(kBlock >= 2 * D, "a block must cover what the next one reads before it");
    S out[2][kBlock];
    const int32_t first = 2 * D, last = width - 1 - 2 * D;  // interior columns
    auto copy_back = [&](int32_t x0, int32_t n, const S *outputs) {
        const uint32_t done = static_cast<uint32_t>(x0) * sizeof(S);
        memory_copy(row + x0, outputs, std::min<uint32_t>(static_cast<uint32_t>(n) * sizeof(S), bytes - done));
    };
    int32_t pending_x0 = 0, pending_n = 0;
    const S *pending = nullptr;
    for (int32_t x0 = 0, k = 0; x0 < n_out; x0 += kBlock, k ^= 1) {
        const int32_t n = std::min(kBlock, n_out - x0);
        S *o = out[k];
        // Border columns keep their value; interior ones are limited.
        const int32_t lo = std::clamp(first - x0, 0, n), hi = std::clamp(last + 1 - x0, lo, n);
        std::memcpy(o, row + x0, static_cast<size_t>(lo) * sizeof(S));
        limit_span<S, D>(row + x0 + lo - 2 * D, o + lo, hi - lo, isa);
        std::memcpy(o + hi, row + x0 + hi, static_cast<size_t>(n - hi) * sizeof(S));
        if (pending != nullptr) copy_back(pending_x0, pending_n, pending);
        pending_x0 = x0;
        pending_n = n;
        pending = o;
    }
    if (pending != nullptr) copy_back(pending_x0, pending_n, pending);
}

template <class S, int D>
void filter_frame(S *frame, int32_t width, int32_t height, Isa isa) {
    const uint32_t bytes = static_cast<uint32_t>(width);
    const int32_t n_out = static_cast<int32_t>((bytes + sizeof(S) - 1) / sizeof(S));
    for (int32_t y = 0; y < height; ++y)
        filter_row<S, D>(frame + static_cast<size_t>(y) * static_cast<size_t>(width), width, n_out, bytes, isa);
}

}  // namespace

// A height below 1 or a width of 0 does nothing; a negative width has no rows to
// speak of and does nothing either.
template <class S>
void median_filter_isa(Isa isa, S *frame, int32_t width, int32_t height, uint32_t mosaic) {
    if (height < 1 || width < 1) return;
    isa = usable_isa(isa);
    if (mosaic != 0) filter_frame<S, 2>(frame, width, height, isa);
    else filter_frame<S, 1>(frame, width, height, isa);
}
template void median_filter_isa<uint8_t>(Isa, uint8_t *, int32_t, int32_t, uint32_t);
template void median_filter_isa<uint16_t>(Isa, uint16_t *, int32_t, int32_t, uint32_t);

}  // namespace korvimg

extern "C" KORVIMG_API void KORVIMG_CALL median_filter8(uint8_t *frame, int32_t width, int32_t height, uint32_t mosaic) {
    korvimg::median_filter_isa(korvimg::best_isa(), frame, width, height, mosaic);
}
extern "C" KORVIMG_API void KORVIMG_CALL median_filter16(uint16_t *frame, int32_t width, int32_t height, uint32_t mosaic) {
    korvimg::median_filter_isa(korvimg::best_isa(), frame, width, height, mosaic);
}
