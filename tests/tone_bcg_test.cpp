// Brightness, contrast and gamma tables: worked examples, edge cases, the float model
// over a grid of settings, pinned tables, and the power function behind them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/tone_model.h"
#include "support/testkit.h"
#include "tone/tone.h"

namespace {

using V = std::vector<uint32_t>;
using Bcg8 = uint8_t(KORVIMG_CALL *)(int32_t, int32_t, int32_t, uint8_t *);
using Bcg16 = uint8_t(KORVIMG_CALL *)(int32_t, int32_t, int32_t, uint16_t *);

struct Builder {
    const char *name;
    int entries, scale, limit;
    Bcg8 fn8;
    Bcg16 fn16;
    int bytes() const { return fn8 ? 1 : 2; }
    // Builds into a guarded table; the guard bytes must survive.
    V build(int32_t b, int32_t c, int32_t g) const {
        kt::Guarded out(static_cast<size_t>(entries * bytes()), 5);
        const uint8_t r = fn8 ? fn8(b, c, g, out.data()) : fn16(b, c, g, reinterpret_cast<uint16_t *>(out.data()));
        EXPECT_EQ(r, 1) << name;
        EXPECT_TRUE(out.guard_intact()) << name << " wrote past its table";
        V t;
        for (int i = 0; i < entries; ++i) t.push_back(out.value(static_cast<size_t>(i), bytes()));
        return t;
    }
    V model(int32_t b, int32_t c, int32_t g) const { return model::bcg_table(entries, scale, limit, b, c, g); }
};

const Builder kBuilders[] = {
    {"create_BCG_LUT8", 256, 256, 255, create_BCG_LUT8, nullptr},
    {"create_BCG_LUT10", 1024, 1024, 1024, nullptr, create_BCG_LUT10},
    {"create_BCG_LUT10_8", 1024, 256, 255, create_BCG_LUT10_8, nullptr},
    {"create_BCG_LUT12", 4096, 4096, 4096, nullptr, create_BCG_LUT12},
    {"create_BCG_LUT12_8", 4096, 256, 255, create_BCG_LUT12_8, nullptr},
};
const Builder &builder(const std::string &name) {
    for (const auto &b : kBuilders)
        if (name == b.name) return b;
    throw std::runtime_error(name);
}

// ---- worked examples and edge cases ---------------------------------------------------

TEST(BcgTables, AllZeroSettingsGiveIdentityAndTopBits) {
    const V t8 = builder("create_BCG_LUT8").build(0, 0, 0);
    const V t10 = builder("create_BCG_LUT10").build(0, 0, 0);
    const V t12 = builder("create_BCG_LUT12").build(0, 0, 0);
    const V t10_8 = builder("create_BCG_LUT10_8").build(0, 0, 0);
    const V t12_8 = builder("create_BCG_LUT12_8").build(0, 0, 0);
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(t8[i], i);
    for (uint32_t i = 0; i < 1024; ++i) {
        EXPECT_EQ(t10[i], i);
        EXPECT_EQ(t10_8[i], i / 4);
    }
    for (uint32_t i = 0; i < 4096; ++i) {
        EXPECT_EQ(t12[i], i);
        EXPECT_EQ(t12_8[i], i / 16);
    }
}

TEST(BcgTables, FullBrightnessReachesTheLimitFromTheMiddle) {
    const V t10 = builder("create_BCG_LUT10").build(127, 0, 0);
    for (uint32_t i = 0; i < 512; ++i) EXPECT_EQ(t10[i], i + 512) << i;
    for (uint32_t i = 512; i < 1024; ++i) EXPECT_EQ(t10[i], 1024u) << i;
    const V t12 = builder("create_BCG_LUT12").build(127, 0, 0);
    EXPECT_EQ(t12[2047], 4095u);
    EXPECT_EQ(t12[2048], 4096u);
    EXPECT_EQ(t12[4095], 4096u);
    const V t8 = builder("create_BCG_LUT8").build(127, 0, 0);
    EXPECT_EQ(t8[127], 255u);
    EXPECT_EQ(t8[255], 255u);
}

TEST(BcgTables, NegativeBrightnessClearsTheLowerHalf) {
    const V t8 = builder("create_BCG_LUT8").build(-127, 0, 0);
    for (uint32_t i = 0; i < 128; ++i) EXPECT_EQ(t8[i], 0u) << i;
    for (uint32_t i = 128; i < 256; ++i) EXPECT_EQ(t8[i], i - 128) << i;
}

TEST(BcgTables, ContrastSixtyFourDoublesExactly) {
    // Entry i of the 8-bit table: ((i + 0.5) / 256 - 0.5) * 2 + 0.5, times 256 = 2i - 127.
    const V t8 = builder("create_BCG_LUT8").build(0, 64, 0);
    for (int i = 64; i < 191; ++i) EXPECT_EQ(t8[static_cast<size_t>(i)], static_cast<uint32_t>(2 * i - 127)) << i;
    EXPECT_EQ(t8[63], 0u);
    EXPECT_EQ(t8[191], 255u);
    const V half = builder("create_BCG_LUT8").build(0, -64, 0);  // exactly 0.5: 64 + i / 2
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(half[i], 64 + i / 2) << i;
    EXPECT_EQ(model::contrast_factor(64), 2.0f);
    EXPECT_EQ(model::contrast_factor(-64), 0.5f);
}

TEST(BcgTables, ContrastSixtyThreeUsesTheSmoothCurve) {
    const float f63 = static_cast<float>(std::pow(4.0, 63 / 127.0));
    const V t = builder("create_BCG_LUT12").build(0, 63, 0);
    for (int i = 0; i < 4096; ++i) {
        const float x = (static_cast<float>(i) + 0.5f) / 4096.0f;
        const float y = ((x - 0.5f) * f63 + 0.5f) * 4096.0f;
        const int v = std::min(4096, std::max(0, static_cast<int>(y)));
        ASSERT_EQ(t[static_cast<size_t>(i)], static_cast<uint32_t>(v)) << i;
    }
    EXPECT_NE(t, builder("create_BCG_LUT12").build(0, 64, 0));
}

TEST(BcgTables, OutOfRangeSettingsAreClamped) {
    for (const auto &b : kBuilders) {
        EXPECT_EQ(b.build(500, 500, 500), b.build(127, 127, 127)) << b.name;
        EXPECT_EQ(b.build(-500, -500, -500), b.build(-127, -127, -127)) << b.name;
        EXPECT_EQ(b.build(INT32_MIN, INT32_MAX, 128), b.build(-127, 127, 127)) << b.name;
    }
}

TEST(BcgTables, GammaOneTwentySevenCubes) {
    const V t8 = builder("create_BCG_LUT8").build(0, 0, 127);
    EXPECT_EQ(t8[128], 32u);  // 256 * (128.5 / 256)^3 = 32.37
    for (int i = 0; i < 256; ++i) {
        const double x = (i + 0.5) / 256.0;
        const float cube = static_cast<float>(x * x * x);  // exact in double, rounded once
        ASSERT_EQ(t8[static_cast<size_t>(i)], static_cast<uint32_t>(((cube - 0.5f) * 1.0f + 0.5f) * 256.0f)) << i;
    }
}

TEST(BcgTables, NullTableReturnsZero) {
    EXPECT_EQ(create_BCG_LUT8(0, 0, 0, nullptr), 0);
    EXPECT_EQ(create_BCG_LUT10(10, 20, 30, nullptr), 0);
    EXPECT_EQ(create_BCG_LUT10_8(0, 0, 5, nullptr), 0);
    EXPECT_EQ(create_BCG_LUT12(0, 0, 0, nullptr), 0);
    EXPECT_EQ(create_BCG_LUT12_8(-1, 1, -1, nullptr), 0);
}

TEST(BcgTables, ConstantRowsAreTheRoundedRules) {
    EXPECT_EQ(model::gamma_exponent(-127), 0.33333334f);
    EXPECT_EQ(model::gamma_exponent(127), 3.0f);
    EXPECT_EQ(model::contrast_factor(127), 4.0f);
    EXPECT_EQ(model::brightness_shift(1), 0.003937008f);
    EXPECT_EQ(model::brightness_shift(-127), -0.5f);
    // Each gamma exponent, contrast factor and brightness shift row, seen through a
    // table: the table with only that setting changed must equal the model's.
    for (int s = -127; s <= 127; ++s) {
        ASSERT_EQ(builder("create_BCG_LUT12").build(0, 0, s), builder("create_BCG_LUT12").model(0, 0, s)) << s;
        ASSERT_EQ(builder("create_BCG_LUT12").build(0, s, 0), builder("create_BCG_LUT12").model(0, s, 0)) << s;
        ASSERT_EQ(builder("create_BCG_LUT8").build(s, 0, 0), builder("create_BCG_LUT8").model(s, 0, 0)) << s;
    }
}

// ---- the model over a grid and at random ----------------------------------------------

TEST(BcgTables, MatchTheFloatModelOverTheSettingsGrid) {
    const int32_t grid[] = {-500, -127, -64, -63, -1, 0, 1, 63, 64, 127, 500};
    for (const auto &b : kBuilders)
        for (int32_t g : grid)
            for (int32_t c : grid)
                for (int32_t br : grid) ASSERT_EQ(b.build(br, c, g), b.model(br, c, g)) << b.name << " " << br << " " << c << " " << g;
}

TEST(BcgTables, MatchTheFloatModelAtRandomSettings) {
    std::mt19937 rng(2024);
    std::uniform_int_distribution<int32_t> setting(-140, 140);
    for (int trial = 0; trial < 60; ++trial)
        for (const auto &b : kBuilders) {
            const int32_t br = setting(rng), c = setting(rng), g = setting(rng);
            ASSERT_EQ(b.build(br, c, g), b.model(br, c, g)) << b.name << " " << br << " " << c << " " << g;
        }
}

// ---- pinned tables: worked out with exact arithmetic outside the library ----------------

uint32_t fnv1a(const V &t) {
    uint32_t h = 2166136261u;
    for (uint32_t v : t) h = (h ^ v) * 16777619u;
    return h;
}

TEST(BcgTables, PinnedTablesAreTheSameOnEveryPlatform) {
    struct Pin {
        const char *name;
        int32_t b, c, g;
        uint32_t hash, sum;
        std::vector<std::pair<size_t, uint32_t>> entries;
    };
    const Pin pins[] = {
        {"create_BCG_LUT8", 0, 63, 127, 0xdcadd4fbu, 13978u, {{1, 0}, {85, 0}, {129, 0}, {254, 255}}},
        {"create_BCG_LUT10", -64, 100, 1, 0xafb96208u, 432653u, {{1, 0}, {341, 0}, {513, 249}, {1022, 1024}}},
        {"create_BCG_LUT10_8", -5, 64, -100, 0xecafb66au, 201573u, {{1, 0}, {341, 189}, {513, 249}, {1022, 255}}},
        {"create_BCG_LUT12", 10, -30, 77, 0x30b2a570u, 7104759u, {{1, 733}, {1365, 1081}, {2049, 1500}, {4094, 3683}}},
        {"create_BCG_LUT12_8", 127, -127, -127, 0xed195b92u, 1040637u, {{1, 228}, {1365, 255}, {2049, 255}, {4094, 255}}},
        {"create_BCG_LUT12", -20, 45, -63, 0x6a2d9effu, 10438242u, {{1, 0}, {1365, 1918}, {2049, 2858}, {4094, 4096}}},
    };
    for (const auto &p : pins) {
        const V t = builder(p.name).build(p.b, p.c, p.g);
        uint32_t sum = 0;
        for (uint32_t v : t) sum += v;
        EXPECT_EQ(fnv1a(t), p.hash) << p.name << " " << p.b << " " << p.c << " " << p.g;
        EXPECT_EQ(sum, p.sum) << p.name;
        for (auto [i, v] : p.entries) EXPECT_EQ(t[i], v) << p.name << " entry " << i;
    }
}

// ---- the power function -----------------------------------------------------------------

// Every (x, exponent) the tables can ask for: x = (2i + 1) / (2n) for the three table
// sizes, exponent any gamma row but the middle one.
template <class F>
void for_each_power(F &&f) {
    for (int n : {256, 1024, 4096})
        for (int i = 0; i < n; ++i)
            for (int s = -127; s <= 127; ++s)
                if (s != 0) f(static_cast<float>((2.0 * i + 1.0) / (2.0 * n)), model::gamma_exponent(s));
}

TEST(BcgPower, DoubleDoubleIsExactWhereTheResultIs) {
    for (int i = 0; i < 4096; ++i) {
        const double x = (2.0 * i + 1.0) / 8192.0;
        ASSERT_EQ(korvimg::pow_double_double(x, 3.0), x * x * x) << i;  // 39 bits: exact
        ASSERT_EQ(korvimg::pow_double_double(x, 1.0), x) << i;
        ASSERT_EQ(korvimg::pow_double_double(x, 2.0), x * x) << i;
    }
    EXPECT_EQ(korvimg::pow_double_double(0.25, 0.5), 0.5);
    EXPECT_EQ(korvimg::pow_double_double(0.0625, 0.25), 0.5);
}

TEST(BcgPower, DoubleDoubleAgreesWithThePlatformPowToTheUlp) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> xs(1e-4f, 1.0f), es(0.3f, 3.0f);
    for (int k = 0; k < 20000; ++k) {
        const float x = xs(rng), e = es(rng);
        const double mine = korvimg::pow_double_double(x, e), theirs = std::pow(static_cast<double>(x), static_cast<double>(e));
        ASSERT_LE(std::fabs(mine - theirs), std::fabs(theirs) * 0x1p-52) << x << " " << e;
    }
}

// The float the tables use is that of the correctly rounded double: where the long
// double power is available as a third opinion, all of them agree on every pair.
TEST(BcgPower, SingleResultIsTheRoundedCorrectDoubleForEveryTablePower) {
    long platform_differs = 0, checked = 0;
    for_each_power([&](float x, float e) {
        const float mine = korvimg::pow_single(x, e);
        if (mine != static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(e)))) ++platform_differs;
#if LDBL_MANT_DIG >= 64
        const long double wide = std::pow(static_cast<long double>(x), static_cast<long double>(e));
        ASSERT_EQ(mine, static_cast<float>(static_cast<double>(wide))) << x << " " << e;
#endif
        ++checked;
    });
    EXPECT_EQ(checked, 5376L * 254);
    RecordProperty("platform_pow_float_differences", static_cast<int>(platform_differs));
    // The model uses the platform's pow; it must not see a different float anywhere.
    EXPECT_EQ(platform_differs, 0) << "the C library's pow gives another float for some table power";
}

TEST(BcgPower, DoubleDoubleAloneGivesTheSameFloats) {
    long k = 0;
    for_each_power([&](float x, float e) {
        if (++k % 13 != 0) return;  // a sample: the double-double path is the slow one
        ASSERT_EQ(static_cast<float>(korvimg::pow_double_double(x, e)), korvimg::pow_single(x, e)) << x << " " << e;
    });
}

TEST(BcgPower, NearBoundaryCasesTakeTheExactPath) {
    // x^3 for x = k / 8192 with k odd in 257..321 is an exact float rounding boundary:
    // the double is the midpoint itself and rounds to the even float.
    for (int k = 257; k <= 321; k += 2) {
        const float x = static_cast<float>(k / 8192.0);
        const double cube = static_cast<double>(x) * x * x;
        EXPECT_EQ(korvimg::pow_single(x, 3.0f), static_cast<float>(cube)) << k;
        EXPECT_NE(static_cast<double>(static_cast<float>(cube)), cube) << k;
    }
}

}  // namespace
