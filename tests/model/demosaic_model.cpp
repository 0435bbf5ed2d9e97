#include "model/demosaic_model.h"

namespace model {

int colour_at(int pattern, int64_t y, int64_t x) {
    static const char *const names[4] = {"rggb", "grbg", "gbrg", "bggr"};
    const char c = names[pattern][(y % 2) * 2 + (x % 2)];
    return c == 'b' ? kBlue : c == 'g' ? kGreen : kRed;
}

Image demosaic(int method, int depth, int pattern, const std::vector<uint32_t> &raw, int32_t width, int32_t height) {
    Image img;
    img.channels = (depth == 24 || depth == 48) ? 3 : 4;
    switch (method) {
        case 0: mono(img, raw, width, height); break;
        case 1: case 2: case 3: case 7: tile_method(img, method, pattern, raw, width, height); break;
        case 4: case 5: case 6: interpolating(img, method, depth, pattern, raw, width, height); break;
        default: img.known = false; break;
    }
    return img;
}

void mono(Image &img, const std::vector<uint32_t> &raw, int32_t width, int32_t height) {
    const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(width) * static_cast<uint32_t>(height));
    img.result = 1;
    if (n < 1) return;
    img.pixels = n;
    for (int32_t k = 0; k < n; ++k) {
        const uint32_t s = raw[static_cast<size_t>(k)];
        img.px.insert(img.px.end(), {s, s, s});
        if (img.channels == 4) img.px.push_back(0);
    }
}

// bayer (1), nearest (2), simple (3), preview (7).
void tile_method(Image &img, int method, int pattern, const std::vector<uint32_t> &raw, int32_t width, int32_t height) {
    if (width % 2 != 0 || height % 2 != 0) {
        img.result = 0;
        return;
    }
    img.result = 1;
    if (height / 2 < 1 || width / 2 < 1) return;
    const int64_t w = width, h = height;
    auto sample = [&](int64_t y, int64_t x) { return raw[static_cast<size_t>(y * w + x)]; };
    // The sample of colour c in the tile holding (y, x); for green, the green of the
    // tile row `row` (0 top, 1 bottom).
    auto in_tile = [&](int64_t y, int64_t x, int c, int row) -> uint32_t {
        const int64_t ty = y / 2 * 2, tx = x / 2 * 2;
        for (int i = 0; i < 2; ++i)
            for (int j = 0; j < 2; ++j)
                if (colour_at(pattern, ty + i, tx + j) == c && (c != kGreen || i == row)) return sample(ty + i, tx + j);
        return 0xDEADu;
    };
    auto emit = [&](uint32_t b, uint32_t g, uint32_t r) {
        img.px.insert(img.px.end(), {b, g, r});
        if (img.channels == 4) img.px.push_back(0);
        ++img.pixels;
    };
    if (method == 7) {
        for (int64_t t = 0; t < h / 2; ++t)
            for (int64_t u = 0; u < w / 2; ++u) {
                const int64_t y = 2 * t, x = 2 * u;
                emit(in_tile(y, x, kBlue, 0), (in_tile(y, x, kGreen, 0) + in_tile(y, x, kGreen, 1)) / 2, in_tile(y, x, kRed, 0));
            }
        return;
    }
    for (int64_t y = 0; y < h; ++y) {
        for (int64_t x = 0; x < w; ++x) {
            const uint32_t s = sample(y, x);
            const int c = colour_at(pattern, y, x);
            if (method == 1) {
                emit(c == kBlue ? s : 0, c == kGreen ? s : 0, c == kRed ? s : 0);
            } else if (method == 2) {
                emit(in_tile(y, x, kBlue, 0), in_tile(y, x, kGreen, static_cast<int>(y % 2)), in_tile(y, x, kRed, 0));
            } else {
                emit(in_tile(y, x, kBlue, 0), (in_tile(y, x, kGreen, 0) + in_tile(y, x, kGreen, 1)) / 2, in_tile(y, x, kRed, 0));
            }
        }
    }
}

}  // namespace model
