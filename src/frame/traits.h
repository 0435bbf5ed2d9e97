// Compile-time descriptions of output formats, Bayer patterns and mosaic rows, shared
// by every method. Each exported member is one instantiation of a method template
// over a Depth and a Pattern (or RowType); nothing here is looked at per pixel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "korvimg.h"

namespace korvimg {

// Channel index of each colour in an output pixel (blue, green, red, then X).
enum Colour : int { kBlue = 0, kGreen = 1, kRed = 2 };

// An output format. Its sample type is also the input sample type: 8-bit samples
// for 24 and 32, 16-bit samples for 48 and 64.
template <int Bits> struct Depth;
template <> struct Depth<24> { using Sample = uint8_t;  static constexpr int bits = 24; static constexpr int channels = 3; static constexpr uint32_t maxv = 255; };
template <> struct Depth<32> { using Sample = uint8_t;  static constexpr int bits = 32; static constexpr int channels = 4; static constexpr uint32_t maxv = 255; };
template <> struct Depth<48> { using Sample = uint16_t; static constexpr int bits = 48; static constexpr int channels = 3; static constexpr uint32_t maxv = 65535; };
template <> struct Depth<64> { using Sample = uint16_t; static constexpr int bits = 64; static constexpr int channels = 4; static constexpr uint32_t maxv = 65535; };

// Writes one output pixel; the fourth channel, where there is one, is always 0.
// Every value passed is already within the channel's range.
template <class D>
inline void put_pixel(typename D::Sample *px, uint32_t blue, uint32_t green, uint32_t red) {
    using S = typename D::Sample;
    px[kBlue] = static_cast<S>(blue);
    px[kGreen] = static_cast<S>(green);
    px[kRed] = static_cast<S>(red);
    if constexpr (D::channels == 4) px[3] = 0;
}

// Writes the three colours of a pixel given by colour rather than by channel:
// `own` goes to channel Own, `third` to channel Third, green to channel 1.
template <class D, Colour Own, Colour Third>
inline void put_by_colour(typename D::Sample *px, uint32_t own, uint32_t green, uint32_t third) {
    static_assert(Own != kGreen && Third != kGreen && Own != Third, "own and third are red and blue");
    if constexpr (Own == kBlue) put_pixel<D>(px, own, green, third);
    else put_pixel<D>(px, third, green, own);
}

// A mosaic row, named by the colours of its first two samples.
enum class RowType { bg, gr, gb, rg };

template <RowType T> struct Row {
    // The non-green colour this row holds, and the one the rows above and below hold.
    static constexpr Colour own = (T == RowType::bg || T == RowType::gb) ? kBlue : kRed;
    static constexpr Colour third = own == kBlue ? kRed : kBlue;
    // True when column 0 holds the row's own colour (bg, rg), false when green (gr, gb).
    static constexpr bool own_first = (T == RowType::bg || T == RowType::rg);
};

// Pattern codes as the dispatchers number them.
enum class Pattern : uint32_t { rggb = 0, grbg = 1, gbrg = 2, bggr = 3 };

template <Pattern P> struct Mosaic {
    static constexpr RowType even_row = P == Pattern::bggr ? RowType::bg
                                      : P == Pattern::grbg ? RowType::gr
                                      : P == Pattern::gbrg ? RowType::gb
                                                           : RowType::rg;
    static constexpr RowType odd_row = P == Pattern::bggr ? RowType::gr
                                     : P == Pattern::grbg ? RowType::bg
                                     : P == Pattern::gbrg ? RowType::rg
                                                          : RowType::gb;

    // Colour of the tile position (row i, column j), i and j in 0, 1.
    static constexpr Colour at(int i, int j) {
        const RowType t = i == 0 ? even_row : odd_row;
        const bool own_first = (t == RowType::bg || t == RowType::rg);
        const Colour own = (t == RowType::bg || t == RowType::gb) ? kBlue : kRed;
        return (j == 0) == own_first ? own : kGreen;
    }
    // Tile offsets (row * 2 + column) of the blue and red samples and of the greens
    // of the tile's top and bottom rows.
    static constexpr int blue = at(0, 0) == kBlue ? 0 : at(0, 1) == kBlue ? 1 : at(1, 0) == kBlue ? 2 : 3;
    static constexpr int red = at(0, 0) == kRed ? 0 : at(0, 1) == kRed ? 1 : at(1, 0) == kRed ? 2 : 3;
    static constexpr int green_top = at(0, 0) == kGreen ? 0 : 1;
    static constexpr int green_bottom = at(1, 0) == kGreen ? 2 : 3;
};

static_assert(Mosaic<Pattern::bggr>::blue == 0 && Mosaic<Pattern::bggr>::red == 3);
static_assert(Mosaic<Pattern::gbrg>::blue == 1 && Mosaic<Pattern::gbrg>::red == 2);
static_assert(Mosaic<Pattern::grbg>::blue == 2 && Mosaic<Pattern::grbg>::red == 1);
static_assert(Mosaic<Pattern::rggb>::blue == 3 && Mosaic<Pattern::rggb>::red == 0);
static_assert(Mosaic<Pattern::gbrg>::green_top == 0 && Mosaic<Pattern::gbrg>::green_bottom == 3);
static_assert(Mosaic<Pattern::rggb>::green_top == 1 && Mosaic<Pattern::rggb>::green_bottom == 2);

// The signed 32-bit product of two sizes, wrapping as 32-bit arithmetic does.
inline int32_t wrapped_product(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

}  // namespace korvimg

// Defines the 16 exports of a demosaic method, method##depth##pattern, each
// forwarding its four arguments to worker<Depth<depth>, Pattern::pattern> and turning
// the worker's truth value into 1 or 0.
#define KORVIMG_DEMOSAIC_MEMBER(method, bits, pat, worker)                                       \
    extern "C" KORVIMG_API uint32_t KORVIMG_CALL method##bits##pat(                              \
        const ::korvimg::Depth<bits>::Sample *source, int32_t width, int32_t height,            \
        ::korvimg::Depth<bits>::Sample *destination) {                                          \
        return worker<::korvimg::Depth<bits>, ::korvimg::Pattern::pat>(source, width, height,   \
                                                                        destination)            \
                   ? 1u                                                                         \
                   : 0u;                                                                        \
    }
#define KORVIMG_DEMOSAIC_DEPTH(method, bits, worker)    \
    KORVIMG_DEMOSAIC_MEMBER(method, bits, bggr, worker) \
    KORVIMG_DEMOSAIC_MEMBER(method, bits, gbrg, worker) \
    KORVIMG_DEMOSAIC_MEMBER(method, bits, grbg, worker) \
    KORVIMG_DEMOSAIC_MEMBER(method, bits, rggb, worker)
#define KORVIMG_DEMOSAIC_FAMILY(method, worker) \
    KORVIMG_DEMOSAIC_DEPTH(method, 24, worker)  \
    KORVIMG_DEMOSAIC_DEPTH(method, 32, worker)  \
    KORVIMG_DEMOSAIC_DEPTH(method, 48, worker)  \
    KORVIMG_DEMOSAIC_DEPTH(method, 64, worker)
