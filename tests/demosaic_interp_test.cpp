// Worked examples and edge cases of bilinear, adaptive and laplacian, through their
// exports and, for the per-pixel routines, directly.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "demosaic_interp/adaptive.h"
#include "demosaic_interp/laplacian.h"
#include "model/demosaic_model.h"
#include "support/testkit.h"

namespace {

using korvimg::Depth;
using V = std::vector<uint32_t>;

struct Call {
    uint32_t result;
    V px;  // every channel value of the w x h output room
    bool untouched;
    int channels;
    int32_t w;
    V at(int32_t y, int32_t x) const {
        const auto p = static_cast<std::ptrdiff_t>((static_cast<size_t>(y) * w + x) * channels);
        return {px.begin() + p, px.begin() + p + channels};
    }
    V row(int32_t y) const {
        const auto p = static_cast<std::ptrdiff_t>(static_cast<size_t>(y) * w * channels);
        return {px.begin() + p, px.begin() + p + static_cast<std::ptrdiff_t>(w) * channels};
    }
};

// Calls the named export with room for `room` pixels (w x h when not given) and guard
// bytes after it.
Call run(const std::string &name, const V &frame, int32_t w, int32_t h, size_t room = 0) {
    const kt::Member &m = kt::member(name);
    if (room == 0 && w > 0 && h > 0) room = static_cast<size_t>(w) * static_cast<size_t>(h);
    const auto src = kt::pack(frame, m.sample_bytes());
    kt::Guarded out(room * m.channels() * m.sample_bytes(), 91);
    Call c{m.call(src.data(), w, h, out.data()), {}, false, m.channels(), w};
    EXPECT_TRUE(out.guard_intact()) << name << " wrote past its output";
    for (size_t k = 0; k < room * m.channels(); ++k) c.px.push_back(out.value(k, m.sample_bytes()));
    c.untouched = out.untouched();
    return c;
}

V random_frame(int32_t w, int32_t h, uint32_t maxv, uint32_t seed) {
    std::mt19937 rng(seed);
    V f(static_cast<size_t>(w) * static_cast<size_t>(h));
    for (auto &v : f) v = rng() % (maxv + 1);
    return f;
}

// A w x h frame of zeros with the given samples set.
V frame_with(int32_t w, int32_t h, std::initializer_list<std::tuple<int32_t, int32_t, uint32_t>> samples) {
    V f(static_cast<size_t>(w) * static_cast<size_t>(h), 0);
    for (auto [y, x, v] : samples) f[static_cast<size_t>(y) * w + x] = v;
    return f;
}

const char *const kMethods[] = {"bilinear", "adaptive", "laplacian"};
const char *const kDepths[] = {"24", "32", "48", "64"};
const char *const kPatterns[] = {"bggr", "gbrg", "grbg", "rggb"};
uint32_t maxv_of(const std::string &depth) { return depth == "24" || depth == "32" ? 255 : 65535; }

template <class F>
void each_member(const char *method, F f) {
    for (auto *d : kDepths)
        for (auto *p : kPatterns) f(std::string(method) + d + p, maxv_of(d), kt::pattern_code(p));
}

// ---- sizes -------------------------------------------------------------------------------

TEST(Interpolating, RefusedSizesLeaveTheOutputUntouched) {
    const std::pair<int32_t, int32_t> sizes[] = {{5, 4}, {4, 5}, {5, 5}, {3, 4}, {4, 3}, {2, 4}, {4, 2},
                                                 {6, 2}, {2, 6}, {0, 4}, {4, 0}, {0, 0}, {-4, 4}, {4, -4},
                                                 {-4, -4}, {-2, 6}, {6, -6}, {7, 8}};
    for (auto *method : kMethods)
        each_member(method, [&](const std::string &name, uint32_t, int) {
            for (auto [w, h] : sizes) {
                const Call c = run(name, V(64, 5), w, h, 64);
                EXPECT_EQ(c.result, 0u) << name << " " << w << "x" << h;
                EXPECT_TRUE(c.untouched) << name << " " << w << "x" << h;
            }
        });
}

TEST(Interpolating, TwoByTwoIsRefusedByAllThreeMethods) {
    for (auto *method : kMethods)
        each_member(method, [&](const std::string &name, uint32_t, int) {
            const Call c = run(name, {1, 2, 3, 4}, 2, 2);
            EXPECT_EQ(c.result, 0u) << name;
            EXPECT_TRUE(c.untouched) << name;
        });
}

TEST(Interpolating, FourByFourIsAcceptedAndFullyWritten) {
    for (auto *method : kMethods)
        each_member(method, [&](const std::string &name, uint32_t maxv, int) {
            const Call c = run(name, random_frame(4, 4, maxv, 3), 4, 4);
            EXPECT_EQ(c.result, 1u) << name;
            // The guard pattern never holds a 0 byte; every fourth channel must be 0.
            if (c.channels == 4) {
                for (int32_t p = 0; p < 16; ++p) EXPECT_EQ(c.px[static_cast<size_t>(p) * 4 + 3], 0u) << name;
            }
        });
}

TEST(Interpolating, FlatFrameGivesItsValueInEveryChannel) {
    for (auto *method : kMethods)
        each_member(method, [&](const std::string &name, uint32_t maxv, int) {
            for (uint32_t v : {1u, 2u, 100u, maxv - 1, maxv}) {
                const Call c = run(name, V(10 * 8, v), 10, 8);
                ASSERT_EQ(c.result, 1u);
                for (size_t k = 0; k < c.px.size(); ++k)
                    ASSERT_EQ(c.px[k], c.channels == 4 && k % 4 == 3 ? 0u : v) << name << " value " << v << " at " << k;
            }
        });
}

TEST(Interpolating, FourthChannelIsZeroWhateverTheBufferHeld) {
    for (auto *method : kMethods)
        for (auto *d : {"32", "64"})
            for (auto *p : kPatterns) {
                const std::string name = std::string(method) + d + p;
                const Call c = run(name, random_frame(12, 10, maxv_of(d), 8), 12, 10);
                for (size_t i = 0; i < 120; ++i) ASSERT_EQ(c.px[i * 4 + 3], 0u) << name << " pixel " << i;
            }
}

TEST(Interpolating, FirstAndLastRowsAreTheSameForAllThreeMethods) {
    for (auto *d : kDepths)
        for (auto *p : kPatterns) {
            const V f = random_frame(14, 10, maxv_of(d), 21);
            const Call b = run(std::string("bilinear") + d + p, f, 14, 10);
            const Call a = run(std::string("adaptive") + d + p, f, 14, 10);
            const Call l = run(std::string("laplacian") + d + p, f, 14, 10);
            for (int32_t y : {0, 9}) {
                EXPECT_EQ(a.row(y), b.row(y)) << d << p << " row " << y;
                EXPECT_EQ(l.row(y), b.row(y)) << d << p << " row " << y;
            }
            // and they differ inside, so the comparison means something
            EXPECT_NE(l.px, b.px) << d << p;
        }
}

// ---- bilinear ----------------------------------------------------------------------------

TEST(Bilinear, WorkedReadingOfRowOneOfBggr) {
    const int32_t w = 6, h = 4;
    const V f = random_frame(w, h, 255, 5);
    auto s = [&](int32_t y, int32_t x) { return f[static_cast<size_t>(y * w + x)]; };
    const Call c = run("bilinear24bggr", f, w, h);
    ASSERT_EQ(c.result, 1u);
    const int32_t y = 1;  // a gr row: N is red, T is blue
    // column 0, green site: green = X, red = Rt, blue = (U + D) >> 1
    EXPECT_EQ(c.at(y, 0), (V{(s(0, 0) + s(2, 0)) >> 1, s(1, 0), s(1, 1)}));
    for (int32_t x = 1; x < w - 1; ++x) {
        if (x % 2 == 1)  // red site: green = (U + D + L + Rt) >> 2, blue = (UL + 2 UR + DL) >> 2
            EXPECT_EQ(c.at(y, x), (V{(s(0, x - 1) + 2 * s(0, x + 1) + s(2, x - 1)) >> 2,
                                     (s(0, x) + s(2, x) + s(1, x - 1) + s(1, x + 1)) >> 2, s(1, x)}))
                << x;
        else  // green site: red = (L + Rt) >> 1, blue = (U + D) >> 1
            EXPECT_EQ(c.at(y, x), (V{(s(0, x) + s(2, x)) >> 1, s(1, x), (s(1, x - 1) + s(1, x + 1)) >> 1})) << x;
    }
    // last column, red site: green = (U + D + L) / 3, blue = (UL + DL) >> 1
    EXPECT_EQ(c.at(y, 5), (V{(s(0, 4) + s(2, 4)) >> 1, (s(0, 5) + s(2, 5) + s(1, 4)) / 3, s(1, 5)}));
}

TEST(Bilinear, FourByFourTakesRowsZeroAndThreeFromTheBorderFillers) {
    const V f = random_frame(4, 4, 65535, 6);
    const Call c = run("bilinear48rggb", f, 4, 4);
    ASSERT_EQ(c.result, 1u);
    std::vector<uint16_t> s(f.begin(), f.end());
    std::vector<uint16_t> rows(24);
    const uint16_t *src = s.data();
    uint16_t *dst = rows.data();
    korvimg::border_row<Depth<48>, korvimg::RowType::rg>(src, 4, dst);
    src = s.data() + 12;
    korvimg::border_row<Depth<48>, korvimg::RowType::gb>(src, -4, dst);
    EXPECT_EQ(c.row(0), V(rows.begin(), rows.begin() + 12));
    EXPECT_EQ(c.row(3), V(rows.begin() + 12, rows.end()));
    // row 1 (gb): column 1 is a blue site in the middle, column 2 a green site
    auto v = [&](int32_t y, int32_t x) { return f[static_cast<size_t>(y * 4 + x)]; };
    EXPECT_EQ(c.at(1, 1), (V{v(1, 1), (v(0, 1) + v(2, 1) + v(1, 0) + v(1, 2)) >> 2,
                             (v(0, 0) + 2 * v(0, 2) + v(2, 0)) >> 2}));
    EXPECT_EQ(c.at(1, 2), (V{(v(1, 1) + v(1, 3)) >> 1, v(1, 2), (v(0, 2) + v(2, 2)) >> 1}));
}

TEST(Bilinear, BelowRightDiagonalIsNotReadAndAboveRightCountsTwice) {
    // bggr, row 1 is a gr row; (1, 3) is a red site in the middle of it.
    const Call below = run("bilinear24bggr", frame_with(8, 6, {{2, 4, 200}}), 8, 6);
    EXPECT_EQ(below.at(1, 3)[korvimg::kBlue], 0u);
    const Call above = run("bilinear24bggr", frame_with(8, 6, {{0, 4, 201}}), 8, 6);
    EXPECT_EQ(above.at(1, 3)[korvimg::kBlue], 201u >> 1);
    // the same in every member: the above-right sample alone gives v >> 1
    each_member("bilinear", [](const std::string &name, uint32_t maxv, int pattern) {
        // row 2 is an even row; find its middle non-green site
        const int32_t x = model::colour_at(pattern, 2, 2) == model::kGreen ? 3 : 2;
        const Call c = run(name, frame_with(8, 6, {{1, x + 1, maxv}}), 8, 6);
        const int third = model::colour_at(pattern, 1, x + 1);
        EXPECT_EQ(c.at(2, x)[static_cast<size_t>(third)], maxv >> 1) << name;
        const Call d = run(name, frame_with(8, 6, {{3, x + 1, maxv}}), 8, 6);
        EXPECT_EQ(d.at(2, x)[static_cast<size_t>(third)], 0u) << name;
    });
}

TEST(Bilinear, SixteenBitMaximumEverywhereGivesMaximum) {
    for (auto *name : {"bilinear48bggr", "bilinear64grbg", "bilinear64rggb", "bilinear48gbrg"}) {
        const Call c = run(name, V(6 * 6, 65535), 6, 6);
        for (size_t k = 0; k < c.px.size(); ++k) ASSERT_EQ(c.px[k], c.channels == 4 && k % 4 == 3 ? 0u : 65535u);
    }
}

// ---- adaptive ----------------------------------------------------------------------------

TEST(Adaptive, EmptyCoreGivesTheBilinearOutput) {
    each_member("adaptive", [](const std::string &name, uint32_t maxv, int) {
        const std::string bilinear = "bilinear" + name.substr(8);
        for (auto [w, h] : {std::pair{4, 4}, {4, 12}, {12, 4}}) {
            const V f = random_frame(w, h, maxv, static_cast<uint32_t>(w * h));
            EXPECT_EQ(run(name, f, w, h).px, run(bilinear, f, w, h).px) << name << " " << w << "x" << h;
        }
    });
}

TEST(Adaptive, SixBySixHasOneCoreSiteInEachCoreRow) {
    each_member("adaptive", [](const std::string &name, uint32_t maxv, int pattern) {
        const V f = random_frame(6, 6, maxv, 17);
        auto s = [&](int32_t y, int32_t x) { return f[static_cast<size_t>(y * 6 + x)]; };
        const Call a = run(name, f, 6, 6), b = run("bilinear" + name.substr(8), f, 6, 6);
        std::set<std::pair<int32_t, int32_t>> core;
        for (int32_t y : {2, 3})
            for (int32_t x : {2, 3})
                if (model::colour_at(pattern, y, x) != model::kGreen) core.insert({y, x});
        ASSERT_EQ(core.size(), 2u);
        for (int32_t y = 0; y < 6; ++y)
            for (int32_t x = 0; x < 6; ++x) {
                if (!core.count({y, x})) {
                    EXPECT_EQ(a.at(y, x), b.at(y, x)) << name << " " << y << "," << x;
                    continue;
                }
                const int64_t dv = std::abs(int64_t{s(y - 2, x)} - s(y + 2, x));
                const int64_t dh = std::abs(int64_t{s(y, x + 2)} - s(y, x - 2));
                const uint32_t g = dv == dh  ? (s(y - 1, x) + s(y + 1, x) + s(y, x - 1) + s(y, x + 1)) >> 2
                                   : dv < dh ? (s(y - 1, x) + s(y + 1, x)) >> 1
                                             : (s(y, x - 1) + s(y, x + 1)) >> 1;
                const uint32_t t = (s(y - 1, x - 1) + s(y - 1, x + 1) + s(y + 1, x - 1) + s(y + 1, x + 1)) >> 2;
                const int own = model::colour_at(pattern, y, x);
                EXPECT_EQ(a.at(y, x)[static_cast<size_t>(own)], s(y, x)) << name;
                EXPECT_EQ(a.at(y, x)[1], g) << name;
                EXPECT_EQ(a.at(y, x)[static_cast<size_t>(2 - own)], t) << name;
            }
    });
}

TEST(Adaptive, EqualGradientsTakeTheMeanOfFourGreens) {
    // bggr 8 x 8: (2, 2) is a blue core site; every blue sample is 100, so both
    // gradients are 0.
    V f(64, 0);
    for (int32_t y = 0; y < 8; y += 2)
        for (int32_t x = 0; x < 8; x += 2) f[static_cast<size_t>(y * 8 + x)] = 100;
    f[1 * 8 + 2] = 10;  // U
    f[3 * 8 + 2] = 20;  // D
    f[2 * 8 + 1] = 30;  // L
    f[2 * 8 + 3] = 50;  // Rt
    const Call c = run("adaptive24bggr", f, 8, 8);
    EXPECT_EQ(c.at(2, 2), (V{100, (10 + 20 + 30 + 50) >> 2, 0}));
}

// An 8 x 8 frame of 10 before an edge and 200 after it: rows 0 to 2 against the rest
// (a horizontal edge), or columns 0 to 2 against the rest (a vertical edge).
V edge_frame(bool horizontal) {
    V f(64);
    for (int32_t y = 0; y < 8; ++y)
        for (int32_t x = 0; x < 8; ++x) f[static_cast<size_t>(y * 8 + x)] = (horizontal ? y : x) < 3 ? 10 : 200;
    return f;
}

TEST(Adaptive, HorizontalEdgeInterpolatesAlongTheRow) {
    // (2, 2) of bggr, blue: the vertical gradient is 190, the horizontal one 0
    const V f = edge_frame(true);
    EXPECT_EQ(run("adaptive24bggr", f, 8, 8).at(2, 2), (V{10, (10 + 10) >> 1, (10 + 10 + 200 + 200) >> 2}));
    EXPECT_EQ(run("bilinear24bggr", f, 8, 8).at(2, 2)[1], (10u + 200 + 10 + 10) >> 2);
}

TEST(Adaptive, VerticalEdgeInterpolatesAlongTheColumn) {
    const V f = edge_frame(false);
    EXPECT_EQ(run("adaptive48bggr", f, 8, 8).at(2, 2), (V{10, (10 + 10) >> 1, (10 + 200 + 10 + 200) >> 2}));
    EXPECT_EQ(run("bilinear48bggr", f, 8, 8).at(2, 2)[1], (10u + 10 + 10 + 200) >> 2);
}

TEST(Adaptive, DiagonalMeanInsideTheCoreBilinearWeightOutside) {
    // bggr 8 x 8. Inside the core, (2, 2) blue: its below-right sample counts a quarter.
    const Call in = run("adaptive24bggr", frame_with(8, 8, {{3, 3, 200}}), 8, 8);
    EXPECT_EQ(in.at(2, 2)[korvimg::kRed], 200u >> 2);
    // Outside it, (1, 3) red on row 1: the below-right sample is not read.
    const Call out = run("adaptive24bggr", frame_with(8, 8, {{2, 4, 200}}), 8, 8);
    EXPECT_EQ(out.at(1, 3)[korvimg::kBlue], 0u);
    // and column 1 of a core row: (3, 1) red
    const Call col = run("adaptive24bggr", frame_with(8, 8, {{4, 2, 200}}), 8, 8);
    EXPECT_EQ(col.at(3, 1)[korvimg::kBlue], 0u);
    // and row h - 2, (6, 2) blue, and column w - 2, (2, 6) blue
    const Call low = run("adaptive24bggr", frame_with(8, 8, {{7, 3, 200}, {3, 7, 200}}), 8, 8);
    EXPECT_EQ(low.at(6, 2)[korvimg::kRed], 0u);
    EXPECT_EQ(low.at(2, 6)[korvimg::kRed], 0u);
}

TEST(Adaptive, LeftBluePixel64AppliesTheFirstColumnRule) {
    // three rows of width 4; the site is row 1, column 0
    const std::vector<uint16_t> s = {100, 200, 300, 400, 65535, 65534, 7, 8, 1000, 65535, 11, 12};
    std::vector<uint16_t> out(8, 0xABCD);
    const uint16_t *src = s.data() + 4;
    uint16_t *dst = out.data();
    korvimg::left_blue_pixel64(src, 4, dst);
    EXPECT_EQ(src, s.data() + 5);
    EXPECT_EQ(dst, out.data() + 4);
    EXPECT_EQ(V(out.begin(), out.begin() + 4), (V{65535, (100u + 1000 + 65534) / 3, (200u + 65535) >> 1, 0}));
    EXPECT_EQ(out[4], 0xABCD);
}

TEST(Adaptive, SixtyFourGrbgMatchesTheOtherDepthsAtRowOneColumnZero) {
    const V f = random_frame(8, 8, 255, 4);
    const Call a = run("adaptive64grbg", f, 8, 8), b = run("adaptive32grbg", f, 8, 8);
    EXPECT_EQ(a.px, b.px);
    const Call l = run("laplacian64grbg", f, 8, 8), m = run("laplacian32grbg", f, 8, 8);
    EXPECT_EQ(l.px, m.px);
}

// ---- laplacian: through the exports ------------------------------------------------------

TEST(Laplacian, WidthOrHeightFourUsesOnlyBorderAndEdgeRules) {
    // With an empty inner area every pixel comes from the border fillers or the edge
    // rules, which are the bilinear rules.
    each_member("laplacian", [](const std::string &name, uint32_t maxv, int) {
        const std::string bilinear = "bilinear" + name.substr(9);
        for (auto [w, h] : {std::pair{4, 4}, {4, 14}, {14, 4}}) {
            const V f = random_frame(w, h, maxv, static_cast<uint32_t>(w + h));
            EXPECT_EQ(run(name, f, w, h).px, run(bilinear, f, w, h).px) << name << " " << w << "x" << h;
        }
    });
}

TEST(Laplacian, HorizontalStripesTakeTheHorizontalAverage) {
    each_member("laplacian", [](const std::string &name, uint32_t maxv, int pattern) {
        const int32_t w = 10, h = 12;
        V r(h);
        for (int32_t y = 0; y < h; ++y) r[static_cast<size_t>(y)] = (static_cast<uint32_t>(y) * 37 + 11) % 200 * (maxv / 255);
        V f;
        for (int32_t y = 0; y < h; ++y) f.insert(f.end(), static_cast<size_t>(w), r[static_cast<size_t>(y)]);
        const Call c = run(name, f, w, h);
        int checked = 0;
        for (int32_t y = 2; y <= h - 3; ++y)
            for (int32_t x = 2; x <= w - 3; ++x) {
                if (model::colour_at(pattern, y, x) == model::kGreen) continue;
                const int64_t v = std::abs(int64_t{r[y - 1]} - r[y + 1]) +
                                  std::abs(2 * int64_t{r[y]} - r[y - 2] - r[y + 2]);
                if (v == 0) continue;
                EXPECT_EQ(c.at(y, x)[1], r[static_cast<size_t>(y)]) << name << " " << y << "," << x;
                ++checked;
            }
        EXPECT_GT(checked, 10) << name;
    });
}

TEST(Laplacian, NegativeGreenCorrectionsTruncateTowardZero) {
    // bggr 6 x 6, (2, 2) is a blue site of the inner area. W = E = 50, the vertical
    // gradient is large, so green = 50 + Hd / 4 with Hd = 2 X - W2 - E2.
    for (auto [e2, want] : {std::pair{11u, 50u} /* -1 / 4 = 0 */, {15u, 49u} /* -5 / 4 = -1 */}) {
        const V f = frame_with(6, 6, {{2, 2, 10}, {2, 0, 10}, {2, 4, e2}, {2, 1, 50}, {2, 3, 50}, {1, 2, 0},
                                      {3, 2, 100}, {0, 2, 10}, {4, 2, 10}});
        for (auto *name : {"laplacian24bggr", "laplacian64bggr"})
            EXPECT_EQ(run(name, f, 6, 6).at(2, 2)[1], want) << name << " E2 " << e2;
    }
}

TEST(Laplacian, EdgeRingKeepsTheDoubledAboveRightWeight) {
    // bggr 8 x 8: (3, 1) is a red site of column 1, (1, 3) one of row 1, (2, 6) a blue
    // site of column w - 2. Their below-right samples are not read.
    const Call c = run("laplacian24bggr", frame_with(8, 8, {{4, 2, 200}, {2, 4, 200}, {3, 7, 200}}), 8, 8);
    EXPECT_EQ(c.at(3, 1)[korvimg::kBlue], 0u);
    EXPECT_EQ(c.at(1, 3)[korvimg::kBlue], 0u);
    EXPECT_EQ(c.at(2, 6)[korvimg::kRed], 0u);
    // (6, 2) is a blue site of row h - 2.
    const Call low = run("laplacian24bggr", frame_with(8, 8, {{7, 3, 200}}), 8, 8);
    EXPECT_EQ(low.at(6, 2)[korvimg::kRed], 0u);
    const Call d = run("laplacian24bggr", frame_with(8, 8, {{2, 2, 201}}), 8, 8);
    EXPECT_EQ(d.at(3, 1)[korvimg::kBlue], 201u >> 1);
}

TEST(Laplacian, ExtremeFramesClampAndNeverWrap) {
    // frames of only 0 and maxv, against the model, which clamps explicitly; and the
    // output must hold both ends somewhere inside, where the corrections act.
    each_member("laplacian", [](const std::string &name, uint32_t maxv, int pattern) {
        std::mt19937 rng(2);
        const int32_t w = 16, h = 14;
        V f(static_cast<size_t>(w * h));
        for (auto &v : f) v = (rng() & 1) ? maxv : 0;
        const kt::Member &m = kt::member(name);
        const model::Image want = model::demosaic(m.method, m.depth, pattern, f, w, h);
        const Call c = run(name, f, w, h);
        EXPECT_EQ(c.px, want.px) << name;
    });
}

// ---- laplacian: the estimators, called directly -----------------------------------------

// A 5 x 5 neighbourhood of samples and of output pixels; the routine under test runs
// at the centre (2, 2).
template <class D>
struct Patch {
    using S = typename D::Sample;
    std::vector<S> raw = std::vector<S>(25, 0);
    std::vector<S> out = std::vector<S>(25 * D::channels, 0);
    Patch() = default;
    // samples and greens as (row offset, column offset, value)
    Patch(const std::vector<std::tuple<int, int, uint32_t>> &samples,
          const std::vector<std::tuple<int, int, uint32_t>> &greens) {
        for (auto [dy, dx, v] : samples) sample(dy, dx, v);
        for (auto [dy, dx, v] : greens) green(dy, dx, v);
    }
    void sample(int dy, int dx, uint32_t v) { raw[static_cast<size_t>((2 + dy) * 5 + 2 + dx)] = static_cast<S>(v); }
    void green(int dy, int dx, uint32_t v) {
        out[static_cast<size_t>(((2 + dy) * 5 + 2 + dx) * D::channels + 1)] = static_cast<S>(v);
    }
    V centre() const { return {out.begin() + 12 * D::channels, out.begin() + 13 * D::channels}; }
    V run(void (*routine)(const S *&, int32_t, S *&)) {
        const S *s = raw.data() + 12;
        S *d = out.data() + 12 * D::channels;
        routine(s, 5, d);
        EXPECT_EQ(s, raw.data() + 13) << "source cursor";
        EXPECT_EQ(d, out.data() + 13 * D::channels) << "destination cursor";
        return centre();
    }
};

using Samples = std::vector<std::tuple<int, int, uint32_t>>;

template <class D>
uint32_t green_of(const Samples &samples) {
    Patch<D> p;
    for (auto [dy, dx, v] : samples) p.sample(dy, dx, v);
    for (size_t k = 0; k < p.out.size(); ++k) p.out[k] = 9;
    const V px = p.run(korvimg::laplacian_green<D>);
    // only the green channel is written
    for (int ch = 0; ch < D::channels; ++ch)
        if (ch != 1) {
            EXPECT_EQ(px[static_cast<size_t>(ch)], 9u);
        }
    return px[1];
}

TEST(LaplacianGreen, NegativeQuarterCorrections) {
    // X = 10, W = E = 50, N = 0, S = 100, N2 = S2 = 10: the horizontal gradient is the
    // smaller, green = 50 + Hd / 4.
    auto with_e2 = [](uint32_t e2) {
        return green_of<Depth<24>>({{0, 0, 10}, {0, -1, 50}, {0, 1, 50}, {-1, 0, 0}, {1, 0, 100},
                                    {-2, 0, 10}, {2, 0, 10}, {0, -2, 10}, {0, 2, e2}});
    };
    EXPECT_EQ(with_e2(11), 50u);  // -1 / 4 contributes 0 (a shift would give 49)
    EXPECT_EQ(with_e2(15), 49u);  // -5 / 4 contributes -1 (a shift would give 48)
    EXPECT_EQ(with_e2(7), 50u);   // +3 / 4 contributes 0
}

TEST(LaplacianGreen, TiesTakeTheFourWayForm) {
    // |W - E| + |Hd| = 20 + 8 = |N - S| + |Vd| = 20 + 8
    const uint32_t g = green_of<Depth<48>>({{0, 0, 20}, {0, -1, 30}, {0, 1, 10}, {-1, 0, 0}, {1, 0, 20},
                                            {0, -2, 16}, {0, 2, 16}, {-2, 0, 16}, {2, 0, 16}});
    EXPECT_EQ(g, ((0u + 20 + 30 + 10) >> 2) + (8 + 8) / 8);
}

TEST(LaplacianGreen, ClampsAtBothEnds) {
    // below 0: X = 0, W = E = 0, W2 = E2 = maxv; vertical gradient larger
    // above maxv: X = maxv, W = E = maxv, W2 = E2 = 0
    auto low = [](uint32_t m) {
        return Samples{{0, -2, m}, {0, 2, m}, {-1, 0, 0}, {1, 0, m}, {-2, 0, m}, {2, 0, m}};
    };
    EXPECT_EQ(green_of<Depth<24>>(low(255)), 0u);
    EXPECT_EQ(green_of<Depth<64>>(low(65535)), 0u);
    EXPECT_EQ(green_of<Depth<32>>({{0, 0, 255}, {0, -1, 255}, {0, 1, 255}, {1, 0, 255}}), 255u);
    EXPECT_EQ(green_of<Depth<48>>({{0, 0, 65535}, {0, -1, 65535}, {0, 1, 65535}, {1, 0, 65535}}), 65535u);
}

TEST(LaplacianGreenSite, CorrectionsTruncateTowardZeroAndReadTheGreenPlane) {
    for (auto [ge, want] : {std::pair{11u, 40u}, {15u, 39u}, {4u, 41u}}) {
        // W = E = 40, N = S = 20; greens 10 around but ge on the right
        Patch<Depth<24>> p({{0, -1, 40}, {0, 1, 40}, {-1, 0, 20}, {1, 0, 20}, {0, 0, 10}},
                           {{0, 0, 10}, {0, -1, 10}, {0, 1, ge}, {-1, 0, 10}, {1, 0, 10}});
        // a green site of a blue-green row: blue from left and right, red from up and down
        EXPECT_EQ(p.run(korvimg::laplacian_gb_site<Depth<24>>), (V{want, 10, 20})) << ge;
    }
    // vertical correction (200 - 190) / 4 = 2, horizontal (200 - 206) / 4 = -1
    Patch<Depth<64>> p({{0, -1, 1000}, {0, 1, 3000}, {-1, 0, 500}, {1, 0, 700}},
                       {{0, 0, 100}, {-1, 0, 90}, {1, 0, 100}, {0, -1, 110}, {0, 1, 96}});
    EXPECT_EQ(p.run(korvimg::laplacian_gr_site<Depth<64>>), (V{600 + 2, 100, 2000 - 1, 0}));
}

TEST(LaplacianGreenSite, ClampsBothEnds) {
    // horizontal: 255 + (510 - 0) / 4 -> 255; vertical: 0 + (510 - 510) / 4 = 0
    Patch<Depth<24>> p({{0, -1, 255}, {0, 1, 255}}, {{0, 0, 255}, {-1, 0, 255}, {1, 0, 255}});
    EXPECT_EQ(p.run(korvimg::laplacian_gb_site<Depth<24>>), (V{255, 255, 0}));
    // vertical: 3 + (0 - 510) / 4 -> 0; horizontal: 255 + 0 / 4 = 255
    Patch<Depth<24>> q({{0, -1, 255}, {0, 1, 255}, {-1, 0, 3}, {1, 0, 3}}, {{-1, 0, 255}, {1, 0, 255}});
    EXPECT_EQ(q.run(korvimg::laplacian_gr_site<Depth<24>>), (V{0, 0, 255}));
}

// The colour-site case: G = 50 at the centre, greens 40 (NW, SE) and 60 (NE, SW) around
// it: D1 = 20, D2 = -20. Samples NW, NE, SW, SE as given.
template <class D>
V colour_site(bool blue, uint32_t nw, uint32_t ne, uint32_t sw, uint32_t se) {
    Patch<D> p({{0, 0, 77}, {-1, -1, nw}, {-1, 1, ne}, {1, -1, sw}, {1, 1, se}},
               {{0, 0, 50}, {-1, -1, 40}, {1, 1, 40}, {-1, 1, 60}, {1, -1, 60}});
    return p.run(blue ? korvimg::laplacian_blue_site<D> : korvimg::laplacian_red_site<D>);
}

TEST(LaplacianColourSite, TieAndBothDiagonals) {
    // A = |100 - 80| + 20 = B = |10 - 30| + 20: (20 - 20 + 100 + 10 + 30 + 80) / 4
    EXPECT_EQ(colour_site<Depth<24>>(true, 100, 10, 30, 80), (V{77, 50, 55}));
    // A = 40 < B = |0 - 30| + 20 = 50: (NW + SE + D1) / 2
    EXPECT_EQ(colour_site<Depth<32>>(false, 100, 0, 30, 80), (V{100, 50, 77, 0}));
    // A = |120 - 80| + 20 = 60 > B = 40: (NE + SW + D2) / 2
    EXPECT_EQ(colour_site<Depth<48>>(true, 120, 10, 30, 80), (V{77, 50, 10}));
}

TEST(LaplacianColourSite, ClampsBothEnds) {
    Patch<Depth<24>> p;
    for (int dy : {-1, 1})
        for (int dx : {-1, 1}) p.sample(dy, dx, 255);
    p.green(0, 0, 255);  // D1 = D2 = 510: (510 + 510 + 4 * 255) / 4 -> 255
    EXPECT_EQ(p.run(korvimg::laplacian_red_site<Depth<24>>), (V{255, 255, 0}));
    Patch<Depth<64>> q;
    for (int dy : {-1, 1})
        for (int dx : {-1, 1}) q.green(dy, dx, 65535);  // D1 = D2 = -131070 -> 0
    q.sample(0, 0, 5);
    EXPECT_EQ(q.run(korvimg::laplacian_blue_site<Depth<64>>), (V{5, 0, 0, 0}));
}

}  // namespace
