// The fast row kernels of the tile methods and mono, and how a walker finds the one
// for an instruction set. A kernel converts as many whole vectors' worth of a row as
// fit and returns how many tiles (samples for mono) it did; the caller's plain
// routine does the rest of the row. Kernels read and write only within the row they
// are given.
#pragma once

#include <cstddef>

#include "frame/cpu.h"
#include "frame/traits.h"

namespace korvimg {

enum class TileOp { bayer, nearest, simple, preview };

// The middle parts of the interpolating methods' rows that have fast kernels:
//   bilinear        columns from 1 of an inner row, by the bilinear inner-row rules;
//   adaptive        columns from 2 of a core row: green sites bilinear, own-colour
//                   sites edge-directed.
// The laplacian's two passes have kernels of their own (LaplacianKernels).
enum class InterpOp { bilinear, adaptive };

struct Sse2;
struct Avx2;

namespace simd {

// Converts up to `tiles` tiles of the rows `top`, `bottom` into `out_top` and
// `out_bottom` (preview: one output row, out_bottom unused); returns tiles done.
template <class S>
using TileRowFn = int32_t (*)(const S *top, const S *bottom, int32_t tiles, S *out_top, S *out_bottom);
// Converts up to n samples of a run; returns samples done.
template <class S>
using RunFn = int32_t (*)(const S *source, int32_t n, S *destination);
// Converts up to `pairs` pairs of columns of a row from the cursors on (`width` is
// the distance between rows); returns the pairs done.
template <class S>
using PairsFn = ptrdiff_t (*)(const S *source, ptrdiff_t width, S *destination, ptrdiff_t pairs);

// Defined and instantiated for every op, depth and pattern in tile_sse2.cpp and
// tile_avx2.cpp.
template <class I, TileOp Op, class D, Pattern P>
int32_t tile_row(const typename D::Sample *top, const typename D::Sample *bottom, int32_t tiles,
                 typename D::Sample *out_top, typename D::Sample *out_bottom);
template <class I, class D>
int32_t mono_run(const typename D::Sample *source, int32_t n, typename D::Sample *destination);
// Defined and instantiated in interp_sse2.cpp and interp_avx2.cpp.
template <class I, InterpOp Op, class D, RowType T>
ptrdiff_t interp_pairs(const typename D::Sample *source, ptrdiff_t width, typename D::Sample *destination,
                       ptrdiff_t pairs);
template <class I, class D, RowType T>
void laplacian_green_row(const typename D::Sample *source, ptrdiff_t width, typename D::Sample *greens,
                         ptrdiff_t columns);
template <class I, class D, RowType T>
void laplacian_rb_row(const typename D::Sample *source, ptrdiff_t width, const typename D::Sample *above,
                      const typename D::Sample *row, const typename D::Sample *below, typename D::Sample *destination,
                      ptrdiff_t columns);

}  // namespace simd

// The kernels of the laplacian's two passes over a stretch of a core row, from an
// even column on, for `columns` columns (even, at least `least`):
//   green(source, width, greens, columns)  pass 1: the green of each column, as a
//       plain sample, to greens[0 .. columns);
//   red_blue(source, width, above, row, below, destination, columns)  pass 2: every
//       channel of the pixels, from the samples and from the greens of pass 1 of the
//       rows above, of and below the row, each given from the column before the
//       first on.
// `width` is the distance between rows. Null kernels: the plain routine alone.
template <class S>
struct LaplacianKernels {
    void (*green)(const S *source, ptrdiff_t width, S *greens, ptrdiff_t columns) = nullptr;
    void (*red_blue)(const S *source, ptrdiff_t width, const S *above, const S *row, const S *below, S *destination,
                     ptrdiff_t columns) = nullptr;
    ptrdiff_t least = 0;
};

// The kernel for an instruction set (lowered to what this CPU has), or null for the
// plain routine alone.
template <TileOp Op, class D, Pattern P>
simd::TileRowFn<typename D::Sample> tile_row_kernel(Isa isa) {
#if KORVIMG_X86
    switch (usable_isa(isa)) {
        case Isa::avx2: return &simd::tile_row<Avx2, Op, D, P>;
        case Isa::sse2: return &simd::tile_row<Sse2, Op, D, P>;
        case Isa::scalar: break;
    }
#else
    (void)isa;
#endif
    return nullptr;
}

template <InterpOp Op, class D, RowType T>
simd::PairsFn<typename D::Sample> interp_kernel(Isa isa) {
#if KORVIMG_X86
    switch (usable_isa(isa)) {
        case Isa::avx2: return &simd::interp_pairs<Avx2, Op, D, T>;
        case Isa::sse2: return &simd::interp_pairs<Sse2, Op, D, T>;
        case Isa::scalar: break;
    }
#else
    (void)isa;
#endif
    return nullptr;
}

template <class D, RowType T>
LaplacianKernels<typename D::Sample> laplacian_kernels(Isa isa) {
    using S = typename D::Sample;
    LaplacianKernels<S> k;
#if KORVIMG_X86
    switch (usable_isa(isa)) {
        case Isa::avx2:
            k.green = &simd::laplacian_green_row<Avx2, D, T>;
            k.red_blue = &simd::laplacian_rb_row<Avx2, D, T>;
            k.least = 32 / static_cast<ptrdiff_t>(sizeof(S));
            break;
        case Isa::sse2:
            k.green = &simd::laplacian_green_row<Sse2, D, T>;
            k.red_blue = &simd::laplacian_rb_row<Sse2, D, T>;
            k.least = 16 / static_cast<ptrdiff_t>(sizeof(S));
            break;
        case Isa::scalar: break;
    }
#else
    (void)isa;
#endif
    return k;
}

template <class D>
simd::RunFn<typename D::Sample> mono_kernel(Isa isa) {
#if KORVIMG_X86
    switch (usable_isa(isa)) {
        case Isa::avx2: return &simd::mono_run<Avx2, D>;
        case Isa::sse2: return &simd::mono_run<Sse2, D>;
        case Isa::scalar: break;
    }
#else
    (void)isa;
#endif
    return nullptr;
}

}  // namespace korvimg
