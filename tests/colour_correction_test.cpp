// The colour-correction context and its application: defaults, setters and getters,
// the generation counter, the worked examples, and the library against the model on
// random colours, parameters and set/apply sequences.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <random>
#include <vector>

#include "colour/context.h"
#include "colour/correction.h"
#include "model/colour_model.h"
#include "support/memory_log.h"
#include "support/testkit.h"

namespace {

// The field order of the context block.
static_assert(offsetof(ColorCorrectionContext, cache) == 0);
static_assert(offsetof(ColorCorrectionContext, use_matrix) == 4u << 24);
static_assert(offsetof(ColorCorrectionContext, matrix) > offsetof(ColorCorrectionContext, use_matrix));
static_assert(offsetof(ColorCorrectionContext, red_offset) == offsetof(ColorCorrectionContext, matrix) + 12 * 8);
static_assert(offsetof(ColorCorrectionContext, red_gain) == offsetof(ColorCorrectionContext, red_offset) + 8);
static_assert(offsetof(ColorCorrectionContext, green_offset) == offsetof(ColorCorrectionContext, red_gain) + 8);
static_assert(offsetof(ColorCorrectionContext, green_gain) == offsetof(ColorCorrectionContext, green_offset) + 8);
static_assert(offsetof(ColorCorrectionContext, blue_offset) == offsetof(ColorCorrectionContext, green_gain) + 8);
static_assert(offsetof(ColorCorrectionContext, blue_gain) == offsetof(ColorCorrectionContext, blue_offset) + 8);
static_assert(offsetof(ColorCorrectionContext, hue_shift) == offsetof(ColorCorrectionContext, blue_gain) + 8);
static_assert(offsetof(ColorCorrectionContext, saturation_gain) == offsetof(ColorCorrectionContext, hue_shift) + 8);
static_assert(offsetof(ColorCorrectionContext, lightness_offset) ==
              offsetof(ColorCorrectionContext, saturation_gain) + 8);
static_assert(offsetof(ColorCorrectionContext, lightness_gain) ==
              offsetof(ColorCorrectionContext, lightness_offset) + 8);
static_assert(offsetof(ColorCorrectionContext, generation) == offsetof(ColorCorrectionContext, lightness_gain) + 8);

struct Context {
    ColorCorrectionContext *c = color_correction_init();
    Context() { EXPECT_NE(c, nullptr); }
    ~Context() {
        if (c != nullptr) {
            EXPECT_EQ(color_correction_done(c), 1u);
        }
    }
    Context(const Context &) = delete;
    Context &operator=(const Context &) = delete;
};

using Bytes = std::vector<uint8_t>;

// Runs color_correction24 (step 3) or color_correction32 (step 4) on a copy of image,
// in a buffer with guard bytes after it, as a frame of `width` pixels per row.
Bytes correct(ColorCorrectionContext *c, const Bytes &image, int step, int32_t width = 0) {
    const size_t pixels = image.size() / static_cast<size_t>(step);
    if (width <= 0) width = static_cast<int32_t>(pixels);
    const int32_t height = width == 0 ? 0 : static_cast<int32_t>(pixels / static_cast<size_t>(width));
    EXPECT_EQ(static_cast<size_t>(width) * static_cast<size_t>(height), pixels);
    kt::Guarded buf(image.size(), 5);
    std::memcpy(buf.data(), image.data(), image.size());
    const uint32_t result = step == 3 ? color_correction24(c, buf.data(), width, height)
                                      : color_correction32(c, buf.data(), width, height);
    EXPECT_EQ(result, 1u);
    EXPECT_TRUE(buf.guard_intact());
    return Bytes(buf.data(), buf.data() + image.size());
}

Bytes bgr(std::initializer_list<int> values) { return Bytes(values.begin(), values.end()); }

Bytes random_image(std::mt19937 &rng, size_t pixels, int step) {
    Bytes img(pixels * static_cast<size_t>(step));
    for (auto &b : img) b = static_cast<uint8_t>(rng());
    return img;
}

// What the model makes of an image of pixels of `step` bytes, computing every pixel
// afresh (the library's cache must agree with that within one generation).
Bytes model_image(const model::ColourParams &p, Bytes img, int step) {
    for (size_t at = 0; at + 3 <= img.size(); at += static_cast<size_t>(step)) {
        const model::Bgr in{img[at], img[at + 1], img[at + 2]};
        const model::Bgr out = p.use_matrix ? model::matrix_correct(p, in) : model::hsl_correct(p, in);
        img[at] = out.b;
        img[at + 1] = out.g;
        img[at + 2] = out.r;
    }
    return img;
}

double uniform(std::mt19937 &rng, double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(rng);
}

// Random parameters over wide ranges: hue shifts far beyond one turn and exact turns,
// saturation gains 0..2, gains that clip and offsets that push channels out of range.
model::ColourParams random_params(std::mt19937 &rng) {
    model::ColourParams p;
    const auto gain = [&] { return rng() % 8 == 0 ? 1.0 : uniform(rng, -0.3, 2.5); };
    const auto offset = [&] { return rng() % 4 == 0 ? 0.0 : uniform(rng, -120.0, 120.0); };
    p.red_gain = gain();
    p.red_offset = offset();
    p.green_gain = gain();
    p.green_offset = offset();
    p.blue_gain = gain();
    p.blue_offset = offset();
    switch (rng() % 4) {
        case 0: p.hue_shift = 360.0 * (static_cast<int>(rng() % 9) - 4); break;
        case 1: p.hue_shift = uniform(rng, -400.0, 400.0); break;
        default: p.hue_shift = uniform(rng, -2000.0, 2000.0); break;
    }
    p.saturation_gain = uniform(rng, 0.0, 2.0);
    p.lightness_gain = uniform(rng, 0.0, 2.0);
    p.lightness_offset = uniform(rng, -0.6, 0.6);
    for (int k = 0; k < 9; ++k) p.m[k] = uniform(rng, -1.5, 1.5);
    for (int k = 9; k < 12; ++k) p.m[k] = rng() % 4 == 0 ? 0.0 : uniform(rng, -150.0, 150.0);
    return p;
}

uint32_t set_all(ColorCorrectionContext *c, const model::ColourParams &p) {
    return color_correction_set(c, p.red_gain, p.red_offset, p.green_gain, p.green_offset, p.blue_gain,
                                p.blue_offset, p.hue_shift, p.saturation_gain, p.lightness_gain, p.lightness_offset);
}

// The stored parameters, read back through the getters, equal the model's bit for bit.
void expect_same_parameters(ColorCorrectionContext *c, const model::ColourParams &p) {
    double v[6], m[12];
    ASSERT_EQ(color_correction_getrgb(c, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]), 1u);
    const double rgb[6] = {p.red_gain, p.red_offset, p.green_gain, p.green_offset, p.blue_gain, p.blue_offset};
    EXPECT_EQ(std::memcmp(v, rgb, sizeof rgb), 0);
    ASSERT_EQ(color_correction_gethsl(c, &v[0], &v[1], &v[2], &v[3]), 1u);
    const double hsl[4] = {p.hue_shift, p.saturation_gain, p.lightness_gain, p.lightness_offset};
    EXPECT_EQ(std::memcmp(v, hsl, sizeof hsl), 0);
    ASSERT_EQ(color_correction_getmatrix(c, m), 1u);
    EXPECT_EQ(std::memcmp(m, p.m.data(), sizeof m), 0);
    EXPECT_EQ(c->use_matrix, p.use_matrix);
}

// ---- the context ------------------------------------------------------------------

TEST(ColourContext, InitGivesIdentityCacheAndDefaults) {
    Context ctx;
    ASSERT_NE(ctx.c, nullptr);
    const uint32_t *cache = ctx.c->cache;
    size_t wrong = 0;
    for (uint32_t b = 0; b < 256; ++b)
        for (uint32_t r = 0; r < 256; ++r)
            for (uint32_t g = 0; g < 256; ++g) {
                uint8_t e[4];
                std::memcpy(e, &cache[b * 65536 + r * 256 + g], 4);
                wrong += (e[0] != b || e[1] != g || e[2] != r || e[3] != 0);
            }
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(ctx.c->generation, 0);
    expect_same_parameters(ctx.c, model::ColourParams{});
}

// The context is one block from the memory services and goes back through them.
TEST(ColourContext, OneBlockFromTheMemoryServicesAndBackThroughThem) {
    kt::MemoryLog &log = kt::memory_log();
    log = {};
    EXPECT_EQ(korvimg::create_context(kt::kRefusingMemory), nullptr);
    EXPECT_EQ(log.asked, std::vector<uint32_t>{sizeof(ColorCorrectionContext)});
    EXPECT_TRUE(log.released.empty());

    log = {};
    ColorCorrectionContext *c = korvimg::create_context(kt::kGivingMemory);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(log.asked, std::vector<uint32_t>{sizeof(ColorCorrectionContext)});
    EXPECT_EQ(log.given, std::vector<void *>{c});
    EXPECT_EQ(c->generation, 0);
    expect_same_parameters(c, model::ColourParams{});
    EXPECT_EQ(korvimg::release_context(nullptr, kt::kGivingMemory), 0u);
    EXPECT_TRUE(log.released.empty());
    EXPECT_EQ(korvimg::release_context(c, kt::kGivingMemory), 1u);
    EXPECT_EQ(log.released, std::vector<void *>{c});
    EXPECT_EQ(log.asked.size(), 1u);
}

TEST(ColourContext, NullContextIsRefusedByEveryOperation) {
    double v[12] = {7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7};
    const double m[12] = {};
    EXPECT_EQ(color_correction_done(nullptr), 0u);
    EXPECT_EQ(color_correction_set(nullptr, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0), 0u);
    EXPECT_EQ(color_correction_setrgb(nullptr, 1, 0, 1, 0, 1, 0), 0u);
    EXPECT_EQ(color_correction_sethsl(nullptr, 0, 1, 1, 0), 0u);
    EXPECT_EQ(color_correction_setmatrix(nullptr, m), 0u);
    EXPECT_EQ(color_correction_usematrix(nullptr, 1), 0u);
    EXPECT_EQ(color_correction_getrgb(nullptr, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]), 0u);
    EXPECT_EQ(color_correction_gethsl(nullptr, &v[0], &v[1], &v[2], &v[3]), 0u);
    EXPECT_EQ(color_correction_getmatrix(nullptr, v), 0u);
    for (double x : v) EXPECT_EQ(x, 7.0);
    kt::Guarded img(4 * 8, 3);
    EXPECT_EQ(color_correction24(nullptr, img.data(), 2, 4), 0u);
    EXPECT_EQ(color_correction32(nullptr, img.data(), 2, 4), 0u);
    // The context is tested before the pixel count.
    for (auto [w, h] : {std::pair{0, 5}, {-2, 3}, {65536, 32768}}) {
        EXPECT_EQ(color_correction24(nullptr, img.data(), w, h), 0u) << w << "x" << h;
        EXPECT_EQ(color_correction32(nullptr, img.data(), w, h), 0u) << w << "x" << h;
    }
    EXPECT_TRUE(img.untouched());
}

TEST(ColourContext, GetrgbAfterSetGivesGainThenOffset) {
    Context ctx;
    ASSERT_EQ(color_correction_set(ctx.c, 1.5, 10, 0.25, -3, 2, 7.5, 45, 0.5, 1.25, -0.125), 1u);
    double v[6];
    ASSERT_EQ(color_correction_getrgb(ctx.c, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]), 1u);
    EXPECT_EQ(v[0], 1.5);
    EXPECT_EQ(v[1], 10.0);
    EXPECT_EQ(v[2], 0.25);
    EXPECT_EQ(v[3], -3.0);
    EXPECT_EQ(v[4], 2.0);
    EXPECT_EQ(v[5], 7.5);
    ASSERT_EQ(color_correction_gethsl(ctx.c, &v[0], &v[1], &v[2], &v[3]), 1u);
    EXPECT_EQ(v[0], 45.0);
    EXPECT_EQ(v[1], 0.5);
    EXPECT_EQ(v[2], 1.25);
    EXPECT_EQ(v[3], -0.125);
    // Stored offset first, gain second.
    EXPECT_EQ(ctx.c->red_offset, 10.0);
    EXPECT_EQ(ctx.c->red_gain, 1.5);
    EXPECT_EQ(ctx.c->lightness_offset, -0.125);
    EXPECT_EQ(ctx.c->lightness_gain, 1.25);
}

TEST(ColourContext, EverySetterAdvancesTheGenerationAndGettersDoNot) {
    Context ctx;
    const double m[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    double v[12];
    uint32_t expected = 0;
    for (int round = 0; round < 60; ++round) {
        switch (round % 5) {
            case 0: EXPECT_EQ(color_correction_set(ctx.c, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0), 1u); break;
            case 1: EXPECT_EQ(color_correction_setrgb(ctx.c, 1, 0, 1, 0, 1, 0), 1u); break;
            case 2: EXPECT_EQ(color_correction_sethsl(ctx.c, 0, 1, 1, 0), 1u); break;
            case 3: EXPECT_EQ(color_correction_setmatrix(ctx.c, m), 1u); break;
            case 4: EXPECT_EQ(color_correction_usematrix(ctx.c, 0), 0u); break;
        }
        expected = (expected + 1) % 256;
        color_correction_getrgb(ctx.c, &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
        color_correction_gethsl(ctx.c, &v[0], &v[1], &v[2], &v[3]);
        color_correction_getmatrix(ctx.c, v);
        ASSERT_EQ(ctx.c->generation, expected) << round;
    }
    for (int k = 0; k < 256 - 60; ++k) color_correction_usematrix(ctx.c, 0);
    EXPECT_EQ(ctx.c->generation, 0);
}

TEST(ColourContext, UsematrixReportsZeroAndStillSwitches) {
    Context ctx;
    const double m[12] = {0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 0, 0};  // red and blue swapped
    ASSERT_EQ(color_correction_setmatrix(ctx.c, m), 1u);
    EXPECT_EQ(color_correction_usematrix(ctx.c, 1), 0u);
    EXPECT_EQ(ctx.c->use_matrix, 1u);
    EXPECT_EQ(correct(ctx.c, bgr({10, 20, 30}), 3), bgr({30, 20, 10}));
    EXPECT_EQ(color_correction_usematrix(ctx.c, 0), 0u);
    EXPECT_EQ(color_correction_usematrix(nullptr, 0), 0u);
    // Back on the HSL model with defaults: the round trip of 68, 32, 130.
    EXPECT_EQ(correct(ctx.c, bgr({68, 32, 130}), 3), bgr({67, 32, 130}));
}

TEST(ColourContext, SetmatrixCopiesTwelveCoefficients) {
    Context ctx;
    double m[13], out[13];
    for (int k = 0; k < 13; ++k) m[k] = 0.5 * k - 3, out[k] = 99;
    ASSERT_EQ(color_correction_setmatrix(ctx.c, m), 1u);
    m[0] = 1000;  // the context holds its own copy
    ASSERT_EQ(color_correction_getmatrix(ctx.c, out), 1u);
    EXPECT_EQ(out[0], -3.0);
    for (int k = 1; k < 12; ++k) EXPECT_EQ(out[k], m[k]) << k;
    EXPECT_EQ(out[12], 99.0);
}

// ---- application ------------------------------------------------------------------

TEST(ColourCorrection, FreshContextAndEveryColourThenTheDefaultRoundTrip) {
    // All 2^24 colours, one blue at a time: unchanged by a fresh context; after a
    // set to the default values, the HSL round trip with truncation moves many colours
    // by one step. The exact count is part of the behaviour.
    Context ctx;
    Bytes plane(65536 * 3);
    size_t changed_by_fresh = 0, changed = 0, off_by_more_or_up = 0;
    uint64_t changed_channels[3] = {0, 0, 0};
    for (int pass = 0; pass < 2; ++pass) {
        if (pass == 1) {
            ASSERT_EQ(color_correction_set(ctx.c, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0), 1u);
        }
        for (uint32_t b = 0; b < 256; ++b) {
            for (uint32_t r = 0; r < 256; ++r)
                for (uint32_t g = 0; g < 256; ++g) {
                    uint8_t *px = &plane[(r * 256 + g) * 3];
                    px[0] = static_cast<uint8_t>(b), px[1] = static_cast<uint8_t>(g), px[2] = static_cast<uint8_t>(r);
                }
            ASSERT_EQ(color_correction24(ctx.c, plane.data(), 256, 256), 1u);
            for (uint32_t r = 0; r < 256; ++r)
                for (uint32_t g = 0; g < 256; ++g) {
                    const uint8_t *px = &plane[(r * 256 + g) * 3];
                    const uint32_t in[3] = {b, g, r};
                    bool any = false;
                    for (int k = 0; k < 3; ++k) {
                        if (px[k] == in[k]) continue;
                        any = true;
                        if (pass == 1) ++changed_channels[k];
                        off_by_more_or_up += px[k] + 1u != in[k];
                    }
                    (pass == 0 ? changed_by_fresh : changed) += any;
                }
        }
    }
    EXPECT_EQ(changed_by_fresh, 0u);
    // Every change is a loss of exactly one step.
    EXPECT_EQ(off_by_more_or_up, 0u);
    // 10,506,877 of 16,777,216 colours, 62.6 %: roughly three in five.
    EXPECT_EQ(changed, 10506877u);
    RecordProperty("changed_colours", std::to_string(changed));
    std::printf("default round trip: %zu of 16777216 colours change (blue %llu, green %llu, red %llu channels)\n",
                changed, static_cast<unsigned long long>(changed_channels[0]),
                static_cast<unsigned long long>(changed_channels[1]),
                static_cast<unsigned long long>(changed_channels[2]));
}

// Colours of the blue planes 0, 68 and 255 (every red and green) after one setter
// call with default values: how many come out changed.
size_t changed_after(void (*setter)(ColorCorrectionContext *)) {
    Context ctx;
    setter(ctx.c);
    Bytes plane(65536 * 3);
    size_t changed = 0;
    for (uint32_t b : {0u, 68u, 255u}) {
        for (uint32_t i = 0; i < 65536; ++i) {
            plane[i * 3] = static_cast<uint8_t>(b);
            plane[i * 3 + 1] = static_cast<uint8_t>(i);
            plane[i * 3 + 2] = static_cast<uint8_t>(i >> 8);
        }
        EXPECT_EQ(color_correction24(ctx.c, plane.data(), 256, 256), 1u);
        for (uint32_t i = 0; i < 65536; ++i)
            changed += plane[i * 3] != b || plane[i * 3 + 1] != (i & 255) || plane[i * 3 + 2] != i >> 8;
    }
    return changed;
}

// Every setter of the gains, offsets and HSL, with default values, leaves the same
// colours one step short as color_correction_set does; the matrix truncates no HSL
// round trip, and the identity matrix changes no colour.
TEST(ColourCorrection, EverySetterTruncatesAlikeAndTheIdentityMatrixChangesNothing) {
    const size_t by_set =
        changed_after([](ColorCorrectionContext *c) { color_correction_set(c, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0); });
    EXPECT_GT(by_set, 65536u);
    EXPECT_EQ(changed_after([](ColorCorrectionContext *c) { color_correction_setrgb(c, 1, 0, 1, 0, 1, 0); }), by_set);
    EXPECT_EQ(changed_after([](ColorCorrectionContext *c) { color_correction_sethsl(c, 0, 1, 1, 0); }), by_set);
    EXPECT_EQ(changed_after([](ColorCorrectionContext *c) { color_correction_usematrix(c, 0); }), by_set);
    static const double identity[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_EQ(changed_after([](ColorCorrectionContext *c) { color_correction_setmatrix(c, identity); }), by_set);
    EXPECT_EQ(changed_after([](ColorCorrectionContext *c) { color_correction_usematrix(c, 1); }), 0u);
}

TEST(ColourCorrection, DefaultSetMovesBlue68Green32Red130ByOneBlueStep) {
    Context ctx;
    EXPECT_EQ(correct(ctx.c, bgr({68, 32, 130}), 3), bgr({68, 32, 130}));  // fresh: identity
    ASSERT_EQ(color_correction_set(ctx.c, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0), 1u);
    EXPECT_EQ(correct(ctx.c, bgr({68, 32, 130}), 3), bgr({67, 32, 130}));
    EXPECT_EQ(correct(ctx.c, bgr({68, 32, 130, 222}), 4), bgr({67, 32, 130, 222}));
}

TEST(ColourCorrection, MatrixClampsAndOffsetsInSampleUnits) {
    Context ctx;
    double m[12] = {2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    ASSERT_EQ(color_correction_setmatrix(ctx.c, m), 1u);
    color_correction_usematrix(ctx.c, 1);
    EXPECT_EQ(correct(ctx.c, bgr({5, 6, 200, 1, 2, 100, 9, 9, 127, 9, 9, 128}), 3),
              bgr({5, 6, 255, 1, 2, 200, 9, 9, 254, 9, 9, 255}));
    m[0] = 1;
    m[9] = -300;
    ASSERT_EQ(color_correction_setmatrix(ctx.c, m), 1u);
    std::mt19937 rng(11);
    const Bytes img = random_image(rng, 5000, 3);
    const Bytes out = correct(ctx.c, img, 3, 100);
    for (size_t at = 0; at < img.size(); at += 3) {
        ASSERT_EQ(out[at + 2], 0) << at;
        ASSERT_EQ(out[at], img[at]);
        ASSERT_EQ(out[at + 1], img[at + 1]);
    }
    // A fractional result is truncated, a negative one is 0.
    const double half[12] = {0.5, 0, 0, 0, 0.5, 0, 0, 0, -1, 0, 0, 0.75};
    ASSERT_EQ(color_correction_setmatrix(ctx.c, half), 1u);
    EXPECT_EQ(correct(ctx.c, bgr({0, 3, 255, 1, 1, 1}), 3), bgr({0, 1, 127, 0, 0, 0}));
}

TEST(ColourCorrection, GreyStaysGreyWhateverHueAndSaturation) {
    Context ctx;
    std::mt19937 rng(3);
    Bytes greys;
    for (int v = 0; v < 256; ++v) greys.insert(greys.end(), {uint8_t(v), uint8_t(v), uint8_t(v)});
    for (int trial = 0; trial < 12; ++trial) {
        const double hue = uniform(rng, -1000, 1000), sat = uniform(rng, 0, 2);
        const double lg = uniform(rng, 0, 2), lo = uniform(rng, -0.5, 0.5);
        ASSERT_EQ(color_correction_set(ctx.c, 1, 0, 1, 0, 1, 0, hue, sat, lg, lo), 1u);
        const Bytes out = correct(ctx.c, greys, 3);
        for (int v = 0; v < 256; ++v) {
            const uint8_t *px = &out[static_cast<size_t>(v) * 3];
            ASSERT_EQ(px[0], px[1]) << v;
            ASSERT_EQ(px[0], px[2]) << v;
            // Every channel is the adjusted lightness (up to the rounding of the
            // conversion back for lightness above one half).
            double l = v / 255.0 * lg + lo;
            l = l > 1 ? 1 : l < 0 ? 0 : l;
            EXPECT_NEAR(px[0], l * 255.0, 1.0) << v;
        }
    }
}

// A whole turn added and taken off again is not always exact in floating point, so
// some channels land one step away from those of no shift; the exact results are the
// model's.
TEST(ColourCorrection, WholeTurnsOfHueGiveTheSameColoursUpToTheWrap) {
    Context ctx;
    std::mt19937 rng(360);
    const Bytes img = random_image(rng, 20000, 3);
    Bytes out[3];
    const double turns[3] = {0, 360, -360};
    for (int k = 0; k < 3; ++k) {
        model::ColourParams p;
        p.hue_shift = turns[k];
        ASSERT_EQ(color_correction_sethsl(ctx.c, turns[k], 1, 1, 0), 1u);
        out[k] = correct(ctx.c, img, 3);
        ASSERT_EQ(out[k], model_image(p, img, 3)) << turns[k];
    }
    for (int k = 1; k < 3; ++k)
        for (size_t at = 0; at < img.size(); ++at) ASSERT_LE(std::abs(out[k][at] - out[0][at]), 1) << at;
}

// Hue shifts of many turns: the wrap jumps whole turns at once, and must land exactly
// where the model's literal one-turn-at-a-time loops land.
TEST(ColourCorrection, HueShiftsOfManyTurnsMatchTheTurnByTurnWrap) {
    Context ctx;
    std::mt19937 rng(3600);
    const Bytes img = random_image(rng, 300, 3);
    for (double shift : {7200.25, -7200.25, 1e6 + 0.1, -1e6 - 0.1, 12345678.9, -98765432.1, 360.0 * 1e5, -360.0 * 1e5}) {
        model::ColourParams p;
        p.hue_shift = shift;
        ASSERT_EQ(color_correction_sethsl(ctx.c, shift, 1, 1, 0), 1u);
        ASSERT_EQ(correct(ctx.c, img, 3), model_image(p, img, 3)) << shift;
    }
}

// The loop "while (h > stop) h -= 360", one rounded step per turn, as the reference.
double turn_by_turn(double h, double stop) {
    while (h > stop) h -= 360.0;
    return h;
}

// subtract_turns against the loop itself, in every binade where its steps round
// (units 8 to 512, 2^55 to 2^62) and below, within binades and across their floors,
// from even and odd multiples of the unit (at a unit of 16 the first step of an odd
// one differs from the rest), over runs long enough that whole stretches are skipped.
TEST(ColourCorrection, SubtractTurnsFollowsTheLoopStepByStep) {
    std::mt19937_64 rng(55);
    int cases = 0;
    for (int e = 52; e <= 61; ++e) {
        const double base = std::ldexp(1.0, e), unit = std::ldexp(1.0, e - 52);
        for (int trial = 0; trial < 40; ++trial) {
            const double steps = static_cast<double>(1 + rng() % 150000);
            // Start 0..steps turns above the binade's floor, on a multiple of the unit;
            // stop below the floor (across it), inside the binade, or just under the start.
            const double h = base + std::floor(static_cast<double>(rng() % static_cast<uint64_t>(steps * 360.0 / unit + 1))) * unit;
            double stop;
            switch (trial % 3) {
            case 0: stop = base - static_cast<double>(rng() % 5000) * unit; break;
            case 1: stop = base + std::floor((h - base) * static_cast<double>(rng() % 1000) / 1000.0); break;
            default: stop = h - static_cast<double>(rng() % 3000); break;
            }
            if (stop < 1024.0) continue;
            const double want = turn_by_turn(h, stop);
            EXPECT_EQ(korvimg::subtract_turns(h, stop), want) << "h " << h << ", stop " << stop;
            ++cases;
        }
    }
    EXPECT_GT(cases, 350);
    // Above 2^62 a step no longer changes the value: the loop never ends. From 2^62
    // itself the first step goes down into the binade below, and the loop goes on.
    const double top = std::ldexp(1.0, 62), stop = std::ldexp(1.0, 55);
    EXPECT_TRUE(std::isnan(korvimg::subtract_turns(std::nextafter(top, HUGE_VAL), stop)));
    EXPECT_TRUE(std::isnan(korvimg::subtract_turns(HUGE_VAL, stop)));
    EXPECT_EQ(korvimg::subtract_turns(top, top - 2048.0), top - 2048.0);  // 2^62 - 512, then - 1024, ...
    EXPECT_FALSE(std::isnan(korvimg::subtract_turns(top, stop)));
}

// Hue shifts beyond 2^55 end where the turn-by-turn wrap would. Pure red has hue 0,
// so its shifted hue is the shift itself.
TEST(ColourCorrection, HugeHueShiftsWrapAsTheLoopWould) {
    Context ctx;
    const Bytes red = {0, 0, 255, 0, 0, 200};  // two reds, B G R order
    auto shifted = [&](double shift) {
        EXPECT_EQ(color_correction_sethsl(ctx.c, shift, 0.5, 1, 0), 1u);
        return correct(ctx.c, red, 3);
    };
    // Between 2^55 and 2^56 every turn is exact: 4e16 = 111111111111111 turns + 40.
    EXPECT_EQ(shifted(4e16), shifted(40.0));
    EXPECT_EQ(shifted(-4e16), shifted(320.0));
    EXPECT_NE(shifted(40.0), shifted(0.0));
    // Higher up the turns round; the wrap follows them down to 2^55 and on from there.
    for (double shift : {std::ldexp(1.0, 56) + 16.0, std::ldexp(1.0, 59) * 1.7, std::ldexp(1.0, 62)}) {
        const double below = korvimg::subtract_turns(shift, std::ldexp(1.0, 55));
        EXPECT_EQ(shifted(shift), shifted(below)) << shift;
        EXPECT_EQ(shifted(-shift), shifted(-below)) << shift;
    }
}

// A hue for which the loop would never end (infinite, or above 2^62, where adding 360
// no longer changes it) is taken as 0, and so is one that is not a number: reds
// (hue 0) then come out as with no shift, and a grey stays grey.
TEST(ColourCorrection, HueShiftsTheLoopNeverFinishesEndAsHueZero) {
    Context ctx;
    const Bytes colours = {0, 0, 255, 0, 0, 200, 128, 128, 128, 30, 30, 60};
    ASSERT_EQ(color_correction_sethsl(ctx.c, 0.0, 0.5, 1, 0), 1u);
    const Bytes reference = correct(ctx.c, colours, 3);
    EXPECT_EQ(Bytes(reference.begin() + 6, reference.begin() + 9), (Bytes{128, 128, 128}));
    const double above = std::nextafter(std::ldexp(1.0, 62), HUGE_VAL);
    for (double shift : {HUGE_VAL, -HUGE_VAL, 1e300, -1e300, above, -above, std::nan(""), -std::nan("")}) {
        ASSERT_EQ(color_correction_sethsl(ctx.c, shift, 0.5, 1, 0), 1u);
        EXPECT_EQ(correct(ctx.c, colours, 3), reference) << shift;
    }
}

// Other parameters are stored as given, a NaN too; every result byte a NaN reaches is
// 0, and the others are as without it.
TEST(ColourCorrection, NotANumberInOtherParametersGivesZeroBytes) {
    Context ctx;
    const double nan = std::nan("");
    const Bytes colours = {10, 20, 30, 128, 128, 128, 255, 0, 0};
    ASSERT_EQ(color_correction_sethsl(ctx.c, 0.0, nan, 1, 0), 1u);
    double hue = 1, saturation = 1, gain = 0, offset = 1;
    ASSERT_EQ(color_correction_gethsl(ctx.c, &hue, &saturation, &gain, &offset), 1u);
    EXPECT_TRUE(std::isnan(saturation));
    EXPECT_EQ(correct(ctx.c, colours, 3), Bytes(9, 0));
    ASSERT_EQ(color_correction_sethsl(ctx.c, 0.0, 1, 1, nan), 1u);
    EXPECT_EQ(correct(ctx.c, colours, 3), Bytes(9, 0));
    // A matrix entry reaches one output channel: here red's offset.
    std::array<double, 12> m = {1, 0, 0, 0, 1, 0, 0, 0, 1, nan, 0, 0};
    ASSERT_EQ(color_correction_setmatrix(ctx.c, m.data()), 1u);
    ASSERT_EQ(color_correction_usematrix(ctx.c, 1), 0u);  // this one reports 0
    EXPECT_EQ(correct(ctx.c, colours, 3), (Bytes{10, 20, 0, 128, 128, 0, 255, 0, 0}));
}

// A fresh context leaves 32-bit images unchanged too, fourth bytes included.
TEST(ColourCorrection, FreshContextLeavesThirtyTwoBitImagesUnchanged) {
    Context ctx;
    std::mt19937 rng(33);
    const Bytes img = random_image(rng, 5003, 4);
    EXPECT_EQ(correct(ctx.c, img, 4), img);
}

TEST(ColourCorrection, FourthByteOfThirtyTwoBitPixelsIsKept) {
    Context ctx;
    std::mt19937 rng(32);
    const Bytes img = random_image(rng, 3000, 4);
    for (int trial = 0; trial < 4; ++trial) {
        model::ColourParams p = random_params(rng);
        p.use_matrix = trial % 2;
        set_all(ctx.c, p);
        color_correction_setmatrix(ctx.c, p.m.data());
        color_correction_usematrix(ctx.c, p.use_matrix);
        const Bytes out = correct(ctx.c, img, 4, 60);
        for (size_t at = 3; at < img.size(); at += 4) ASSERT_EQ(out[at], img[at]) << at;
        EXPECT_EQ(out, model_image(p, img, 4));
    }
}

TEST(ColourCorrection, NonPositivePixelCountReturnsOneUntouched) {
    Context ctx;
    color_correction_set(ctx.c, 2, 10, 2, 10, 2, 10, 90, 1, 1, 0);
    for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-2, 3}, {3, -2}, {65536, 32768}}) {
        kt::Guarded img(64, 9);
        EXPECT_EQ(color_correction24(ctx.c, img.data(), w, h), 1u) << w << "x" << h;
        EXPECT_EQ(color_correction32(ctx.c, img.data(), w, h), 1u) << w << "x" << h;
        EXPECT_TRUE(img.untouched()) << w << "x" << h;
    }
    // Negative by negative is a positive count.
    kt::Guarded img(6 * 3, 9);
    EXPECT_EQ(color_correction24(ctx.c, img.data(), -2, -3), 1u);
    EXPECT_FALSE(img.untouched());
    EXPECT_TRUE(img.guard_intact());
}

TEST(ColourCorrection, SixteenBitEntryPointDoesNothing) {
    Context ctx;
    color_correction_set(ctx.c, 2, 10, 2, 10, 2, 10, 90, 1, 1, 0);
    kt::Guarded img(64, 4);
    auto *px = reinterpret_cast<uint16_t *>(img.data());
    EXPECT_EQ(color_correction48(ctx.c, px, 2, 2), 0u);
    EXPECT_EQ(color_correction64(ctx.c, px, 2, 2), 0u);
    EXPECT_EQ(color_correction48(nullptr, px, 2, 2), 0u);
    EXPECT_EQ(color_correction64(nullptr, nullptr, -1, 7), 0u);
    EXPECT_TRUE(img.untouched());
    EXPECT_EQ(kt::address_of(&color_correction48), kt::address_of(&color_correction64));
}

// After 256 setter calls without an application in between, the generation is back
// where it was: entries computed then are current again and are used although the
// parameters changed since.
TEST(ColourCorrection, TwoHundredFiftySixSettersReuseStaleEntries) {
    Context ctx;
    model::ColourContext mc;
    const Bytes first = bgr({10, 200, 30, 250, 5, 128, 68, 32, 130});
    const Bytes later = bgr({11, 201, 31, 12, 202, 32});

    ASSERT_EQ(color_correction_set(ctx.c, 1.2, 5, 0.8, 0, 1, -10, 30, 1.5, 0.9, 0.05), 1u);
    mc.set(1.2, 5, 0.8, 0, 1, -10, 30, 1.5, 0.9, 0.05);
    Bytes mimg = first;
    mc.apply(mimg, 3);
    const Bytes a = correct(ctx.c, first, 3);
    ASSERT_EQ(a, mimg);
    ASSERT_NE(a, first);

    for (int k = 0; k < 255; ++k) {
        ASSERT_EQ(color_correction_sethsl(ctx.c, -70, 0.5, 1.1, 0), 1u);
        mc.set_hsl(-70, 0.5, 1.1, 0);
    }
    // 255 steps on: generation 0 again, so the never-written identity entries are
    // current, and colours not seen so far pass unchanged.
    mimg = later;
    mc.apply(mimg, 3);
    EXPECT_EQ(correct(ctx.c, later, 3), mimg);
    EXPECT_EQ(mimg, later);

    // One more, and the first application's entries are current again: the same
    // results as under the old parameters, for the colours seen then.
    ASSERT_EQ(color_correction_sethsl(ctx.c, -70, 0.5, 1.1, 0), 1u);
    mc.set_hsl(-70, 0.5, 1.1, 0);
    mimg = first;
    mc.apply(mimg, 3);
    const Bytes b = correct(ctx.c, first, 3);
    EXPECT_EQ(b, mimg);
    EXPECT_EQ(b, a);
    // The colour of `later` first seen at generation 0 (11, 201, 31) is now
    // recomputed under the new parameters.
    model::ColourParams now = mc.p;
    const model::Bgr fresh = model::hsl_correct(now, model::Bgr{11, 201, 31});
    EXPECT_EQ(correct(ctx.c, bgr({11, 201, 31}), 3), bgr({fresh.b, fresh.g, fresh.r}));
}

// ---- against the model ------------------------------------------------------------

TEST(ColourCorrection, ModelAgreesOnRandomColoursAndParameters) {
    Context ctx;
    std::mt19937 rng(2024);
    for (int set = 0; set < 36; ++set) {
        model::ColourParams p = random_params(rng);
        p.use_matrix = set % 3 == 2 ? 1 + rng() % 5 : 0;
        ASSERT_EQ(set_all(ctx.c, p), 1u);
        ASSERT_EQ(color_correction_setmatrix(ctx.c, p.m.data()), 1u);
        ASSERT_EQ(color_correction_usematrix(ctx.c, p.use_matrix), 0u);
        expect_same_parameters(ctx.c, p);
        const int step = set % 2 ? 4 : 3;
        const Bytes img = random_image(rng, 20000, step);
        const Bytes out = correct(ctx.c, img, step, 160);
        ASSERT_EQ(out, model_image(p, img, step))
            << "set " << set << " hue " << p.hue_shift << " sat " << p.saturation_gain;
        // Within one generation a second application is served from the cache.
        ASSERT_EQ(correct(ctx.c, img, step, 200), out);
    }
}

// Every build (64-bit, 32-bit with SSE2 arithmetic, Windows) must give the same
// bytes: a digest of the corrections of fixed colours under fixed parameters, taken
// from the x86-64 build. Extended-precision intermediates would change it.
TEST(ColourCorrection, SameBytesOnEveryBuild) {
    Context ctx;
    uint64_t digest = 14695981039346656037ull;  // FNV-1a
    for (int set = 0; set < 16; ++set) {
        model::ColourParams p;
        p.red_gain = 0.55 + 0.1 * set, p.red_offset = 7.25 * (set % 5) - 12;
        p.green_gain = 1.4 - 0.05 * set, p.green_offset = -3.5 * (set % 3);
        p.blue_gain = 0.9 + 0.03 * set, p.blue_offset = 20.0 / (set + 1);
        p.hue_shift = -725.5 + 97.3 * set, p.saturation_gain = 0.125 * set;
        p.lightness_gain = 0.7 + 0.04 * set, p.lightness_offset = 0.02 * set - 0.15;
        for (int k = 0; k < 12; ++k) p.m[k] = (k < 9 ? 0.1 : 9.0) * (((set + 1) * (k + 3)) % 13) - (k < 9 ? 0.4 : 50.0);
        ASSERT_EQ(set_all(ctx.c, p), 1u);
        ASSERT_EQ(color_correction_setmatrix(ctx.c, p.m.data()), 1u);
        color_correction_usematrix(ctx.c, set % 4 == 3);
        Bytes img(20000 * 3);
        for (size_t i = 0; i < img.size(); ++i) img[i] = static_cast<uint8_t>((i * 2654435761u + set * 40503u) >> 13);
        for (uint8_t b : correct(ctx.c, img, 3)) digest = (digest ^ b) * 1099511628211ull;
    }
    EXPECT_EQ(digest, 62718489149851919ull);
}

// Random sequences of every setter and both entry points on one context, including
// runs of setters long enough to wrap the generation, against the model's context.
TEST(ColourCorrection, ModelAgreesOnSetApplySequences) {
    Context ctx;
    model::ColourContext mc;
    std::mt19937 rng(77);
    // A palette of colours that come back again and again, so entries of earlier
    // generations are met.
    Bytes palette = random_image(rng, 300, 3);
    for (int step_no = 0; step_no < 400; ++step_no) {
        const model::ColourParams p = random_params(rng);
        const uint32_t op = rng() % 10;
        if (op == 0) {
            ASSERT_EQ(set_all(ctx.c, p), 1u);
            mc.set(p.red_gain, p.red_offset, p.green_gain, p.green_offset, p.blue_gain, p.blue_offset, p.hue_shift,
                   p.saturation_gain, p.lightness_gain, p.lightness_offset);
        } else if (op == 1) {
            ASSERT_EQ(color_correction_setrgb(ctx.c, p.red_gain, p.red_offset, p.green_gain, p.green_offset,
                                              p.blue_gain, p.blue_offset),
                      1u);
            mc.set_rgb(p.red_gain, p.red_offset, p.green_gain, p.green_offset, p.blue_gain, p.blue_offset);
        } else if (op == 2) {
            ASSERT_EQ(color_correction_sethsl(ctx.c, p.hue_shift, p.saturation_gain, p.lightness_gain,
                                              p.lightness_offset),
                      1u);
            mc.set_hsl(p.hue_shift, p.saturation_gain, p.lightness_gain, p.lightness_offset);
        } else if (op == 3) {
            ASSERT_EQ(color_correction_setmatrix(ctx.c, p.m.data()), 1u);
            mc.set_matrix(p.m.data());
        } else if (op == 4) {
            const uint32_t flags[] = {0, 1, 0, 0xffffffffu, 6};
            const uint32_t f = flags[rng() % 5];
            ASSERT_EQ(color_correction_usematrix(ctx.c, f), 0u);
            mc.use_matrix(f);
        } else if (op == 5 && rng() % 4 == 0) {
            // A run of setters that wraps (or almost wraps) the generation.
            const int n = 254 + static_cast<int>(rng() % 4);
            for (int k = 0; k < n; ++k) {
                ASSERT_EQ(color_correction_setrgb(ctx.c, p.red_gain, p.red_offset, p.green_gain, p.green_offset,
                                                  p.blue_gain, p.blue_offset),
                          1u);
                mc.set_rgb(p.red_gain, p.red_offset, p.green_gain, p.green_offset, p.blue_gain, p.blue_offset);
            }
        } else {
            const int step = rng() % 2 ? 4 : 3;
            const size_t pixels = 1 + rng() % 600;
            Bytes img = random_image(rng, pixels, step);
            for (size_t i = 0; i < pixels; ++i)
                if (rng() % 3 != 0) std::memcpy(&img[i * step], &palette[(rng() % 300) * 3], 3);
            Bytes expected = img;
            mc.apply(expected, step);
            ASSERT_EQ(correct(ctx.c, img, step), expected) << "step " << step_no;
        }
        ASSERT_EQ(ctx.c->generation, mc.generation);
        expect_same_parameters(ctx.c, mc.p);
    }
}

// The vector table copy against the pixel-by-pixel routine. Two contexts get the same
// setter calls and the same images, one corrected by each instruction set; the pixels
// (the fourth bytes of 32-bit pixels included) and the caches must come out the same.
// The images are drawn mostly from a small palette, so that groups of eight mix
// current and stale entries and a stale colour repeats within a group; counts run
// from 0 to 80 (every remainder of a group), then some large ones, over frames of one
// row and of several. The first rounds run on fresh contexts, where every entry is
// current.
TEST(ColourCorrection, EveryInstructionSetAgainstScalar) {
    using korvimg::Isa;
    for (Isa isa : {Isa::sse2, Isa::avx2}) {
        if (korvimg::usable_isa(isa) != isa) continue;
        for (int step : {3, 4}) {
            Context plain, fast;
            std::mt19937 rng(91 + static_cast<uint32_t>(step));
            Bytes palette = random_image(rng, 24, 3);
            std::vector<int32_t> counts;
            for (int32_t n = 0; n <= 80; ++n) counts.push_back(n);
            for (int32_t n : {1000, 4099, 65541, 8 * 3000}) counts.push_back(n);
            for (int pass = 0; pass < 3; ++pass)
                for (size_t round = 0; round < counts.size(); ++round) {
                    if (pass > 0 && round % 9 == 0) {
                        const model::ColourParams p = random_params(rng);
                        const uint32_t use_matrix = rng() % 3 == 0;
                        for (ColorCorrectionContext *c : {plain.c, fast.c}) {
                            ASSERT_EQ(set_all(c, p), 1u);
                            ASSERT_EQ(color_correction_setmatrix(c, p.m.data()), 1u);
                            color_correction_usematrix(c, use_matrix);
                        }
                        palette = random_image(rng, 24, 3);
                    }
                    const int32_t n = counts[round];
                    Bytes img = random_image(rng, static_cast<size_t>(n), step);
                    for (size_t at = 0; at < img.size(); at += static_cast<size_t>(step))
                        if (rng() % 5 != 0) std::memcpy(&img[at], &palette[3 * (rng() % 24)], 3);
                    const int32_t width = n % 8 == 0 && n > 0 ? n / 8 : n, height = n % 8 == 0 && n > 0 ? 8 : 1;
                    kt::Guarded want(img.size(), 3), got(img.size(), 4);
                    std::copy(img.begin(), img.end(), want.data());
                    std::copy(img.begin(), img.end(), got.data());
                    SCOPED_TRACE(std::string(korvimg::isa_name(isa)) + " step " + std::to_string(step) + " pass " +
                                 std::to_string(pass) + " pixels " + std::to_string(n));
                    ASSERT_EQ(korvimg::color_correction_isa(Isa::scalar, plain.c, want.data(), width, height, step), 1u);
                    ASSERT_EQ(korvimg::color_correction_isa(isa, fast.c, got.data(), width, height, step), 1u);
                    ASSERT_TRUE(want.guard_intact());
                    ASSERT_TRUE(got.guard_intact());
                    ASSERT_EQ(Bytes(got.data(), got.data() + img.size()), Bytes(want.data(), want.data() + img.size()));
                }
            ASSERT_EQ(plain.c->generation, fast.c->generation);
            ASSERT_EQ(std::memcmp(plain.c->cache, fast.c->cache, sizeof plain.c->cache), 0) << "caches differ";
        }
    }
}

}  // namespace
