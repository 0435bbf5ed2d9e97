// Colour correction of 8-bit images in place through a context's colour cache. A
// pixel whose cache entry carries the current generation is a table copy; any other
// is computed by the matrix or by the gain/offset + HSL model, in double precision,
// and the result is stored back with the current stamp.
#include <algorithm>
#include <cmath>

#include "colour/correction.h"
#include "frame/traits.h"

namespace korvimg {

// "while (h > stop) h -= 360" in double precision, for stop >= 1024, without taking
// one step per turn. Within a binade [2^e, 2^(e+1)) every value is a multiple of its
// unit u, and h - 360 rounds to h - d for one fixed d: 360 itself while u <= 8, the
// nearest multiple of u otherwise (the tie at u = 16, 22.5 units, goes to the even
// multiple, 22 units, once the first step in the binade has made the value even).
// So two equal steps in a row inside one binade show the step every further one
// takes there, and the steps that stay clear of the binade's floor and of stop are
// taken at once: h - n * d is exact, being a multiple of u inside the binade. Near
// the floor and near stop the steps are taken one by one. Returns NaN when a step no
// longer changes h (above 2^62, where half a unit exceeds 360; from 2^62 itself the
// step goes down into the binade below), as the loop would then never end.
double subtract_turns(double h, double stop) {
    double previous_step = 0.0;
    while (h > stop) {
        const double next = h - 360.0;
        if (next == h) return std::nan("");
        const double step = h - next;  // exact: next lies within a factor 2 of h
        const bool same_binade = std::ilogb(next) == std::ilogb(h);
        h = next;
        if (h <= stop) break;
        if (same_binade && step == previous_step) {
            const double bottom = std::max(stop, std::ldexp(1.0, std::ilogb(h)));
            // A margin of 1024 keeps every skipped value at least 360 above the bottom,
            // even if the quotient rounds n up by one.
            const double room = h - bottom - 1024.0;
            if (room > step) h -= std::floor(room / step) * step;
        }
        previous_step = same_binade ? step : 0.0;
    }
    return h;
}

namespace {

// Brings a hue into 0..360 as "while below 0 add 360, then while above 360 subtract
// 360" does, without taking one step per turn. Up to 2^55 in magnitude every step of
// that loop is exact (360 is a multiple of the value's unit there), so jumping by a
// whole number of turns that does not overshoot, then finishing with the loop
// itself, gives the loop's very result. Beyond 2^55 the steps round, and
// subtract_turns follows them down to 2^55 (adding 360 to a negative value rounds as
// subtracting it from its magnitude does). Above 2^62, and for infinities, the loop
// would never finish (adding 360 no longer changes the value); such a hue is taken
// as 0. So is a NaN, which the loop would leave as it is and which no range of the
// conversion back to red, green and blue takes: a grey then stays grey.
double wrap_hue(double hue) {
    constexpr double kExact = 36028797018963968.0;  // 2^55
    if (hue != hue) return 0.0;
    if (hue > kExact || hue < -kExact) {
        const double magnitude = subtract_turns(std::fabs(hue), kExact);
        if (magnitude != magnitude) return 0.0;  // the loop would never end
        hue = hue < 0.0 ? -magnitude : magnitude;
    }
    if (hue < 0.0) {
        const double turns = std::floor(-hue / 360.0) - 1.0;
        if (turns > 0.0) hue += 360.0 * turns;
        while (hue < 0.0) hue += 360.0;
    }
    if (hue > 360.0) {
        const double turns = std::floor(hue / 360.0) - 1.0;
        if (turns > 0.0) hue -= 360.0 * turns;
        while (hue > 360.0) hue -= 360.0;
    }
    return hue;
}

// Above 255 gives 255, below 0 gives 0, anything else is truncated toward zero. A NaN
// (possible only from NaN parameters) gives 0.
uint32_t to_byte(double v) {
    if (v > 255.0) return 255;
    if (v < 0.0) return 0;
    if (v != v) return 0;
    return static_cast<uint32_t>(static_cast<int32_t>(v));
}

double clamp_unit(double v) {
    if (v > 1.0) return 1.0;
    if (v < 0.0) return 0.0;
    return v;
}

double at_most_one(double v) { return v > 1.0 ? 1.0 : v; }

// Sample units throughout; each output is its row sum plus the constant row's offset.
uint32_t matrix_model(const ColorCorrectionContext &c, uint32_t blue, uint32_t green, uint32_t red) {
    const double *m = c.matrix;
    const double r = red, g = green, b = blue;
    const double out_red = m[0] * r + m[3] * g + m[6] * b + m[9];
    const double out_green = m[1] * r + m[4] * g + m[7] * b + m[10];
    const double out_blue = m[2] * r + m[5] * g + m[8] * b + m[11];
    return colour_cache_entry(to_byte(out_blue), to_byte(out_green), to_byte(out_red), 0);
}

// One channel of the HSL-to-RGB conversion for the channel weight w.
double hsl_channel(double saturation, double lightness, double w) {
    const double c = 2.0 * saturation * w + (1.0 - saturation);
    if (lightness < 0.5) return lightness * c;
    return (1.0 - lightness) * c + 2.0 * lightness - 1.0;
}

uint32_t hsl_model(const ColorCorrectionContext &c, uint32_t blue, uint32_t green, uint32_t red) {
    // Gains and offsets, on the 0..1 scale.
    const double r = clamp_unit((static_cast<double>(red) * c.red_gain + c.red_offset) / 255.0);
    const double g = clamp_unit((static_cast<double>(green) * c.green_gain + c.green_offset) / 255.0);
    const double b = clamp_unit((static_cast<double>(blue) * c.blue_gain + c.blue_offset) / 255.0);

    // To hue (-60..300, not wrapped), saturation and lightness.
    double max = r, min = r;
    if (g > max) max = g;
    if (b > max) max = b;
    if (g < min) min = g;
    if (b < min) min = b;
    const double delta = max - min;
    double lightness = (max + min) * 0.5;
    double saturation = 0.0;
    if (lightness > 0.0 && lightness < 1.0)
        saturation = lightness < 0.5 ? delta / (2.0 * lightness) : delta / (2.0 - 2.0 * lightness);
    double hue = 0.0;
    if (delta > 0.0) {
        if (max == r && max != g) hue = 60.0 * (g - b) / delta;
        else if (max == g && max != b) hue = 60.0 * (2.0 + (b - r) / delta);
        else hue = 60.0 * (4.0 + (r - g) / delta);
    }

    // The adjustments.
    hue = hue + c.hue_shift;
    saturation = clamp_unit(saturation * c.saturation_gain);
    lightness = clamp_unit(lightness * c.lightness_gain + c.lightness_offset);

    // Back to red, green, blue. 360 itself is kept as 360.
    hue = wrap_hue(hue);
    double wr, wg, wb;
    if (hue < 120.0) {
        wr = at_most_one((120.0 - hue) / 60.0);
        wg = at_most_one(hue / 60.0);
        wb = 0.0;
    } else if (hue < 240.0) {
        wr = 0.0;
        wg = at_most_one((240.0 - hue) / 60.0);
        wb = at_most_one((hue - 120.0) / 60.0);
    } else {
        wr = at_most_one((hue - 240.0) / 60.0);
        wg = 0.0;
        wb = at_most_one((360.0 - hue) / 60.0);
    }
    return colour_cache_entry(to_byte(hsl_channel(saturation, lightness, wb) * 255.0),
                              to_byte(hsl_channel(saturation, lightness, wg) * 255.0),
                              to_byte(hsl_channel(saturation, lightness, wr) * 255.0), 0);
}

// count pixels of Step bytes (3 or 4) from image on, one after the other; only the
// first three bytes of a pixel are read or written.
template <int Step>
void correct_run(ColorCorrectionContext &c, uint32_t stamp, uint8_t *image, int32_t count) {
    // Neighbouring colours of an image are far apart in the cache, so nearly every
    // pixel's entry is a miss; the entry kPrefetch pixels ahead is asked for early, so
    // that many misses are under way at once instead of one after the other.
    constexpr int32_t kPrefetch = 32;
    const int32_t ahead = count > kPrefetch ? count - kPrefetch : 0;
    for (int32_t i = 0; i < count; ++i, image += Step) {
#if defined(__GNUC__)
        if (i < ahead) {
            const uint8_t *next = image + kPrefetch * Step;
            __builtin_prefetch(&c.cache[colour_cache_index(next[0], next[1], next[2])], 1, 0);
        }
#endif
        const uint32_t blue = image[0], green = image[1], red = image[2];
        uint32_t &entry = c.cache[colour_cache_index(blue, green, red)];
        if ((entry & 0xff000000u) != stamp)
            entry = (c.use_matrix != 0 ? matrix_model(c, blue, green, red) : hsl_model(c, blue, green, red)) | stamp;
        const uint32_t e = entry;
        image[0] = static_cast<uint8_t>(e);
        image[1] = static_cast<uint8_t>(e >> 8);
        image[2] = static_cast<uint8_t>(e >> 16);
    }
}

struct Run {
    ColorCorrectionContext *context;
    uint32_t stamp;
};

// Eight pixels by correct_run, for the vector kernel.
template <int Step>
void correct_group(void *run, uint8_t *group) {
    const Run &r = *static_cast<const Run *>(run);
    correct_run<Step>(*r.context, r.stamp, group, 8);
}

template <int Step>
uint32_t correct(Isa isa, ColorCorrectionContext *context, uint8_t *image, int32_t width, int32_t height) {
    if (context == nullptr) return 0;
    const int32_t count = wrapped_product(width, height);
    if (count <= 0) return 1;
    ColorCorrectionContext &c = *context;
    const uint32_t stamp = static_cast<uint32_t>(c.generation) << 24;
#if KORVIMG_X86
    if (usable_isa(isa) == Isa::avx2) {
        // Groups of eight whose entries are all current are copied by the vector
        // kernel; a group with a stale entry is done pixel by pixel, in order, as
        // below: pixels that are current read the same entries either way, and the
        // stale ones are computed and stored one after the other, so a colour that
        // repeats within the group is computed once. The last count % 8 pixels
        // follow pixel by pixel.
        Run run{&c, stamp};
        const int32_t done = avx2::correct_groups<Step>(c.cache, stamp, image, count, &correct_group<Step>, &run);
        correct_run<Step>(c, stamp, image + static_cast<size_t>(done) * Step, count - done);
        return 1;
    }
#endif
    (void)isa;
    correct_run<Step>(c, stamp, image, count);
    return 1;
}

}  // namespace

uint32_t color_correction_isa(Isa isa, ColorCorrectionContext *context, uint8_t *image, int32_t width,
                              int32_t height, int step) {
    return step == 4 ? correct<4>(isa, context, image, width, height) : correct<3>(isa, context, image, width, height);
}

}  // namespace korvimg

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction24(ColorCorrectionContext *context, uint8_t *image,
                                                               int32_t width, int32_t height) {
    return korvimg::correct<3>(korvimg::best_isa(), context, image, width, height);
}

extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction32(ColorCorrectionContext *context, uint8_t *image,
                                                               int32_t width, int32_t height) {
    return korvimg::correct<4>(korvimg::best_isa(), context, image, width, height);
}

// The 16-bit formats are not corrected: nothing is read or written, whatever the
// arguments. Also published as color_correction64.
extern "C" KORVIMG_API uint32_t KORVIMG_CALL color_correction48(ColorCorrectionContext *, uint16_t *, int32_t,
                                                               int32_t) {
    return 0;
}
