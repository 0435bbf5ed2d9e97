#include "lib.h"

namespace kvcli {

const char *const kMethodNames[kMethods] = {"mono",     "bayer",    "nearest",   "simple",
                                            "bilinear", "adaptive", "laplacian", "preview"};
const char *const kPatternNames[4] = {"rggb", "grbg", "gbrg", "bggr"};

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

int32_t output_width(int method, int32_t width) { return method == KORVIMG_PREVIEW ? width / 2 : width; }
int32_t output_height(int method, int32_t height) { return method == KORVIMG_PREVIEW ? height / 2 : height; }

int32_t minimum_size(int method) {
    if (method == KORVIMG_MONO) return 1;
    if (method == KORVIMG_BILINEAR || method == KORVIMG_ADAPTIVE || method == KORVIMG_LAPLACIAN) return 4;
    return 2;
}

void demosaic(int method, int format, int pattern, const void *source, int32_t width, int32_t height,
              void *destination) {
    const auto *s8 = static_cast<const uint8_t *>(source);
    const auto *s16 = static_cast<const uint16_t *>(source);
    auto *d8 = static_cast<uint8_t *>(destination);
    auto *d16 = static_cast<uint16_t *>(destination);
    const auto p = static_cast<uint32_t>(pattern), m = static_cast<uint32_t>(method);
    switch (format) {
    case 24: debayer24(s8, width, height, p, m, d8); break;
    case 32: debayer32(s8, width, height, p, m, d8); break;
    case 48: debayer48(s16, width, height, p, m, d16); break;
    default: debayer64(s16, width, height, p, m, d16); break;
    }
}

}  // namespace kvcli
