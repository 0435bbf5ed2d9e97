// White balance of raw mosaics and colour images: the worked examples, degenerate
// sizes, wrapping sums, and every name against the model on random frames.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "model/colour_model.h"
#include "model/demosaic_model.h"
#include "support/testkit.h"

namespace {

using Raw8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, int32_t, double *, double *);
using Raw16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, int32_t, double *, double *);
using Colour8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, double *, double *);
using Colour16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, double *, double *);

// One raw name: its function, its pattern code and whether it reads 16-bit words.
struct RawName {
    const char *name;
    Raw8 fn8;
    Raw16 fn16;
    int pattern;  // 0 rggb, 1 grbg, 2 gbrg, 3 bggr
};
const RawName kRaw[] = {
    {"white_balance8bggr", white_balance8bggr, nullptr, 3},
    {"white_balance8gbrg", white_balance8gbrg, nullptr, 2},
    {"white_balance8grbg", white_balance8grbg, nullptr, 1},
    {"white_balance8rggb", white_balance8rggb, nullptr, 0},
    {"white_balance10bggr", nullptr, white_balance10bggr, 3},
    {"white_balance10gbrg", nullptr, white_balance10gbrg, 2},
    {"white_balance10grbg", nullptr, white_balance10grbg, 1},
    {"white_balance10rggb", nullptr, white_balance10rggb, 0},
    {"white_balance12bggr", nullptr, white_balance12bggr, 3},
    {"white_balance12gbrg", nullptr, white_balance12gbrg, 2},
    {"white_balance12grbg", nullptr, white_balance12grbg, 1},
    {"white_balance12rggb", nullptr, white_balance12rggb, 0},
};

struct ColourName {
    const char *name;
    Colour8 fn8;
    Colour16 fn16;
    int channels;
};
const ColourName kColour[] = {
    {"white_balance24", white_balance24, nullptr, 3},
    {"white_balance32", white_balance32, nullptr, 4},
    {"white_balance48", nullptr, white_balance48, 3},
    {"white_balance64", nullptr, white_balance64, 4},
};

struct Gains {
    double red, blue;
};

// Doubles compared as bit patterns.
bool same(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }
::testing::AssertionResult same_gains(const Gains &got, double red, double blue) {
    if (same(got.red, red) && same(got.blue, blue)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "got red " << got.red << " blue " << got.blue << ", expected red " << red
                                         << " blue " << blue;
}

// Calls a raw name on samples given as values; the results start as 123.0.
Gains run_raw(const RawName &n, const std::vector<uint32_t> &samples, int32_t width, int32_t height) {
    Gains g{123.0, 123.0};
    if (n.fn8 != nullptr) {
        std::vector<uint8_t> s(samples.begin(), samples.end());
        n.fn8(s.data(), width, height, &g.red, &g.blue);
    } else {
        std::vector<uint16_t> s(samples.begin(), samples.end());
        n.fn16(s.data(), width, height, &g.red, &g.blue);
    }
    return g;
}

Gains run_colour(const ColourName &n, const std::vector<uint32_t> &px, int32_t count) {
    Gains g{123.0, 123.0};
    if (n.fn8 != nullptr) {
        std::vector<uint8_t> s(px.begin(), px.end());
        n.fn8(s.data(), count, &g.red, &g.blue);
    } else {
        std::vector<uint16_t> s(px.begin(), px.end());
        n.fn16(s.data(), count, &g.red, &g.blue);
    }
    return g;
}

// A raw frame whose samples of each colour under the pattern are given.
std::vector<uint32_t> by_colour(int pattern, int32_t width, int32_t height, uint32_t blue, uint32_t green,
                                uint32_t red) {
    std::vector<uint32_t> raw(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const int c = model::colour_at(pattern, y, x);
            raw[static_cast<size_t>(y) * width + x] = c == model::kBlue ? blue : c == model::kGreen ? green : red;
        }
    return raw;
}

TEST(WhiteBalance, TwelveBitNamesAreTheTenBitFunctions) {
    EXPECT_EQ(kt::address_of(&white_balance12bggr), kt::address_of(&white_balance10bggr));
    EXPECT_EQ(kt::address_of(&white_balance12gbrg), kt::address_of(&white_balance10gbrg));
    EXPECT_EQ(kt::address_of(&white_balance12grbg), kt::address_of(&white_balance10grbg));
    EXPECT_EQ(kt::address_of(&white_balance12rggb), kt::address_of(&white_balance10rggb));
}

TEST(WhiteBalance, GreyRawFrameGivesGainsOfOne) {
    for (const auto &n : kRaw)
        for (uint32_t v : {1u, 77u, 255u})
            for (auto [w, h] : {std::pair{2, 2}, {8, 6}, {64, 48}})
                EXPECT_TRUE(same_gains(run_raw(n, std::vector<uint32_t>(w * h, v), w, h), 1.0, 1.0))
                    << n.name << " " << v << " " << w << "x" << h;
}

TEST(WhiteBalance, RawFrameWithoutRedGivesMinusOneForRedOnly) {
    for (const auto &n : kRaw) {
        // 8 x 6: 12 tiles; green sum 2 * 12 * 40, half 480; blue sum 12 * 30.
        const auto raw = by_colour(n.pattern, 8, 6, 30, 40, 0);
        EXPECT_TRUE(same_gains(run_raw(n, raw, 8, 6), -1.0, 480.0 / 360.0)) << n.name;
        const auto no_blue = by_colour(n.pattern, 8, 6, 0, 40, 50);
        EXPECT_TRUE(same_gains(run_raw(n, no_blue, 8, 6), 480.0 / 600.0, -1.0)) << n.name;
    }
}

TEST(WhiteBalance, ColourImageWithoutRedGivesMinusOneForRedOnly) {
    // Five pixels, each blue, green, red (and a fourth channel of 99 that counts for
    // nothing): the green sum is 5 * 40, the other sum 5 * 30 or 5 * 50.
    for (const auto &n : kColour)
        for (bool red_missing : {true, false}) {
            std::vector<uint32_t> px;
            for (int i = 0; i < 5; ++i) {
                px.insert(px.end(), {red_missing ? 30u : 0u, 40u, red_missing ? 0u : 50u});
                if (n.channels == 4) px.push_back(99);
            }
            if (red_missing)
                EXPECT_TRUE(same_gains(run_colour(n, px, 5), -1.0, 200.0 / 150.0)) << n.name;
            else
                EXPECT_TRUE(same_gains(run_colour(n, px, 5), 200.0 / 250.0, -1.0)) << n.name;
        }
}

TEST(WhiteBalance, AllZeroFrameGivesMinusOneForBoth) {
    for (const auto &n : kRaw) EXPECT_TRUE(same_gains(run_raw(n, std::vector<uint32_t>(24), 6, 4), -1.0, -1.0)) << n.name;
    for (const auto &n : kColour)
        EXPECT_TRUE(same_gains(run_colour(n, std::vector<uint32_t>(40), 10), -1.0, -1.0)) << n.name;
}

TEST(WhiteBalance, DegenerateRawSizesMeasureNothing) {
    const std::vector<uint32_t> raw(64, 50);
    for (const auto &n : kRaw)
        for (auto [w, h] : {std::pair{1, 8}, {8, 1}, {1, 1}, {0, 8}, {8, 0}, {-4, 8}, {8, -4}, {-2, -2}})
            EXPECT_TRUE(same_gains(run_raw(n, raw, w, h), -1.0, -1.0)) << n.name << " " << w << "x" << h;
}

TEST(WhiteBalance, WidthFiveShiftsTheSecondTileRowOneSampleLeft) {
    // Samples 1..20 in a 5 x 4 rggb frame. Tile row 0 reads tiles at samples 0 and 2
    // (rows 0 and 1); tile row 1 starts at sample 9 (row 1, column 4), one before
    // row 2, and reads tiles at samples 9 and 11.
    //   red   (top-left):     1 + 3 + 10 + 12       = 26
    //   green (top-right, bottom-left): 2 + 4 + 6 + 8 + 11 + 13 + 15 + 17 = 76, half 38
    //   blue  (bottom-right): 7 + 9 + 16 + 18       = 50
    std::vector<uint32_t> raw(20);
    for (uint32_t i = 0; i < 20; ++i) raw[i] = i + 1;
    for (const auto &n : kRaw)
        if (n.pattern == 0) {
            EXPECT_TRUE(same_gains(run_raw(n, raw, 5, 4), 38.0 / 26.0, 38.0 / 50.0)) << n.name;
        }
    // bggr names the same tile positions blue, green, green, red.
    EXPECT_TRUE(same_gains(run_raw(kRaw[0], raw, 5, 4), 38.0 / 50.0, 38.0 / 26.0));
}

TEST(WhiteBalance, OddGreenSumIsHalvedDownward) {
    // rggb 2 x 2: red 2, greens 2 and 3 (sum 5, half 2), blue 4.
    for (const auto &n : kRaw)
        if (n.pattern == 0) {
            EXPECT_TRUE(same_gains(run_raw(n, {2, 2, 3, 4}, 2, 2), 1.0, 0.5)) << n.name;
        }
}

TEST(WhiteBalance, OddHeightLeavesTheLastRowOut) {
    for (const auto &n : kRaw) {
        auto raw = by_colour(n.pattern, 4, 5, 10, 20, 40);
        for (int x = 0; x < 4; ++x) raw[16 + x] = 200;  // row 4 is not measured
        EXPECT_TRUE(same_gains(run_raw(n, raw, 4, 5), 0.5, 2.0)) << n.name;
    }
}

TEST(WhiteBalance, FourthChannelHasNoInfluence) {
    std::mt19937 rng(4);
    for (const auto &n : kColour) {
        if (n.channels != 4) continue;
        const uint32_t maxv = n.fn8 ? 255 : 65535;
        std::vector<uint32_t> px(400 * 4), zeroed;
        for (auto &v : px) v = rng() % (maxv + 1);
        zeroed = px;
        for (size_t i = 3; i < px.size(); i += 4) zeroed[i] = 0, px[i] = 1 + rng() % maxv;
        const Gains a = run_colour(n, px, 400), b = run_colour(n, zeroed, 400);
        EXPECT_TRUE(same_gains(a, b.red, b.blue)) << n.name;
        EXPECT_NE(a.red, -1.0);
    }
}

TEST(WhiteBalance, NonPositiveCountMeasuresNothing) {
    const std::vector<uint32_t> px(64, 9);
    for (const auto &n : kColour)
        for (int32_t count : {0, -3, -1, INT32_MIN})
            EXPECT_TRUE(same_gains(run_colour(n, px, count), -1.0, -1.0)) << n.name << " " << count;
}

TEST(WhiteBalance, ColourGreenIsNotHalved) {
    // Blue 10, green 30, red 20 everywhere.
    for (const auto &n : kColour) {
        std::vector<uint32_t> px;
        for (int i = 0; i < 7; ++i) {
            px.insert(px.end(), {10, 30, 20});
            if (n.channels == 4) px.push_back(99);
        }
        EXPECT_TRUE(same_gains(run_colour(n, px, 7), 1.5, 3.0)) << n.name;
    }
}

// Sums are unsigned 32-bit: a large frame of 16-bit samples wraps them, and the gains
// come from the wrapped values; a sum at or above 2^31 counts as positive.
TEST(WhiteBalance, SixteenBitSumsWrapAndConvertUnsigned) {
    // 1024 x 400 of 65535: 102,400 tiles. The red and blue sums, 102400 * 65535, wrap
    // once to 2,415,816,704 (at or above 2^31, still positive as a double); the green
    // sum, twice as large, wraps three times, and its half is 268,333,056.
    const uint64_t tiles = 512 * 200, v = 65535, m = 1ull << 32;
    const uint64_t red = tiles * v % m, green = (2 * tiles * v % m) >> 1;
    ASSERT_GT(tiles * v, m);
    ASSERT_GE(red, 1ull << 31);
    const double expected = static_cast<double>(green) / static_cast<double>(red);
    EXPECT_EQ(red, 2415816704u);
    EXPECT_EQ(green, 268333056u);
    const std::vector<uint32_t> flat(1024 * 400, 65535);
    for (const auto &n : kRaw)
        if (n.fn16 != nullptr) {
            EXPECT_TRUE(same_gains(run_raw(n, flat, 1024, 400), expected, expected)) << n.name;
        }

    // 400 x 400 rggb with red and green 65535 and blue 1: 40,000 tiles, a red sum of
    // 2,621,400,000 (above 2^31, no wrap) and a green sum that wraps once.
    const uint64_t big = 40000 * v;
    ASSERT_GE(big, 1ull << 31);
    ASSERT_LT(big, m);
    auto raw = by_colour(0, 400, 400, 1, 65535, 65535);
    const double blue_gain = static_cast<double>((2 * big % m) >> 1) / 40000.0;
    const double red_gain = static_cast<double>((2 * big % m) >> 1) / static_cast<double>(big);
    EXPECT_TRUE(same_gains(run_raw(kRaw[7], raw, 400, 400), red_gain, blue_gain));

    // The colour family: 70,000 pixels of 65535 wrap every sum.
    for (const auto &n : kColour) {
        if (n.fn16 == nullptr) continue;
        std::vector<uint32_t> px(70000 * static_cast<size_t>(n.channels), 65535);
        for (size_t i = 0; i < 70000; ++i) px[i * n.channels] = 30000;  // blue
        const uint64_t g = 70000 * v % m, b = 70000ull * 30000 % m;
        ASSERT_GT(70000 * v, m);
        EXPECT_TRUE(same_gains(run_colour(n, px, 70000), 1.0, static_cast<double>(g) / static_cast<double>(b)))
            << n.name;
    }
}

// ---- against the model ------------------------------------------------------------

TEST(WhiteBalance, RawNamesAgreeWithModelOnRandomFrames) {
    std::mt19937 rng(43);
    std::vector<std::pair<int32_t, int32_t>> sizes;
    for (int32_t w = -1; w <= 9; ++w)
        for (int32_t h = -1; h <= 7; ++h) sizes.emplace_back(w, h);
    for (int k = 0; k < 16; ++k) sizes.emplace_back(1 + rng() % 301, 1 + rng() % 201);
    for (const auto &n : kRaw) {
        const uint32_t maxv = n.fn8 ? 255 : n.name[14] == '0' ? 1023u : 4095u;
        for (const auto &[w, h] : sizes)
            for (int kind = 0; kind < kt::kFrameKinds; kind += (w * h > 1000 ? 3 : 1)) {
                const int32_t fw = w < 0 ? 0 : w, fh = h < 0 ? 0 : h;
                auto raw = kt::make_frame(kind, fw, fh, maxv, rng);
                // Some frames with full-range 16-bit samples whatever the name says.
                if (n.fn16 && kind == 0 && rng() % 2) for (auto &v : raw) v = rng() % 65536;
                const model::Gains want = model::white_balance_raw(raw, n.pattern, w, h);
                ASSERT_TRUE(same_gains(run_raw(n, raw, w, h), want.red, want.blue))
                    << n.name << " " << w << "x" << h << " kind " << kind;
            }
    }
}

TEST(WhiteBalance, SixteenBitRawFrameWrappingTheSumsAgreesWithModel) {
    std::mt19937 rng(2048);
    const int32_t w = 2048, h = 2048;
    std::vector<uint32_t> raw(static_cast<size_t>(w) * h);
    for (auto &v : raw) v = 40000 + rng() % 25536;
    const model::Gains want = model::white_balance_raw(raw, 2, w, h);
    // Without wrapping every gain would lie near 1; the wrapped sums give other values.
    EXPECT_TRUE(same_gains(run_raw(kRaw[5], raw, w, h), want.red, want.blue));
    EXPECT_TRUE(same_gains(run_raw(kRaw[9], raw, w, h), want.red, want.blue));
    // Odd width over the same samples.
    const model::Gains odd = model::white_balance_raw(raw, 3, w - 1, h);
    EXPECT_TRUE(same_gains(run_raw(kRaw[4], raw, w - 1, h), odd.red, odd.blue));
}

TEST(WhiteBalance, ColourNamesAgreeWithModelOnRandomImages) {
    std::mt19937 rng(44);
    for (const auto &n : kColour) {
        const uint32_t maxv = n.fn8 ? 255 : 65535;
        for (int trial = 0; trial < 60; ++trial) {
            const int32_t count = trial < 5 ? trial - 2 : static_cast<int32_t>(rng() % (trial < 55 ? 500 : 90000));
            std::vector<uint32_t> px(static_cast<size_t>(count < 0 ? 0 : count) * n.channels + 4);
            const int kind = trial % 3;
            for (auto &v : px) v = kind == 0 ? rng() % (maxv + 1) : kind == 1 ? (rng() % 2) * maxv : rng() % 3;
            const model::Gains want = model::white_balance_colour(px, n.channels, count);
            ASSERT_TRUE(same_gains(run_colour(n, px, count), want.red, want.blue)) << n.name << " count " << count;
        }
    }
}

}  // namespace
