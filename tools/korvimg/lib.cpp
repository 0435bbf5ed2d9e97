#include "lib.h"

namespace kvcli {

const char *const kMethodNames[kMethods] = {"mono",     "bayer",    "nearest",   "simple",
                                            "bilinear", "adaptive", "laplacian", "preview"};
const char *const kPatternNames[4] = {"rggb", "grbg", "gbrg", "bggr"};

namespace {

template <class S> using Member = LibFn<uint32_t(KORVIMG_CALL *)(const S *, int32_t, int32_t, S *)>;
template <class S> using Family = Member<S>[4];

// Every member by [method][pattern], one table per output format.
#define KVCLI_METHODS(depth)                                                                          \
    {                                                                                                 \
        KVCLI_BY_PATTERN(mono##depth), KVCLI_BY_PATTERN(bayer##depth), KVCLI_BY_PATTERN(nearest##depth), \
            KVCLI_BY_PATTERN(simple##depth), KVCLI_BY_PATTERN(bilinear##depth),                        \
            KVCLI_BY_PATTERN(adaptive##depth), KVCLI_BY_PATTERN(laplacian##depth),                      \
            KVCLI_BY_PATTERN(preview##depth)                                                          \
    }
const Member<uint8_t> k24[kMethods][4] = KVCLI_METHODS(24);
const Member<uint8_t> k32[kMethods][4] = KVCLI_METHODS(32);
const Member<uint16_t> k48[kMethods][4] = KVCLI_METHODS(48);
const Member<uint16_t> k64[kMethods][4] = KVCLI_METHODS(64);
#undef KVCLI_METHODS

template <class S> bool all_present(const Member<S> (&table)[kMethods][4], int method) {
    for (const auto &m : table[method])
        if (!m) return false;
    return true;
}

}  // namespace

int method_code(const std::string &name) {
    for (int i = 0; i < kMethods; ++i)
        if (name == kMethodNames[i]) return i;
    return -1;
}

int pattern_code(const std::string &name) {
    for (int i = 0; i < 4; ++i)
        if (name == kPatternNames[i]) return i;
    return -1;
}

bool method_available(int method) {
    return method >= 0 && method < kMethods && all_present(k24, method) && all_present(k32, method) &&
           all_present(k48, method) && all_present(k64, method);
}

int32_t output_width(int method, int32_t width) { return method == KORVIMG_PREVIEW ? width / 2 : width; }
int32_t output_height(int method, int32_t height) { return method == KORVIMG_PREVIEW ? height / 2 : height; }

int32_t minimum_size(int method) {
    if (method == KORVIMG_MONO) return 1;
    if (method == KORVIMG_BILINEAR || method == KORVIMG_ADAPTIVE || method == KORVIMG_LAPLACIAN) return 4;
    return 2;
}

uint32_t demosaic(int method, int format, int pattern, const void *source, int32_t width, int32_t height,
                  void *destination) {
    const auto *s8 = static_cast<const uint8_t *>(source);
    const auto *s16 = static_cast<const uint16_t *>(source);
    auto *d8 = static_cast<uint8_t *>(destination);
    auto *d16 = static_cast<uint16_t *>(destination);
    switch (format) {
    case 24: return k24[method][pattern](s8, width, height, d8);
    case 32: return k32[method][pattern](s8, width, height, d8);
    case 48: return k48[method][pattern](s16, width, height, d16);
    default: return k64[method][pattern](s16, width, height, d16);
    }
}

}  // namespace kvcli
