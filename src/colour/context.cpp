// Creating, releasing, changing and reading a colour-correction context. Every
// operation returns 0 for a null context and touches nothing then.
#include <cstdint>
#include <cstring>

#include "colour/context.h"
#include "frame/memory.h"

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace korvimg {
namespace {

// The 64 MiB cache is filled at once and then read at random, one entry per pixel:
// on Linux, ask for transparent huge pages for it, which makes the first touch of
// its pages and the lookups' address translation much cheaper. Only a hint; the
// memory and its contents are the same either way.
void prefer_huge_pages(void *block, size_t size) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    const uintptr_t page = 4096;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(block) + page - 1) & ~(page - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + size) & ~(page - 1);
    if (end > begin) madvise(reinterpret_cast<void *>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)block;
    (void)size;
#endif
}

// Every entry holds its own colour, stamp 0. Rows of 256 greens share blue and red,
// so the inner loop is a plain vectorisable store of base | g << 8.
void fill_identity(uint32_t *cache) {
    for (uint32_t blue = 0; blue < 256; ++blue)
        for (uint32_t red = 0; red < 256; ++red) {
            uint32_t *row = cache + colour_cache_index(blue, 0, red);
            const uint32_t base = colour_cache_entry(blue, 0, red, 0);
            for (uint32_t green = 0; green < 256; ++green) row[green] = base | green << 8;
        }
}

// Called by every setter, also when nothing changed. Entries are not touched: each is
// recomputed when it is next used with a stale stamp, and after 256 steps an old
// stamp counts as current again.
void advance(ColorCorrectionContext &c) { c.generation = static_cast<uint8_t>(c.generation + 1); }

void store_rgb(ColorCorrectionContext &c, double red_gain, double red_offset, double green_gain,
               double green_offset, double blue_gain, double blue_offset) {
    c.red_gain = red_gain;
    c.red_offset = red_offset;
    c.green_gain = green_gain;
    c.green_offset = green_offset;
    c.blue_gain = blue_gain;
    c.blue_offset = blue_offset;
}

void store_hsl(ColorCorrectionContext &c, double hue_shift, double saturation_gain, double lightness_gain,
               double lightness_offset) {
    c.hue_shift = hue_shift;
    c.saturation_gain = saturation_gain;
    c.lightness_gain = lightness_gain;
    c.lightness_offset = lightness_offset;
}

}  // namespace

ColorCorrectionContext *create_context(const MemoryServices &memory) {
    auto *c = static_cast<ColorCorrectionContext *>(memory.alloc(sizeof(ColorCorrectionContext)));
    if (c == nullptr) return nullptr;
    prefer_huge_pages(c, sizeof(ColorCorrectionContext));
    fill_identity(c->cache);
    c->use_matrix = 0;
    for (int k = 0; k < 12; ++k) c->matrix[k] = (k == 0 || k == 4 || k == 8) ? 1.0 : 0.0;
    store_rgb(*c, 1.0, 0.0, 1.0, 0.0, 1.0, 0.0);
    store_hsl(*c, 0.0, 1.0, 1.0, 0.0);
    c->generation = 0;
    return c;
}

uint32_t release_context(ColorCorrectionContext *context, const MemoryServices &memory) {
    if (context == nullptr) return 0;
    memory.release(context);
    return 1;
}

}  // namespace korvimg

using korvimg::advance;

extern "C" KORVIMG_API ColorCorrectionContext *KORVIMG_CALL color_correction_init(void) {
    return korvimg::create_context(korvimg::kLibraryMemory);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_done(ColorCorrectionContext *context) {
    return korvimg::release_context(context, korvimg::kLibraryMemory);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_set(
    ColorCorrectionContext *context, double red_gain, double red_offset, double green_gain, double green_offset,
    double blue_gain, double blue_offset, double hue_shift, double saturation_gain, double lightness_gain,
    double lightness_offset) {
    if (context == nullptr) return 0;
    korvimg::store_rgb(*context, red_gain, red_offset, green_gain, green_offset, blue_gain, blue_offset);
    korvimg::store_hsl(*context, hue_shift, saturation_gain, lightness_gain, lightness_offset);
    advance(*context);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_setrgb(ColorCorrectionContext *context,
                                                                    double red_gain, double red_offset,
                                                                    double green_gain, double green_offset,
                                                                    double blue_gain, double blue_offset) {
    if (context == nullptr) return 0;
    korvimg::store_rgb(*context, red_gain, red_offset, green_gain, green_offset, blue_gain, blue_offset);
    advance(*context);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_getrgb(ColorCorrectionContext *context,
                                                                    double *red_gain, double *red_offset,
                                                                    double *green_gain, double *green_offset,
                                                                    double *blue_gain, double *blue_offset) {
    if (context == nullptr) return 0;
    *red_gain = context->red_gain;
    *red_offset = context->red_offset;
    *green_gain = context->green_gain;
    *green_offset = context->green_offset;
    *blue_gain = context->blue_gain;
    *blue_offset = context->blue_offset;
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_sethsl(ColorCorrectionContext *context,
                                                                    double hue_shift, double saturation_gain,
                                                                    double lightness_gain,
                                                                    double lightness_offset) {
    if (context == nullptr) return 0;
    korvimg::store_hsl(*context, hue_shift, saturation_gain, lightness_gain, lightness_offset);
    advance(*context);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_gethsl(ColorCorrectionContext *context,
                                                                    double *hue_shift, double *saturation_gain,
                                                                    double *lightness_gain,
                                                                    double *lightness_offset) {
    if (context == nullptr) return 0;
    *hue_shift = context->hue_shift;
    *saturation_gain = context->saturation_gain;
    *lightness_gain = context->lightness_gain;
    *lightness_offset = context->lightness_offset;
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_setmatrix(ColorCorrectionContext *context,
                                                                       const double *matrix) {
    if (context == nullptr) return 0;
    std::memcpy(context->matrix, matrix, sizeof context->matrix);
    advance(*context);
    return 1;
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_getmatrix(ColorCorrectionContext *context,
                                                                       double *matrix) {
    if (context == nullptr) return 0;
    std::memcpy(matrix, context->matrix, sizeof context->matrix);
    return 1;
}

// Reports 0 whether or not it stored the flag; callers cannot tell the two apart.
extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction_usematrix(ColorCorrectionContext *context,
                                                                       uint32_t use_matrix) {
    if (context == nullptr) return 0;
    context->use_matrix = use_matrix;
    advance(*context);
    return 0;
}
