// A naive model of colour correction and white balance, written from the rules: the
// corrected colour of one pixel at a time, a context whose cache is a map of the
// entries that were ever written (all others are identities stamped 0), and the
// white-balance walks sample by sample with run-time pattern and depth.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <vector>

namespace model {

struct Bgr {
    uint8_t b, g, r;
    bool operator==(const Bgr &o) const { return b == o.b && g == o.g && r == o.r; }
};

struct ColourParams {
    double red_gain = 1, red_offset = 0, green_gain = 1, green_offset = 0, blue_gain = 1, blue_offset = 0;
    double hue_shift = 0, saturation_gain = 1, lightness_gain = 1, lightness_offset = 0;
    std::array<double, 12> m{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    uint32_t use_matrix = 0;
};

// The two models for one colour.
Bgr hsl_correct(const ColourParams &p, Bgr in);
Bgr matrix_correct(const ColourParams &p, Bgr in);

// The context: parameters, the 8-bit generation and the entries written so far.
struct ColourContext {
    ColourParams p;
    uint8_t generation = 0;
    std::map<uint32_t, std::array<uint8_t, 4>> written;  // by cache index

    // Every setter of the library; each moves the generation on by one.
    void set(double rg, double ro, double gg, double go, double bg, double bo, double hue, double sat, double lg,
             double lo);
    void set_rgb(double rg, double ro, double gg, double go, double bg, double bo);
    void set_hsl(double hue, double sat, double lg, double lo);
    void set_matrix(const double *m12);
    void use_matrix(uint32_t flag);
    // Corrects pixels of `step` bytes in place.
    void apply(std::vector<uint8_t> &image, int step);
};

// White balance of a raw frame (pattern code 0 rggb, 1 grbg, 2 gbrg, 3 bggr) or of
// count pixels of `channels` samples. Samples as values.
struct Gains {
    double red, blue;
};
Gains white_balance_raw(const std::vector<uint32_t> &raw, int pattern, int32_t width, int32_t height);
Gains white_balance_colour(const std::vector<uint32_t> &px, int channels, int32_t count);

}  // namespace model
