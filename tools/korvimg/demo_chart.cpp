#include "demo_chart.h"

#include <array>
#include <cmath>

namespace kvcli {

namespace {

using Rgb = std::array<double, 3>;
constexpr double kPi = 3.14159265358979323846;

// 24 patches: skin tones, sky, foliage, the primaries and secondaries, and a grey ramp.
const uint8_t kPatches[24][3] = {
    {115, 82, 68},   {194, 150, 130}, {98, 122, 157},  {87, 108, 67},   {133, 128, 177}, {103, 189, 170},
    {214, 126, 44},  {80, 91, 166},   {193, 90, 99},   {94, 60, 108},   {157, 188, 64},  {224, 163, 46},
    {56, 61, 150},   {70, 148, 73},   {175, 54, 60},   {231, 199, 31},  {187, 86, 149},  {8, 133, 161},
    {243, 243, 242}, {200, 200, 200}, {160, 160, 160}, {122, 122, 121}, {85, 85, 85},    {52, 52, 52},
};

Rgb grey(double v) { return {v, v, v}; }

// The chart at a point (x right, y down, in pixels); qw, qh: size of a quarter.
Rgb chart_at(double x, double y, double qw, double qh) {
    if (y < qh && x < qw) {  // colour patches, 6 x 4, with dark borders (odd-sized,
        // so that patch edges do not all fall between 2 x 2 tiles)
        const double pw = qw / 6, ph = qh / 4;
        const int i = static_cast<int>(x / pw), j = static_cast<int>(y / ph);
        const double u = x - i * pw, v = y - j * ph;
        if (u < 3 || v < 3 || u > pw - 2 || v > ph - 2) return grey(0.05);
        const uint8_t *c = kPatches[j * 6 + i];
        return {c[0] / 255.0, c[1] / 255.0, c[2] / 255.0};
    }
    if (y < qh) {  // Siemens star of 18 black and 18 white spokes
        const double dx = x - 1.5 * qw, dy = y - 0.5 * qh;
        const double r = std::sqrt(dx * dx + dy * dy);
        if (r > 0.47 * qh || r < 2) return grey(0.5);
        return grey(std::sin(18 * std::atan2(dy, dx)) >= 0 ? 0.95 : 0.05);
    }
    if (x < qw) {  // zone plate: the frequency reaches the sampling limit at r = qw / 2
        const double dx = x - 0.5 * qw, dy = y - 1.5 * qh;
        const double k = kPi / qw;
        return grey(0.5 + 0.45 * std::cos(k * (dx * dx + dy * dy)));
    }
    const double u = x - qw, v = y - qh;  // fine detail quarter
    if (u < qw / 3) {  // a black/white edge 5 degrees off vertical
        const double edge = qw / 6 + (v - qh / 2) * std::tan(5 * kPi / 180);
        return grey(u > edge ? 0.9 : 0.1);
    }
    if (v < qh / 2) {
        // One-pixel lines, vertical (left) and horizontal (right), with periods 2, 3, 4
        // and 6 in four bands.
        const double bandw = qh / 8;
        const int band = static_cast<int>(v / bandw);
        const double period = band == 0 ? 2 : band == 1 ? 3 : band == 2 ? 4 : 6;
        if (u < 2 * qw / 3) return grey(std::fmod(x, period) < 1 ? 0.05 : 0.95);
        const int column = static_cast<int>((u - 2 * qw / 3) / (qw / 12));
        const double p2 = column == 0 ? 2 : column == 1 ? 3 : column == 2 ? 4 : 6;
        return grey(std::fmod(y, p2) < 1 ? 0.05 : 0.95);
    }
    // Colour edges slanted 30 degrees: red|cyan, blue|yellow, green|magenta, red|blue.
    static const Rgb kPairs[4][2] = {{{0.9, 0.1, 0.1}, {0.1, 0.9, 0.9}},
                                     {{0.1, 0.1, 0.9}, {0.9, 0.9, 0.1}},
                                     {{0.1, 0.8, 0.1}, {0.9, 0.1, 0.9}},
                                     {{0.9, 0.1, 0.1}, {0.1, 0.1, 0.9}}};
    const double bandh = qh / 8;
    const int band = static_cast<int>((v - qh / 2) / bandh);
    const double centre = qh / 2 + (band + 0.5) * bandh;
    const double edge = qw * 2 / 3 + (v - centre) * std::tan(30 * kPi / 180);
    return kPairs[band & 3][u > edge ? 1 : 0];
}

uint8_t to_byte(double v) {
    const double s = std::floor(v * 255 + 0.5);
    return static_cast<uint8_t>(s < 0 ? 0 : s > 255 ? 255 : s);
}

}  // namespace

ColourImage render_chart(int32_t width, int32_t height) {
    ColourImage img;
    img.allocate(width, height, 3, 8);
    const double qw = width / 2.0, qh = height / 2.0;
    constexpr int kSub = 4;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            Rgb sum{0, 0, 0};
            for (int j = 0; j < kSub; ++j)
                for (int i = 0; i < kSub; ++i) {
                    const Rgb c = chart_at(x + (i + 0.5) / kSub, y + (j + 0.5) / kSub, qw, qh);
                    for (int k = 0; k < 3; ++k) sum[static_cast<size_t>(k)] += c[static_cast<size_t>(k)];
                }
            uint8_t *px = &img.p8[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3];
            px[0] = to_byte(sum[2] / (kSub * kSub));
            px[1] = to_byte(sum[1] / (kSub * kSub));
            px[2] = to_byte(sum[0] / (kSub * kSub));
        }
    return img;
}

ColourImage reduce_chart(const ColourImage &chart) {
    ColourImage out;
    out.allocate(chart.width / 2, chart.height / 2, 3, 8);
    const size_t w = static_cast<size_t>(chart.width);
    for (size_t y = 0; y < static_cast<size_t>(out.height); ++y)
        for (size_t x = 0; x < static_cast<size_t>(out.width); ++x)
            for (size_t c = 0; c < 3; ++c) {
                const uint32_t s = chart.p8[((2 * y) * w + 2 * x) * 3 + c] + chart.p8[((2 * y) * w + 2 * x + 1) * 3 + c] +
                                   chart.p8[((2 * y + 1) * w + 2 * x) * 3 + c] +
                                   chart.p8[((2 * y + 1) * w + 2 * x + 1) * 3 + c];
                out.p8[(y * static_cast<size_t>(out.width) + x) * 3 + c] = static_cast<uint8_t>((s + 2) / 4);
            }
    return out;
}

RawFrame mosaic_of(const ColourImage &chart, int pattern) {
    // Channel (B 0, G 1, R 2) of each tile position, by pattern code: rggb, grbg, gbrg, bggr.
    static const int kSites[4][4] = {{2, 1, 1, 0}, {1, 2, 0, 1}, {1, 0, 2, 1}, {0, 1, 1, 2}};
    RawFrame raw;
    raw.allocate(chart.width, chart.height, 8);
    for (size_t y = 0; y < static_cast<size_t>(chart.height); ++y)
        for (size_t x = 0; x < static_cast<size_t>(chart.width); ++x) {
            const size_t i = y * static_cast<size_t>(chart.width) + x;
            raw.s8[i] = chart.p8[i * 3 + static_cast<size_t>(kSites[pattern][(y % 2) * 2 + x % 2])];
        }
    return raw;
}

double psnr(const ColourImage &image, const ColourImage &reference, int32_t left, int32_t top, int32_t width,
            int32_t height) {
    double sum = 0;
    const size_t ch = static_cast<size_t>(image.channels);
    for (int32_t y = top; y < top + height; ++y)
        for (int32_t x = left; x < left + width; ++x) {
            const size_t i = static_cast<size_t>(y) * static_cast<size_t>(reference.width) + static_cast<size_t>(x);
            for (size_t c = 0; c < 3; ++c) {
                const double d = double(image.p8[i * ch + c]) - double(reference.p8[i * 3 + c]);
                sum += d * d;
            }
        }
    if (sum == 0) return 99;
    return 10 * std::log10(255.0 * 255.0 / (sum / (double(width) * double(height) * 3)));
}

double psnr(const ColourImage &image, const ColourImage &reference) {
    return psnr(image, reference, 0, 0, reference.width, reference.height);
}

}  // namespace kvcli
