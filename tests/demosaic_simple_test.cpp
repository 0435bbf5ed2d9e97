// Worked examples and edge cases of mono, bayer, nearest, simple and preview.
#include <gtest/gtest.h>

#include "support/testkit.h"

namespace {

struct Call {
    uint32_t result;
    std::vector<uint32_t> px;  // channel values of the output room
    bool untouched;
};

// Calls the named export on samples, with room for `pixels` output pixels and guard
// bytes after them; the guard must survive every call.
Call run(const std::string &name, const std::vector<uint32_t> &samples, int32_t w, int32_t h, size_t pixels) {
    const kt::Member &m = kt::member(name);
    const auto src = kt::pack(samples, m.sample_bytes());
    kt::Guarded out(pixels * m.channels() * m.sample_bytes(), 77);
    Call r{m.call(src.data(), w, h, out.data()), {}, false};
    EXPECT_TRUE(out.guard_intact()) << name << " wrote past its output";
    for (size_t k = 0; k < pixels * m.channels(); ++k) r.px.push_back(out.value(k, m.sample_bytes()));
    r.untouched = out.untouched();
    return r;
}

std::vector<uint32_t> pixel(const Call &r, size_t p, int channels) {
    return {r.px.begin() + static_cast<std::ptrdiff_t>(p * channels),
            r.px.begin() + static_cast<std::ptrdiff_t>((p + 1) * channels)};
}
using V = std::vector<uint32_t>;

const char *const kTileMethods[] = {"bayer", "nearest", "simple", "preview"};
const char *const kDepths[] = {"24", "32", "48", "64"};
const char *const kPatterns[] = {"bggr", "gbrg", "grbg", "rggb"};

// ---- sizes -----------------------------------------------------------------------------

TEST(TileMethods, TwoByTwoIsTheSmallestFrameAndGivesOneTile) {
    for (auto *m : kTileMethods)
        for (auto *d : kDepths)
            for (auto *p : kPatterns) {
                const std::string name = std::string(m) + d + p;
                const size_t pixels = std::string(m) == "preview" ? 1 : 4;
                const Call r = run(name, {1, 2, 3, 4}, 2, 2, pixels);
                EXPECT_EQ(r.result, 1u) << name;
                EXPECT_FALSE(r.untouched) << name;
            }
    EXPECT_EQ(run("mono24bggr", {1, 2, 3, 4}, 2, 2, 4).result, 1u);
}

TEST(TileMethods, OddSizesAreRefusedUntouched) {
    for (auto *m : kTileMethods)
        for (auto *d : kDepths)
            for (auto *p : kPatterns) {
                const std::string name = std::string(m) + d + p;
                for (auto [w, h] : {std::pair{3, 4}, {4, 3}, {6, 5}, {5, 5}, {-3, 4}}) {
                    const Call r = run(name, V(static_cast<size_t>(std::abs(w * h)), 9), w, h, static_cast<size_t>(std::abs(w * h)));
                    EXPECT_EQ(r.result, 0u) << name << " " << w << "x" << h;
                    EXPECT_TRUE(r.untouched) << name << " " << w << "x" << h;
                }
            }
}

TEST(TileMethods, EmptySizesSucceedUntouched) {
    for (auto *m : {"mono", "bayer", "nearest", "simple", "preview"})
        for (auto *d : kDepths) {
            const std::string name = std::string(m) + d + "rggb";
            for (auto [w, h] : {std::pair{0, 4}, {4, 0}, {0, 0}, {0, 2}, {2, 0}, {-2, 4}, {4, -2}}) {
                const Call r = run(name, V(16, 9), w, h, 0);
                EXPECT_EQ(r.result, 1u) << name << " " << w << "x" << h;
                EXPECT_TRUE(r.untouched) << name << " " << w << "x" << h;
            }
        }
}

TEST(TileMethods, FourthChannelIsZeroWhateverTheBufferHeld) {
    for (auto *m : {"mono", "bayer", "nearest", "simple", "preview"})
        for (auto *d : {"32", "64"})
            for (auto *p : kPatterns) {
                const std::string name = std::string(m) + d + p;
                const size_t pixels = std::string(m) == "preview" ? 6 : 24;
                const Call r = run(name, V(24, 200), 6, 4, pixels);
                ASSERT_EQ(r.result, 1u);
                for (size_t i = 0; i < pixels; ++i) EXPECT_EQ(r.px[i * 4 + 3], 0u) << name << " pixel " << i;
            }
}

// ---- mono ------------------------------------------------------------------------------

TEST(Mono, ThreeByFiveIsProcessed) {
    V s(15);
    for (uint32_t i = 0; i < 15; ++i) s[i] = i * 10;
    const Call r = run("mono24bggr", s, 3, 5, 15);
    EXPECT_EQ(r.result, 1u);
    for (size_t i = 0; i < 15; ++i) EXPECT_EQ(pixel(r, i, 3), (V{s[i], s[i], s[i]}));
}

TEST(Mono, ZeroSizesWriteNothing) {
    for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {0, 0}, {-1, 3}}) {
        const Call r = run("mono32bggr", V(15, 1), w, h, 0);
        EXPECT_EQ(r.result, 1u);
        EXPECT_TRUE(r.untouched);
    }
}

TEST(Mono, TwoNegativeSizesMakeAPositiveCount) {
    const Call r = run("mono24bggr", {5, 6, 7, 8}, -2, -2, 4);
    EXPECT_EQ(r.result, 1u);
    EXPECT_EQ(r.px, (V{5, 5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8}));
}

// Width and height count only through their product as a signed 32-bit number, which
// wraps: 65537 x 65536 is 65536 pixels, 65536 x 32768 is negative and 65536 x 65536
// is 0, so those two write nothing.
TEST(Mono, TheCountIsTheWrappedProduct) {
    V s(65536 + 7);
    for (size_t k = 0; k < s.size(); ++k) s[k] = static_cast<uint32_t>(k * 37 % 251);
    for (const char *name : {"mono24bggr", "mono64rggb"}) {
        const int channels = kt::member(name).channels();
        const Call r = run(name, s, 65537, 65536, 65536);
        EXPECT_EQ(r.result, 1u) << name;
        for (size_t p : {size_t{0}, size_t{1}, size_t{40000}, size_t{65535}})
            EXPECT_EQ(pixel(r, p, channels)[0], s[p]) << name << " pixel " << p;
        for (auto [w, h] : {std::pair{65536, 32768}, {65536, 65536}, {-65536, 65536}}) {
            const Call none = run(name, s, w, h, 4);
            EXPECT_EQ(none.result, 1u) << name << " " << w << " x " << h;
            EXPECT_TRUE(none.untouched) << name << " " << w << " x " << h;
        }
    }
}

TEST(Mono, SixteenBitSampleIsCopiedUnchanged) {
    const Call r = run("mono64bggr", {0xFFFF}, 1, 1, 1);
    EXPECT_EQ(r.px, (V{0xFFFF, 0xFFFF, 0xFFFF, 0}));
    const Call r48 = run("mono48rggb", {0x1234}, 1, 1, 1);
    EXPECT_EQ(r48.px, (V{0x1234, 0x1234, 0x1234}));
}

TEST(Mono, EveryPatternNameGivesTheSameOutput) {
    const V s = {1, 2, 3, 4, 5, 6};
    const Call a = run("mono24rggb", s, 3, 2, 6), b = run("mono24bggr", s, 3, 2, 6);
    EXPECT_EQ(a.px, b.px);
}

// ---- bayer -----------------------------------------------------------------------------

TEST(Bayer, WorkedExampleBggr) {
    const Call r = run("bayer24bggr", {11, 12, 21, 22}, 2, 2, 4);
    EXPECT_EQ(r.result, 1u);
    EXPECT_EQ(pixel(r, 0, 3), (V{11, 0, 0}));
    EXPECT_EQ(pixel(r, 1, 3), (V{0, 12, 0}));
    EXPECT_EQ(pixel(r, 2, 3), (V{0, 21, 0}));
    EXPECT_EQ(pixel(r, 3, 3), (V{0, 0, 22}));
}

TEST(Bayer, WorkedExampleRggb) {
    const Call r = run("bayer24rggb", {11, 12, 21, 22}, 2, 2, 4);
    EXPECT_EQ(pixel(r, 0, 3), (V{0, 0, 11}));
    EXPECT_EQ(pixel(r, 3, 3), (V{22, 0, 0}));
}

TEST(Bayer, GbrgAndGrbgPlaceTheirColours) {
    const Call g = run("bayer32gbrg", {1, 2, 3, 4}, 2, 2, 4);
    EXPECT_EQ(g.px, (V{0, 1, 0, 0, 2, 0, 0, 0, 0, 0, 3, 0, 0, 4, 0, 0}));
    const Call r = run("bayer32grbg", {1, 2, 3, 4}, 2, 2, 4);
    EXPECT_EQ(r.px, (V{0, 1, 0, 0, 0, 0, 2, 0, 3, 0, 0, 0, 0, 4, 0, 0}));
}

TEST(Bayer, FourByThreeIsRefusedAndZeroByTwoDoesNothing) {
    EXPECT_EQ(run("bayer24bggr", V(12, 1), 4, 3, 12).result, 0u);
    EXPECT_TRUE(run("bayer24bggr", V(12, 1), 4, 3, 12).untouched);
    const Call r = run("bayer24bggr", V(4, 1), 0, 2, 0);
    EXPECT_EQ(r.result, 1u);
    EXPECT_TRUE(r.untouched);
}

TEST(Bayer, SixteenBitMaximumPassesUnchanged) {
    const Call r = run("bayer48bggr", {65535, 65535, 65535, 65535}, 2, 2, 4);
    EXPECT_EQ(pixel(r, 0, 3), (V{65535, 0, 0}));
    EXPECT_EQ(pixel(r, 3, 3), (V{0, 0, 65535}));
    const Call r64 = run("bayer64rggb", {65535, 1, 2, 65535}, 2, 2, 4);
    EXPECT_EQ(pixel(r64, 0, 4), (V{0, 0, 65535, 0}));
    EXPECT_EQ(pixel(r64, 3, 4), (V{65535, 0, 0, 0}));
}

// ---- nearest ---------------------------------------------------------------------------

TEST(Nearest, WorkedExampleBggr) {
    const Call r = run("nearest24bggr", {11, 12, 21, 22}, 2, 2, 4);
    EXPECT_EQ(pixel(r, 0, 3), (V{11, 12, 22}));
    EXPECT_EQ(pixel(r, 1, 3), (V{11, 12, 22}));
    EXPECT_EQ(pixel(r, 2, 3), (V{11, 21, 22}));
    EXPECT_EQ(pixel(r, 3, 3), (V{11, 21, 22}));
}

// Changing sample `at` of a 4 x 4 frame (values 10..25) to `value` changes exactly
// the four pixels of its own tile.
void expect_only_its_tile_changes(const std::string &name, size_t at, uint32_t value) {
    V s(16);
    for (uint32_t i = 0; i < 16; ++i) s[i] = 10 + i;
    const Call a = run(name, s, 4, 4, 16);
    s[at] = value;
    const Call b = run(name, s, 4, 4, 16);
    for (size_t p = 0; p < 16; ++p) {
        const bool same_tile = (p / 4) / 2 == (at / 4) / 2 && (p % 4) / 2 == (at % 4) / 2;
        EXPECT_EQ(pixel(a, p, 3) == pixel(b, p, 3), !same_tile) << name << ", sample " << at << ", pixel " << p;
    }
}

TEST(Nearest, TilesAreIndependent) {
    expect_only_its_tile_changes("nearest24grbg", 1, 200);  // the red sample of tile (0, 0)
}

TEST(Nearest, SixteenBitMaximumPassesAndOddSizesAreRefused) {
    const Call r = run("nearest64gbrg", {65535, 65535, 65535, 65535}, 2, 2, 4);
    EXPECT_EQ(pixel(r, 2, 4), (V{65535, 65535, 65535, 0}));
    const Call odd = run("nearest48gbrg", V(8, 3), 2, 3, 6);
    EXPECT_EQ(odd.result, 0u);
    EXPECT_TRUE(odd.untouched);
}

// ---- simple ----------------------------------------------------------------------------

TEST(Simple, TilesAreIndependent) {
    expect_only_its_tile_changes("simple24gbrg", 4, 200);   // the red sample of tile (0, 0)
    expect_only_its_tile_changes("simple24gbrg", 15, 250);  // a green sample of tile (1, 1)
    expect_only_its_tile_changes("simple24gbrg", 11, 0);    // the blue sample of tile (1, 1)
}

TEST(Simple, WorkedExamples) {
    const Call b = run("simple24bggr", {11, 12, 21, 22}, 2, 2, 4);
    for (size_t p = 0; p < 4; ++p) EXPECT_EQ(pixel(b, p, 3), (V{11, 16, 22}));
    const Call r = run("simple24rggb", {11, 12, 21, 22}, 2, 2, 4);
    for (size_t p = 0; p < 4; ++p) EXPECT_EQ(pixel(r, p, 3), (V{22, 16, 11}));
}

TEST(Simple, GreenMeanTruncates) {
    EXPECT_EQ(pixel(run("simple24bggr", {0, 255, 254, 0}, 2, 2, 4), 0, 3)[1], 254u);
    EXPECT_EQ(pixel(run("simple24bggr", {0, 1, 0, 0}, 2, 2, 4), 0, 3)[1], 0u);
    EXPECT_EQ(pixel(run("simple48bggr", {0, 65535, 65535, 0}, 2, 2, 4), 0, 3)[1], 65535u);
    EXPECT_EQ(pixel(run("simple64bggr", {0, 65535, 65534, 0}, 2, 2, 4), 0, 4)[1], 65534u);
}

TEST(Simple, FourByThreeIsRefused) {
    const Call r = run("simple32gbrg", V(12, 5), 4, 3, 12);
    EXPECT_EQ(r.result, 0u);
    EXPECT_TRUE(r.untouched);
}

// ---- preview ---------------------------------------------------------------------------

TEST(Preview, WorkedExampleFourByFour) {
    const V s = {11, 12, 13, 14, 21, 22, 23, 24, 31, 32, 33, 34, 41, 42, 43, 44};
    const Call r = run("preview24bggr", s, 4, 4, 4);
    EXPECT_EQ(r.result, 1u);
    EXPECT_EQ(pixel(r, 0, 3), (V{11, 16, 22}));
    EXPECT_EQ(pixel(r, 1, 3), (V{13, 18, 24}));
    EXPECT_EQ(pixel(r, 2, 3), (V{31, 36, 42}));
    EXPECT_EQ(pixel(r, 3, 3), (V{33, 38, 44}));
}

TEST(Preview, TwoByTwoGivesOnePixelAndNothingBeyond) {
    const Call r = run("preview64grbg", {1, 2, 3, 4}, 2, 2, 1);  // guard right after one pixel
    EXPECT_EQ(r.px, (V{3, 2, 2, 0}));
}

TEST(Preview, EightByFourGivesFourByTwoWithPitchOfFourPixels) {
    V s(32);
    for (uint32_t i = 0; i < 32; ++i) s[i] = i;
    const Call r = run("preview32rggb", s, 8, 4, 8);
    // Output pixel (1, 3) is tile (row 2, column 6): R = s[22], B = s[31], G = (s[23] + s[30]) >> 1.
    EXPECT_EQ(pixel(r, 1 * 4 + 3, 4), (V{31, (23 + 30) / 2, 22, 0}));
}

TEST(Preview, GreensTruncateAndOddSizesAreRefused) {
    EXPECT_EQ(run("preview24bggr", {0, 255, 254, 0}, 2, 2, 1).px[1], 254u);
    const Call r = run("preview24bggr", V(30, 1), 6, 5, 6);
    EXPECT_EQ(r.result, 0u);
    EXPECT_TRUE(r.untouched);
}

// The preview pixel of a tile equals each pixel of that tile in the simple output.
TEST(Preview, EqualsSimpleTileForTile) {
    std::mt19937 rng(5);
    for (auto *d : kDepths)
        for (auto *p : kPatterns) {
            const int32_t w = 10, h = 6;
            const auto s = kt::make_frame(0, w, h, std::string(d) <= "32" ? 255 : 65535, rng);
            const Call pv = run(std::string("preview") + d + p, s, w, h, 15);
            const Call sm = run(std::string("simple") + d + p, s, w, h, 60);
            const int c = (std::string(d) == "24" || std::string(d) == "48") ? 3 : 4;
            for (size_t t = 0; t < 3; ++t)
                for (size_t u = 0; u < 5; ++u)
                    for (size_t i = 0; i < 2; ++i)
                        for (size_t j = 0; j < 2; ++j)
                            EXPECT_EQ(pixel(pv, t * 5 + u, c), pixel(sm, (2 * t + i) * 10 + 2 * u + j, c));
        }
}

}  // namespace
