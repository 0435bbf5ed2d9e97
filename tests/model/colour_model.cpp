#include "model/colour_model.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "model/demosaic_model.h"

namespace model {
namespace {

uint8_t byte_of(double v) {
    if (v > 255.0) return 255;
    if (v < 0.0) return 0;
    return static_cast<uint8_t>(static_cast<int>(std::trunc(v)));
}

void limit01(double &v) {
    if (v > 1.0) v = 1.0;
    else if (v < 0.0) v = 0.0;
}

}  // namespace

Bgr matrix_correct(const ColourParams &p, Bgr in) {
    const double R = in.r, G = in.g, B = in.b;
    const auto &m = p.m;
    double out[3];  // red, green, blue
    for (int col = 0; col < 3; ++col) {
        double acc = m[col] * R;
        acc = acc + m[3 + col] * G;
        acc = acc + m[6 + col] * B;
        acc = acc + m[9 + col];
        out[col] = acc;
    }
    return Bgr{byte_of(out[2]), byte_of(out[1]), byte_of(out[0])};
}

Bgr hsl_correct(const ColourParams &p, Bgr in) {
    // 1. gain, offset, to 0..1, clamped
    double r = (in.r * p.red_gain + p.red_offset) / 255.0;
    double g = (in.g * p.green_gain + p.green_offset) / 255.0;
    double b = (in.b * p.blue_gain + p.blue_offset) / 255.0;
    limit01(r);
    limit01(g);
    limit01(b);

    // 2. to H, S, L
    const double mx = std::max(std::max(r, g), b);
    const double mn = std::min(std::min(r, g), b);
    const double d = mx - mn;
    const double L = (mx + mn) * 0.5;
    double S = 0;
    if (0 < L && L < 1) {
        if (L < 0.5) S = d / (2 * L);
        else S = d / (2 - 2 * L);
    }
    double H = 0;
    if (d > 0) {
        if (mx == r && mx != g) {
            H = 60 * (g - b);
            H = H / d;
        } else if (mx == g && mx != b) {
            H = 60 * (2 + (b - r) / d);
        } else {
            H = 60 * (4 + (r - g) / d);
        }
    }

    // 3. the parameters
    double h2 = H + p.hue_shift;
    double s2 = S * p.saturation_gain;
    limit01(s2);
    double l2 = L * p.lightness_gain;
    l2 = l2 + p.lightness_offset;
    limit01(l2);

    // 4. back
    while (h2 < 0) h2 = h2 + 360;
    while (h2 > 360) h2 = h2 - 360;
    double w[3];  // red, green, blue
    if (h2 < 120) {
        w[0] = std::min((120 - h2) / 60, 1.0);
        w[1] = std::min(h2 / 60, 1.0);
        w[2] = 0;
    } else if (h2 < 240) {
        w[0] = 0;
        w[1] = std::min((240 - h2) / 60, 1.0);
        w[2] = std::min((h2 - 120) / 60, 1.0);
    } else {
        w[0] = std::min((h2 - 240) / 60, 1.0);
        w[1] = 0;
        w[2] = std::min((360 - h2) / 60, 1.0);
    }
    uint8_t out[3];
    for (int k = 0; k < 3; ++k) {
        const double two_s = 2 * s2;
        const double c = two_s * w[k] + (1 - s2);
        double v;
        if (l2 < 0.5) {
            v = l2 * c;
        } else {
            v = (1 - l2) * c;
            v = v + 2 * l2;
            v = v - 1;
        }
        // 5. to a byte
        out[k] = byte_of(v * 255.0);
    }
    return Bgr{out[2], out[1], out[0]};
}

void ColourContext::set(double rg, double ro, double gg, double go, double bg, double bo, double hue, double sat,
                        double lg, double lo) {
    set_rgb(rg, ro, gg, go, bg, bo);
    set_hsl(hue, sat, lg, lo);
    --generation;  // one step for the whole call
}

void ColourContext::set_rgb(double rg, double ro, double gg, double go, double bg, double bo) {
    p.red_gain = rg;
    p.red_offset = ro;
    p.green_gain = gg;
    p.green_offset = go;
    p.blue_gain = bg;
    p.blue_offset = bo;
    ++generation;
}

void ColourContext::set_hsl(double hue, double sat, double lg, double lo) {
    p.hue_shift = hue;
    p.saturation_gain = sat;
    p.lightness_gain = lg;
    p.lightness_offset = lo;
    ++generation;
}

void ColourContext::set_matrix(const double *m12) {
    std::copy(m12, m12 + 12, p.m.begin());
    ++generation;
}

void ColourContext::use_matrix(uint32_t flag) {
    p.use_matrix = flag;
    ++generation;
}

void ColourContext::apply(std::vector<uint8_t> &image, int step) {
    for (size_t at = 0; at + 3 <= image.size(); at += static_cast<size_t>(step)) {
        const Bgr in{image[at], image[at + 1], image[at + 2]};
        const uint32_t index = in.b * 65536u + in.r * 256u + in.g;
        std::array<uint8_t, 4> entry{in.b, in.g, in.r, 0};
        auto found = written.find(index);
        if (found != written.end()) entry = found->second;
        if (entry[3] != generation) {
            const Bgr out = p.use_matrix ? matrix_correct(p, in) : hsl_correct(p, in);
            entry = {out.b, out.g, out.r, generation};
            written[index] = entry;
        }
        image[at] = entry[0];
        image[at + 1] = entry[1];
        image[at + 2] = entry[2];
    }
}

namespace {

Gains gains_from(uint32_t red, uint32_t green, uint32_t blue) {
    Gains out{-1.0, -1.0};
    if (red != 0) out.red = double(green) / double(red);
    if (blue != 0) out.blue = double(green) / double(blue);
    return out;
}

}  // namespace

Gains white_balance_raw(const std::vector<uint32_t> &raw, int pattern, int32_t width, int32_t height) {
    uint32_t sums[3] = {0, 0, 0};  // by model colour index: blue 0, green 1, red 2
    const int32_t rows = height / 2, cols = width / 2;
    int64_t pos = 0;
    for (int32_t ty = 0; ty < rows; ++ty) {
        for (int32_t tx = 0; tx < cols; ++tx) {
            // The four samples with the colours of the tile positions (0,0), (0,1),
            // (1,0), (1,1), whatever grid position the read position is at.
            const int64_t at[4] = {pos, pos + 1, pos + width, pos + width + 1};
            for (int k = 0; k < 4; ++k) sums[colour_at(pattern, k / 2, k % 2)] += raw.at(static_cast<size_t>(at[k]));
            pos += 2;
        }
        if (cols > 0) pos += width;
    }
    return gains_from(sums[kRed], sums[kGreen] / 2, sums[kBlue]);
}

Gains white_balance_colour(const std::vector<uint32_t> &px, int channels, int32_t count) {
    uint32_t blue = 0, green = 0, red = 0;
    for (int32_t i = 0; i < count; ++i) {
        blue += px.at(static_cast<size_t>(i) * channels);
        green += px.at(static_cast<size_t>(i) * channels + 1);
        red += px.at(static_cast<size_t>(i) * channels + 2);
    }
    return gains_from(red, green, blue);
}

}  // namespace model
