/*
 * korvimg — demosaicing and image processing for single-sensor colour cameras.
 *
 * The whole interface is a flat set of C functions over caller-owned buffers. No
 * function allocates an image, starts a thread or keeps state between calls, except
 * the colour-correction context, which the caller creates and destroys.
 *
 * Buffers
 *   Raw frame: one sample per photosite, rows packed with no padding; element
 *   y * width + x is the sample at row y, column x. Samples are bytes for the 24 and
 *   32 bit outputs, 16-bit words (10 or 12 significant bits, or any 16-bit value, used
 *   as they stand) for the 48 and 64 bit outputs.
 *   Colour image: packed pixels, rows with no padding, channels blue, green, red and,
 *   for 32 and 64, a fourth channel that every demosaic method writes as 0.
 *     24: 3 bytes   32: 4 bytes   48: 3 words   64: 4 words per pixel.
 *   The caller allocates and sizes every buffer; no function checks a buffer size.
 *
 * Bayer patterns
 *   A pattern names the 2x2 tile's photosites in raster order; tiles start at row 0,
 *   column 0. The colour at (row y, column x) is letter (y % 2) * 2 + (x % 2).
 *
 * Calling convention
 *   On 32-bit Windows every function is __stdcall and exported twice: as its plain
 *   name and as _name@N (N = argument bytes). Elsewhere the ordinary C convention.
 */
#ifndef KORVIMG_H
#define KORVIMG_H

#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#  define KORVIMG_CALL __stdcall
#else
#  define KORVIMG_CALL
#endif

#if defined(KORVIMG_BUILD) || defined(KORVIMG_STATIC)
   /* Building the library (its exports are chosen by the export table) or linking
      its objects directly. */
#  if defined(_WIN32)
#    define KORVIMG_API
#  else
#    define KORVIMG_API __attribute__((visibility("default")))
#  endif
#elif defined(_WIN32)
#  define KORVIMG_API __declspec(dllimport)
#else
#  define KORVIMG_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Codes used by the debayer dispatchers. The pattern codes run in reverse
   alphabetical order of the names. */
typedef enum BayerPattern {
    KORVIMG_RGGB = 0,
    KORVIMG_GRBG = 1,
    KORVIMG_GBRG = 2,
    KORVIMG_BGGR = 3
} BayerPattern;

typedef enum DemosaicMethod {
    KORVIMG_MONO = 0,
    KORVIMG_BAYER = 1,
    KORVIMG_NEAREST = 2,
    KORVIMG_SIMPLE = 3,
    KORVIMG_BILINEAR = 4,
    KORVIMG_ADAPTIVE = 5,
    KORVIMG_LAPLACIAN = 6,
    KORVIMG_PREVIEW = 7
} DemosaicMethod;

/* Bits per output pixel; also fixes the input sample width (8 bits for 24 and 32,
   16 bits for 48 and 64). */
typedef enum OutputDepth {
    KORVIMG_DEPTH24 = 24,
    KORVIMG_DEPTH32 = 32,
    KORVIMG_DEPTH48 = 48,
    KORVIMG_DEPTH64 = 64
} OutputDepth;

/* ------------------------------------------------------------------------------
 * Demosaic methods: method, depth and pattern joined in the name, for example
 * bilinear24rggb. Each takes (source, width, height, destination); width and height
 * are signed. The result is exactly 1 (done, or nothing to do) or 0 (sizes refused,
 * destination untouched). No method writes beyond its output frame.
 * ---------------------------------------------------------------------------- */

/* mono: a grey view of the raw frame. Every sample becomes one pixel with B = G = R =
 * the sample (and X = 0 for 32/64). Rows play no part: width x height is taken as a
 * signed 32-bit product n, and n < 1 writes nothing. Always returns 1. The pattern does
 * not matter, so the four pattern names of a depth are one function. */
KORVIMG_API uint32_t KORVIMG_CALL mono24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL mono64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* bayer: the colour filter mosaic made visible. Each photosite becomes one pixel with
 * its sample in the channel of its filter colour and 0 in the other two (X = 0).
 * Odd width or height: returns 0, writes nothing. Half width or half height below 1:
 * returns 1, writes nothing. Otherwise writes width x height pixels and returns 1. */
KORVIMG_API uint32_t KORVIMG_CALL bayer24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bayer64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* nearest: within each 2x2 tile every pixel takes the tile's red and blue samples and
 * the green of its own tile row. Size rules as for bayer. */
KORVIMG_API uint32_t KORVIMG_CALL nearest24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL nearest64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* simple: all four pixels of a 2x2 tile get B = the blue sample, R = the red sample,
 * G = (top green + bottom green) >> 1. Size rules as for bayer. */
KORVIMG_API uint32_t KORVIMG_CALL simple24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL simple64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* preview: one output pixel per 2x2 tile, coloured as by simple; the output is
 * (width / 2) x (height / 2) pixels. width and height are those of the input.
 * Size rules as for bayer. */
KORVIMG_API uint32_t KORVIMG_CALL preview24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL preview64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* bilinear: full-resolution interpolation from the nearest samples of each missing
 * colour. Refused (returns 0, writes nothing) when width or height is odd or below 4;
 * otherwise writes width x height pixels and returns 1. At a red or blue site away
 * from the first and last column the missing colour is (UL + 2 UR + DL) >> 2: the
 * above-right sample counts twice, the below-right one is not read. The first and
 * last rows are shared with adaptive and laplacian. */
KORVIMG_API uint32_t KORVIMG_CALL bilinear24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL bilinear64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* adaptive: bilinear, except that at blue and red sites at least two samples from
 * every edge the green is interpolated along the direction in which the site's own
 * colour changes least. Size rules as for bilinear. */
KORVIMG_API uint32_t KORVIMG_CALL adaptive24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL adaptive64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* laplacian: two-pass gradient-corrected interpolation (green plane first, then red
 * and blue corrected by the green second differences), with plain averages on a
 * two-pixel ring along the edges. Size rules as for bilinear. */
KORVIMG_API uint32_t KORVIMG_CALL laplacian24bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian24gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian24grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian24rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian32bggr(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian32gbrg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian32grbg(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian32rggb(const uint8_t *source, int32_t width, int32_t height, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian48bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian48gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian48grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian48rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian64bggr(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian64gbrg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian64grbg(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL laplacian64rggb(const uint16_t *source, int32_t width, int32_t height, uint16_t *destination);

/* ------------------------------------------------------------------------------
 * Dispatchers: choose method and pattern by code at run time. Note that the pattern
 * code comes before the method code. Returns 0, touching nothing, for a method code
 * above 7 or a pattern code above 3 (both taken as unsigned, tested in that order);
 * otherwise calls the per-method export and returns 1 whatever that returned.
 * ---------------------------------------------------------------------------- */
KORVIMG_API uint32_t KORVIMG_CALL debayer24(const uint8_t *source, int32_t width, int32_t height, uint32_t pattern, uint32_t method, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL debayer32(const uint8_t *source, int32_t width, int32_t height, uint32_t pattern, uint32_t method, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL debayer48(const uint16_t *source, int32_t width, int32_t height, uint32_t pattern, uint32_t method, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL debayer64(const uint16_t *source, int32_t width, int32_t height, uint32_t pattern, uint32_t method, uint16_t *destination);

/* ------------------------------------------------------------------------------
 * Colour correction of 8-bit colour images through a caller-owned context, either by
 * per-channel gain and offset followed by hue/saturation/lightness changes, or by a
 * 4x3 matrix (rows: input red, green, blue, constant; columns: output red, green,
 * blue). The context caches every corrected 24-bit colour (64 MiB); a setter makes
 * the cache stale lazily. One thread at a time per context. Every operation returns
 * 0 for a null context.
 * ---------------------------------------------------------------------------- */
typedef struct ColorCorrectionContext ColorCorrectionContext;

/* A new context with identity parameters, or null when memory is refused. */
KORVIMG_API ColorCorrectionContext *KORVIMG_CALL color_correction_init(void);
/* Releases the context with memory_free; returns 1. */
KORVIMG_API uint32_t KORVIMG_CALL color_correction_done(ColorCorrectionContext *context);
/* In every setter and getter the gain of a pair comes before its offset. Offsets are
   in 0..255 sample units; lightness gain and offset on a 0..1 scale; hue in degrees.
   Values are stored unchecked. A shifted hue is wrapped into 0..360 as adding or
   subtracting 360 turn by turn in double precision would (beyond 2^55 degrees those
   steps round, and the result follows them); one above 2^62 degrees in magnitude (or
   infinite), where such a step no longer changes it, is taken as 0, and so is one
   that is not a number. Any other parameter that is not a number makes each result
   byte it reaches 0. */
KORVIMG_API uint32_t KORVIMG_CALL color_correction_set(ColorCorrectionContext *context,
    double red_gain, double red_offset, double green_gain, double green_offset,
    double blue_gain, double blue_offset, double hue_shift, double saturation_gain,
    double lightness_gain, double lightness_offset);
KORVIMG_API uint32_t KORVIMG_CALL color_correction_sethsl(ColorCorrectionContext *context,
    double hue_shift, double saturation_gain, double lightness_gain, double lightness_offset);
KORVIMG_API uint32_t KORVIMG_CALL color_correction_gethsl(ColorCorrectionContext *context,
    double *hue_shift, double *saturation_gain, double *lightness_gain, double *lightness_offset);
KORVIMG_API uint32_t KORVIMG_CALL color_correction_setrgb(ColorCorrectionContext *context,
    double red_gain, double red_offset, double green_gain, double green_offset,
    double blue_gain, double blue_offset);
KORVIMG_API uint32_t KORVIMG_CALL color_correction_getrgb(ColorCorrectionContext *context,
    double *red_gain, double *red_offset, double *green_gain, double *green_offset,
    double *blue_gain, double *blue_offset);
/* matrix: 12 doubles m0..m11 (see above). */
KORVIMG_API uint32_t KORVIMG_CALL color_correction_setmatrix(ColorCorrectionContext *context, const double *matrix);
KORVIMG_API uint32_t KORVIMG_CALL color_correction_getmatrix(ColorCorrectionContext *context, double *matrix);
/* Nonzero flag: use the matrix. Always returns 0, also when it did its work.
   Every setter (set, setrgb, sethsl, setmatrix, usematrix) moves an 8-bit generation
   on by one, even with unchanged values; cached colours of other generations are
   recomputed when next met, and after 256 setter calls old entries count again. */
KORVIMG_API uint32_t KORVIMG_CALL color_correction_usematrix(ColorCorrectionContext *context, uint32_t use_matrix);
/* Correct an image in place (B, G, R bytes; the fourth byte of 32-bit pixels is kept).
   Returns 1, or 0 for a null context; a width x height (signed 32-bit product) below 1
   returns 1 untouched. Results are truncated to bytes, so once any setter has run the
   HSL round trip moves many colours one step down even with default values; only a
   fresh context is an exact identity. */
KORVIMG_API uint32_t KORVIMG_CALL color_correction24(ColorCorrectionContext *context, uint8_t *image, int32_t width, int32_t height);
KORVIMG_API uint32_t KORVIMG_CALL color_correction32(ColorCorrectionContext *context, uint8_t *image, int32_t width, int32_t height);
/* The 16-bit formats are not corrected: these do nothing and return 0 (one function). */
KORVIMG_API uint32_t KORVIMG_CALL color_correction48(ColorCorrectionContext *context, uint16_t *image, int32_t width, int32_t height);
KORVIMG_API uint32_t KORVIMG_CALL color_correction64(ColorCorrectionContext *context, uint16_t *image, int32_t width, int32_t height);

/* ------------------------------------------------------------------------------
 * White balance (grey world): writes mean green / mean red and mean green / mean blue,
 * or -1.0 for a gain whose channel sums to 0. Sums are unsigned 32-bit and wrap.
 * The raw family walks 2x2 tiles and halves the green sum (two greens per tile); an
 * odd height leaves the last row out, and with an odd width each row of tiles starts
 * one sample further left (row of tiles k reads from k samples before row 2k). The
 * 10- and 12-bit names are one function. The colour family takes a pixel count.
 * ---------------------------------------------------------------------------- */
KORVIMG_API void KORVIMG_CALL white_balance8bggr(const uint8_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance8gbrg(const uint8_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance8grbg(const uint8_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance8rggb(const uint8_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance10bggr(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance10gbrg(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance10grbg(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance10rggb(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance12bggr(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance12gbrg(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance12grbg(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance12rggb(const uint16_t *source, int32_t width, int32_t height, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance24(const uint8_t *source, int32_t count, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance32(const uint8_t *source, int32_t count, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance48(const uint16_t *source, int32_t count, double *red_gain, double *blue_gain);
KORVIMG_API void KORVIMG_CALL white_balance64(const uint16_t *source, int32_t count, double *red_gain, double *blue_gain);

/* ------------------------------------------------------------------------------
 * Brightness, contrast and gamma tables. Settings are clamped to -127..127. Fills the
 * whole table (256, 1024 or 4096 entries) and returns 1, or 0 for a null table.
 * Entry i, in single precision: x = (i + 0.5) / n; x = x ^ (3 ^ (gamma / 127)) unless
 * gamma is 0; ((x - 0.5) * 4 ^ (contrast / 127) + 0.5 + brightness / 254) times 256
 * (the _8 tables and LUT8), 1024 or 4096, truncated and clamped to 0..limit.
 * Contrast +-64 is exactly 2.0 and 0.5. The limit is 255 for the byte tables; the
 * 10- and 12-bit tables reach 1024 and 4096, one above the largest sample.
 * The tables are the same on every platform (the power is correctly rounded).
 * ---------------------------------------------------------------------------- */
KORVIMG_API uint8_t KORVIMG_CALL create_BCG_LUT8(int32_t brightness, int32_t contrast, int32_t gamma, uint8_t *table);
KORVIMG_API uint8_t KORVIMG_CALL create_BCG_LUT10(int32_t brightness, int32_t contrast, int32_t gamma, uint16_t *table);
KORVIMG_API uint8_t KORVIMG_CALL create_BCG_LUT10_8(int32_t brightness, int32_t contrast, int32_t gamma, uint8_t *table);
KORVIMG_API uint8_t KORVIMG_CALL create_BCG_LUT12(int32_t brightness, int32_t contrast, int32_t gamma, uint16_t *table);
KORVIMG_API uint8_t KORVIMG_CALL create_BCG_LUT12_8(int32_t brightness, int32_t contrast, int32_t gamma, uint8_t *table);

/* ------------------------------------------------------------------------------
 * Lookup tables and bit-depth conversion over flat runs of count samples. A count
 * below 1 does nothing and returns 1. Source samples index the table unchanged; the
 * caller's table must have an entry for every sample. Source and destination may
 * be one buffer where their sample widths agree.
 * ---------------------------------------------------------------------------- */
KORVIMG_API void KORVIMG_CALL apply_lut(const uint16_t *source, int32_t count, const uint8_t *table, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL convert_frame8to8LUT(const uint8_t *source, int32_t count, const uint8_t *table, uint8_t *destination);
/* One function under both names. */
KORVIMG_API uint32_t KORVIMG_CALL convert_frame10to8LUT(const uint16_t *source, int32_t count, const uint8_t *table, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL convert_frame12to8LUT(const uint16_t *source, int32_t count, const uint8_t *table, uint8_t *destination);
/* One function under all three names. */
KORVIMG_API uint32_t KORVIMG_CALL convert_frame10to10LUT(const uint16_t *source, int32_t count, const uint16_t *table, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL convert_frame12to10LUT(const uint16_t *source, int32_t count, const uint16_t *table, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL convert_frame12to12LUT(const uint16_t *source, int32_t count, const uint16_t *table, uint16_t *destination);
/* Drop the low 2 or 4 bits through a 1024- or 4096-entry table. A sample above 1023
   (or 4095) reads the table's last entry and becomes 255. */
KORVIMG_API uint32_t KORVIMG_CALL convert_frame10to8(const uint16_t *source, int32_t count, uint8_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL convert_frame12to8(const uint16_t *source, int32_t count, uint8_t *destination);
/* Shift left by 2 or 4 bits. Return 0 for a null source or destination (tested
   before the count). */
KORVIMG_API uint32_t KORVIMG_CALL convert_frame8to10(const uint8_t *source, int32_t count, uint16_t *destination);
KORVIMG_API uint32_t KORVIMG_CALL convert_frame8to12(const uint8_t *source, int32_t count, uint16_t *destination);
/* Fill a 1024- or 4096-entry table with i / 4 or i / 16. Return 0 for a null table. */
KORVIMG_API uint32_t KORVIMG_CALL lookup_table10to8(uint8_t *table);
KORVIMG_API uint32_t KORVIMG_CALL lookup_table12to8(uint8_t *table);

/* ------------------------------------------------------------------------------
 * Best lookup tables: depth-reducing tables adapted to a histogram by merging the
 * adjacent intervals with the smallest combined count (lowest first on ties).
 * The "from" variants take a histogram at the lower depth and spread each count
 * evenly (count / 4 or count / 16) over the finer values. Sums are unsigned 32-bit
 * and wrap. Every table maps 0 to level 0 and the last input to the top level and
 * is monotonic. The working array comes from memory_alloc. Return 1, or 0 when the
 * working memory could not be had (table untouched).
 * ---------------------------------------------------------------------------- */
KORVIMG_API uint32_t KORVIMG_CALL best_lookup_table10to8(const uint32_t *histogram1024, uint8_t *table1024);
KORVIMG_API uint32_t KORVIMG_CALL best_lookup_table12to8(const uint32_t *histogram4096, uint8_t *table4096);
KORVIMG_API uint32_t KORVIMG_CALL best_lookup_table12to10(const uint32_t *histogram4096, uint16_t *table4096);
KORVIMG_API uint32_t KORVIMG_CALL best_lookup_table10from12(const uint32_t *histogram1024, uint16_t *table4096);
KORVIMG_API uint32_t KORVIMG_CALL best_lookup_table8from10(const uint32_t *histogram256, uint8_t *table1024);
KORVIMG_API uint32_t KORVIMG_CALL best_lookup_table8from12(const uint32_t *histogram256, uint8_t *table4096);

/* ------------------------------------------------------------------------------
 * Frame arithmetic on a caller-owned accumulator of count unsigned 32-bit sums (the
 * caller clears it). Sums wrap modulo 2^32; add_sub adds before it subtracts; avg
 * divides truncating and keeps the low 8 or 16 bits. A count below 1 does nothing;
 * avg with a divisor of 0 writes nothing.
 * ---------------------------------------------------------------------------- */
KORVIMG_API void KORVIMG_CALL frame_add8(uint32_t *accumulator, const uint8_t *frame, int32_t count);
KORVIMG_API void KORVIMG_CALL frame_add16(uint32_t *accumulator, const uint16_t *frame, int32_t count);
KORVIMG_API void KORVIMG_CALL frame_add_sub8(uint32_t *accumulator, const uint8_t *add, const uint8_t *subtract, int32_t count);
KORVIMG_API void KORVIMG_CALL frame_add_sub16(uint32_t *accumulator, const uint16_t *add, const uint16_t *subtract, int32_t count);
KORVIMG_API void KORVIMG_CALL frame_avg8(uint8_t *destination, const uint32_t *accumulator, int32_t count, uint32_t divisor);
KORVIMG_API void KORVIMG_CALL frame_avg16(uint16_t *destination, const uint32_t *accumulator, int32_t count, uint32_t divisor);

/* ------------------------------------------------------------------------------
 * Row spike filter, in place: each sample is limited to the range of its two
 * same-colour row neighbours and the two straight-line extrapolations beyond them
 * (a perfectly flat neighbourhood leaves it alone). mosaic nonzero: neighbours two
 * apart (raw Bayer rows); 0: adjacent. Each row is filtered from its own unfiltered
 * values; columns within 2 (or 4) of either end keep theirs. median_filter16 writes
 * back only the first width bytes of each row (width / 2 samples, and for an odd
 * width the low byte of the next one); the rest of the row keeps its input. Any
 * width works (no row-length limit); a height below 1 or a width below 1 does nothing.
 * ---------------------------------------------------------------------------- */
KORVIMG_API void KORVIMG_CALL median_filter8(uint8_t *frame, int32_t width, int32_t height, uint32_t mosaic);
KORVIMG_API void KORVIMG_CALL median_filter16(uint16_t *frame, int32_t width, int32_t height, uint32_t mosaic);

/* ------------------------------------------------------------------------------
 * Histograms: one unsigned 32-bit bin per value (256, 1024 or 4096 bins). Every
 * histogram of a call is cleared first. Colour images count blue, green and red (a
 * fourth channel is skipped); raw frames are walked in 2x2 cells, both greens
 * counted. A sample above the last bin is counted in the last bin, so no bin
 * outside the histogram is ever written. The 8-bit histograms that count 2^18
 * samples or more (three per pixel of a colour image, four per whole 2x2 cell of a
 * raw frame) take a 256 KiB working table (raw frames: two, in one 512 KiB block)
 * from memory_alloc for the call, and count one sample at a time when it cannot be
 * had.
 * ---------------------------------------------------------------------------- */
KORVIMG_API void KORVIMG_CALL histogram8(const uint8_t *samples, int32_t count, uint32_t *histogram);
KORVIMG_API void KORVIMG_CALL histogram10(const uint16_t *samples, int32_t count, uint32_t *histogram);
KORVIMG_API void KORVIMG_CALL histogram12(const uint16_t *samples, int32_t count, uint32_t *histogram);
KORVIMG_API void KORVIMG_CALL histogram8_24(const uint8_t *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram8_32(const uint8_t *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram10_48(const uint16_t *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram10_64(const uint16_t *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram12_48(const uint16_t *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram12_64(const uint16_t *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram8bggr(const uint8_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram8gbrg(const uint8_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram8grbg(const uint8_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram8rggb(const uint8_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram10bggr(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram10gbrg(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram10grbg(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram10rggb(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram12bggr(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram12gbrg(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram12grbg(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);
KORVIMG_API void KORVIMG_CALL histogram12rggb(const uint16_t *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue);

/* ------------------------------------------------------------------------------
 * Memory services. memory_alloc gives a block that is not zero-filled, or null;
 * memory_free returns null on success. memory_copy copies strictly forward, one byte
 * at a time (an overlapping destination above the source repeats the first bytes);
 * memory_zero clears count bytes. Counts are unsigned 32-bit.
 * ---------------------------------------------------------------------------- */
KORVIMG_API void *KORVIMG_CALL memory_alloc(uint32_t size);
KORVIMG_API void *KORVIMG_CALL memory_free(void *block);
KORVIMG_API void KORVIMG_CALL memory_zero(void *destination, uint32_t count);
KORVIMG_API void KORVIMG_CALL memory_copy(void *destination, const void *source, uint32_t count);

#ifdef __cplusplus
}
#endif

#endif /* KORVIMG_H */
