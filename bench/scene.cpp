// The benchmark scene (bench.h).
#include <algorithm>
#include <cmath>
#include <random>

#include "bench.h"

namespace bench {
namespace {

// Colour c (0 blue, 1 green, 2 red) of the scene at (x, y), about 0..1.
double colour(int x, int y, int c) {
    // Smooth, slowly varying shading.
    double v = 0.45 + 0.25 * std::sin(x * 0.0021 + c) * std::cos(y * 0.0017 - 0.5 * c) + 0.15 * x / kWidth;
    // A grid of discs and rectangles with sharp edges.
    const int cx = x % 480 - 240, cy = y % 360 - 180;
    if (cx * cx + cy * cy < 110 * 110) v = 0.85 - 0.3 * c + 0.1 * ((x / 480 + y / 360) % 3);
    else if (std::abs(cx) < 200 && std::abs(cy) < 150 && std::abs(cx) > 160) v = 0.15 + 0.3 * c;
    // A band of fine detail: stripes three pixels wide and a checkerboard.
    if (y >= 1500 && y < 1700) v = (x / 3) % 2 ? 0.9 : 0.1;
    if (y >= 1700 && y < 1760) v = ((x / 2 + y / 2) % 2) ? 0.8 : 0.2;
    return v;
}

Scene make_scene() {
    Scene s;
    s.raw8.resize(kPixels);
    s.raw16.resize(kPixels);
    s.bgr24.resize(kPixels * 3);
    s.bgrx32.resize(kPixels * 4);
    s.bgr48.resize(kPixels * 3);
    s.bgrx64.resize(kPixels * 4);
    std::mt19937 rng(7);
    std::normal_distribution<double> noise(0.0, 0.015);
    auto to = [](double v, double maxv) { return std::clamp(std::lround(v * maxv), 0L, static_cast<long>(maxv)); };
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const size_t k = static_cast<size_t>(y) * kWidth + x;
            double bgr[3];
            for (int c = 0; c < 3; ++c) bgr[c] = colour(x, y, c) + noise(rng);
            for (int c = 0; c < 3; ++c) {
                s.bgr24[k * 3 + c] = static_cast<uint8_t>(to(bgr[c], 255));
                s.bgrx32[k * 4 + c] = static_cast<uint8_t>(to(bgr[c], 255));
                s.bgr48[k * 3 + c] = static_cast<uint16_t>(to(bgr[c], 4095));
                s.bgrx64[k * 4 + c] = static_cast<uint16_t>(to(bgr[c], 4095));
            }
            s.bgrx32[k * 4 + 3] = 0;
            s.bgrx64[k * 4 + 3] = 0;
            // rggb: red at (even, even), blue at (odd, odd), green elsewhere.
            const int c = (y % 2 == 0 && x % 2 == 0) ? 2 : (y % 2 == 1 && x % 2 == 1) ? 0 : 1;
            s.raw8[k] = static_cast<uint8_t>(to(bgr[c], 255));
            s.raw16[k] = static_cast<uint16_t>(to(bgr[c], 4095));
        }
    }
    return s;
}

}  // namespace

const Scene &scene() {
    static const Scene s = make_scene();
    return s;
}

}  // namespace bench
