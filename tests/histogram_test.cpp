// Histograms of sample runs, colour images and raw frames: worked examples, clearing,
// shared arrays, the odd-width walk, values beyond the last bin, random frames of odd
// and even sizes against the model, with guard bytes after every histogram, and large
// 8-bit inputs whose pair tables are refused.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "model/frameops_model.h"
#include "stats/histogram.h"
#include "support/memory_log.h"
#include "support/testkit.h"

namespace {

using V = std::vector<uint32_t>;

// A guarded histogram, filled with junk beforehand so that clearing shows.
struct Bins {
    kt::Guarded g;
    uint32_t n;
    Bins(uint32_t bins, uint32_t seed) : g(bins * 4, seed), n(bins) {}
    uint32_t *data() { return reinterpret_cast<uint32_t *>(g.data()); }
    V values() const {
        V v(n);
        std::memcpy(v.data(), g.data(), n * 4);
        return v;
    }
};

uint64_t total(const V &h) { return std::accumulate(h.begin(), h.end(), uint64_t{0}); }

// ---- the exports, as data --------------------------------------------------------------
using Run8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, uint32_t *);
using Run16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, uint32_t *);
using Image8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, uint32_t *, uint32_t *, uint32_t *);
using Image16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, uint32_t *, uint32_t *, uint32_t *);
using Raw8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *);
using Raw16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *);

// An 8-bit member's routine called with memory services (refusing or giving) instead
// of its export: each call must ask for memory `asks` times, and release all it was
// given.
struct WithMemory {
    const korvimg::MemoryServices *memory = nullptr;
    int asks = 0;
    template <class Call> void call(Call routine) const {
        kt::memory_log() = {};
        routine(*memory);
        EXPECT_EQ(kt::memory_log().asked.size(), static_cast<size_t>(asks));
        EXPECT_EQ(kt::memory_log().released.size(), static_cast<size_t>(memory == &kt::kGivingMemory ? asks : 0));
    }
};
using korvimg::MemoryServices;
using RunRoutine = void (*)(const uint8_t *, int32_t, uint32_t *, const MemoryServices &);
using ImageRoutine = void (*)(const uint8_t *, int32_t, uint32_t *, uint32_t *, uint32_t *, const MemoryServices &);
using RawRoutine = void (*)(const uint8_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *,
                            const MemoryServices &);

struct RunFn {
    const char *name;
    int bytes;
    uint32_t bins;
    RunRoutine routine = nullptr;  // with `with`, in place of the export
    WithMemory with = {};
    void call(const void *s, int32_t n, uint32_t *h) const {
        if (routine)
            return with.call([&](const MemoryServices &m) { routine(static_cast<const uint8_t *>(s), n, h, m); });
        auto *fn = kt::find_export(name)->address;
        if (bytes == 1) reinterpret_cast<Run8>(fn)(static_cast<const uint8_t *>(s), n, h);
        else reinterpret_cast<Run16>(fn)(static_cast<const uint16_t *>(s), n, h);
    }
};
const RunFn kRuns[] = {{"histogram8", 1, 256}, {"histogram10", 2, 1024}, {"histogram12", 2, 4096}};

struct ImageFn {
    const char *name;
    int bytes;
    int channels;
    uint32_t bins;
    ImageRoutine routine = nullptr;
    WithMemory with = {};
    void call(const void *s, int32_t n, uint32_t *r, uint32_t *g, uint32_t *b) const {
        if (routine)
            return with.call([&](const MemoryServices &m) { routine(static_cast<const uint8_t *>(s), n, r, g, b, m); });
        auto *fn = kt::find_export(name)->address;
        if (bytes == 1) reinterpret_cast<Image8>(fn)(static_cast<const uint8_t *>(s), n, r, g, b);
        else reinterpret_cast<Image16>(fn)(static_cast<const uint16_t *>(s), n, r, g, b);
    }
};
const ImageFn kImages[] = {{"histogram8_24", 1, 3, 256},   {"histogram8_32", 1, 4, 256},
                           {"histogram10_48", 2, 3, 1024}, {"histogram10_64", 2, 4, 1024},
                           {"histogram12_48", 2, 3, 4096}, {"histogram12_64", 2, 4, 4096}};

struct RawFn {
    std::string name;
    int bytes;
    uint32_t bins;
    int pattern;
    RawRoutine routine = nullptr;
    WithMemory with = {};
    void call(const void *s, int32_t w, int32_t h, uint32_t *r, uint32_t *g, uint32_t *b) const {
        if (routine)
            return with.call(
                [&](const MemoryServices &m) { routine(static_cast<const uint8_t *>(s), w, h, r, g, b, m); });
        auto *fn = kt::find_export(name)->address;
        if (bytes == 1) reinterpret_cast<Raw8>(fn)(static_cast<const uint8_t *>(s), w, h, r, g, b);
        else reinterpret_cast<Raw16>(fn)(static_cast<const uint16_t *>(s), w, h, r, g, b);
    }
};
std::vector<RawFn> raw_fns() {
    std::vector<RawFn> out;
    for (int bits : {8, 10, 12})
        for (int p = 0; p < 4; ++p)
            out.push_back({"histogram" + std::to_string(bits) + kt::kPatternNames[p], bits == 8 ? 1 : 2,
                           1u << bits, p});
    return out;
}

TEST(Histogram, ExportsAreInTheTable) {
    for (const auto &f : kRuns) EXPECT_NE(kt::find_export(f.name), nullptr) << f.name;
    for (const auto &f : kImages) EXPECT_NE(kt::find_export(f.name), nullptr) << f.name;
    for (const auto &f : raw_fns()) EXPECT_NE(kt::find_export(f.name), nullptr) << f.name;
}

// ---- worked examples -----------------------------------------------------------------

TEST(Histogram, RunOfZeroZero255) {
    const uint8_t s[3] = {0, 0, 255};
    Bins h(256, 1);
    histogram8(s, 3, h.data());
    V want(256, 0);
    want[0] = 2;
    want[255] = 1;
    EXPECT_EQ(h.values(), want);
    EXPECT_TRUE(h.g.guard_intact());
}

TEST(Histogram, SameArrayForTwoColoursGetsBothCounts) {
    const uint8_t px[6] = {1, 2, 3, 1, 5, 6};  // B G R, B G R
    Bins shared(256, 2), red(256, 3);
    histogram8_24(px, 2, red.data(), shared.data(), shared.data());  // green and blue share
    V want(256, 0);
    want[1] = 2;  // blue
    want[2] = 1;  // green
    want[5] = 1;
    EXPECT_EQ(shared.values(), want);
    V want_red(256, 0);
    want_red[3] = 1;
    want_red[6] = 1;
    EXPECT_EQ(red.values(), want_red);
    EXPECT_TRUE(shared.g.guard_intact());

    // All three the same, on a raw frame: every cell's four samples.
    const uint16_t raw[4] = {10, 20, 30, 40};
    Bins all(1024, 4);
    histogram10rggb(raw, 2, 2, all.data(), all.data(), all.data());
    V want_all(1024, 0);
    for (int v : {10, 20, 30, 40}) want_all[v] = 1;
    EXPECT_EQ(all.values(), want_all);
    EXPECT_TRUE(all.g.guard_intact());
}

TEST(Histogram, RawTwoByTwoRggb) {
    const uint8_t raw[4] = {10, 20, 30, 40};  // R G / G B
    Bins r(256, 5), g(256, 6), b(256, 7);
    histogram8rggb(raw, 2, 2, r.data(), g.data(), b.data());
    V wr(256, 0), wg(256, 0), wb(256, 0);
    wr[10] = 1;
    wg[20] = 1;
    wg[30] = 1;
    wb[40] = 1;
    EXPECT_EQ(r.values(), wr);
    EXPECT_EQ(g.values(), wg);
    EXPECT_EQ(b.values(), wb);
    for (auto *x : {&r, &g, &b}) EXPECT_TRUE(x->g.guard_intact());
}

TEST(Histogram, RawTwoByTwoEveryPattern) {
    // The same four samples under each pattern: the top-left sample is the pattern's
    // first letter.
    const uint8_t raw[4] = {10, 20, 30, 40};
    const struct { void(KORVIMG_CALL *fn)(const uint8_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *); uint32_t red, blue, g1, g2; } cases[] = {
        {histogram8rggb, 10, 40, 20, 30},
        {histogram8grbg, 20, 30, 10, 40},
        {histogram8gbrg, 30, 20, 10, 40},
        {histogram8bggr, 40, 10, 20, 30},
    };
    for (const auto &c : cases) {
        Bins r(256, 8), g(256, 9), b(256, 10);
        c.fn(raw, 2, 2, r.data(), g.data(), b.data());
        V wr(256, 0), wg(256, 0), wb(256, 0);
        wr[c.red] = 1;
        wb[c.blue] = 1;
        wg[c.g1] = 1;
        wg[c.g2] = 1;
        EXPECT_EQ(r.values(), wr);
        EXPECT_EQ(g.values(), wg);
        EXPECT_EQ(b.values(), wb);
    }
}

TEST(Histogram, RawOfHeightOneIsAllZero) {
    const uint16_t raw[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    for (const auto &f : raw_fns()) {
        Bins r(f.bins, 11), g(f.bins, 12), b(f.bins, 13);
        const uint8_t raw8[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        f.call(f.bytes == 1 ? static_cast<const void *>(raw8) : raw, 8, 1, r.data(), g.data(), b.data());
        for (auto *x : {&r, &g, &b}) {
            EXPECT_EQ(x->values(), V(f.bins, 0)) << f.name;
            EXPECT_TRUE(x->g.guard_intact());
        }
    }
}

TEST(Histogram, SixtyFourBitImageNeverCountsTheFourthSample) {
    const uint16_t px[8] = {1, 2, 3, 4000, 5, 6, 7, 4000};
    Bins r(4096, 14), g(4096, 15), b(4096, 16);
    histogram12_64(px, 2, r.data(), g.data(), b.data());
    EXPECT_EQ(b.values()[1], 1u);
    EXPECT_EQ(b.values()[5], 1u);
    EXPECT_EQ(g.values()[2], 1u);
    EXPECT_EQ(g.values()[6], 1u);
    EXPECT_EQ(r.values()[3], 1u);
    EXPECT_EQ(r.values()[7], 1u);
    for (auto *x : {&r, &g, &b}) {
        EXPECT_EQ(total(x->values()), 2u);
        EXPECT_EQ(x->values()[4000], 0u);
        EXPECT_TRUE(x->g.guard_intact());
    }
}

TEST(Histogram, OddWidthWalkStartsEachRowPairOneSampleEarlier) {
    // 3 x 4, samples 0..11. Row pair 0 reads 0 1 / 3 4; the walk then moves on by
    // 2 + 3 = 5 samples, so row pair 1 reads 5 6 / 8 9 (starting one sample before row 2).
    uint8_t raw[12];
    for (int i = 0; i < 12; ++i) raw[i] = static_cast<uint8_t>(i);
    Bins r(256, 17), g(256, 18), b(256, 19);
    histogram8rggb(raw, 3, 4, r.data(), g.data(), b.data());
    V wr(256, 0), wg(256, 0), wb(256, 0);
    for (int v : {0, 5}) wr[v] = 1;
    for (int v : {1, 3, 6, 8}) wg[v] = 1;
    for (int v : {4, 9}) wb[v] = 1;
    EXPECT_EQ(r.values(), wr);
    EXPECT_EQ(g.values(), wg);
    EXPECT_EQ(b.values(), wb);
}

TEST(Histogram, CountBelowOneLeavesTheHistogramsCleared) {
    const uint16_t s[4] = {1, 2, 3, 4};
    for (int32_t n : {0, -1, INT32_MIN}) {
        for (const auto &f : kRuns) {
            Bins h(f.bins, 20);
            f.call(s, n, h.data());
            EXPECT_EQ(h.values(), V(f.bins, 0)) << f.name;
            EXPECT_TRUE(h.g.guard_intact());
        }
        for (const auto &f : kImages) {
            Bins r(f.bins, 21), g(f.bins, 22), b(f.bins, 23);
            f.call(s, n, r.data(), g.data(), b.data());
            for (auto *x : {&r, &g, &b}) EXPECT_EQ(x->values(), V(f.bins, 0)) << f.name;
        }
    }
    for (auto [w, h] : {std::pair{1, 4}, {4, 1}, {0, 0}, {-4, 4}, {4, -4}, {-3, -3}}) {
        for (const auto &f : raw_fns()) {
            Bins r(f.bins, 24), g(f.bins, 25), b(f.bins, 26);
            f.call(s, w, h, r.data(), g.data(), b.data());
            for (auto *x : {&r, &g, &b}) {
                EXPECT_EQ(x->values(), V(f.bins, 0)) << f.name << " " << w << "x" << h;
                EXPECT_TRUE(x->g.guard_intact());
            }
        }
    }
}

// ---- values beyond the last bin ------------------------------------------------------

TEST(Histogram, EverySixteenBitValueStaysInsideTheHistogram) {
    std::vector<uint16_t> all(65536);
    for (uint32_t v = 0; v < 65536; ++v) all[v] = static_cast<uint16_t>(v);
    for (const auto &f : kRuns) {
        if (f.bytes != 2) continue;
        Bins h(f.bins, 27);
        f.call(all.data(), 65536, h.data());
        ASSERT_TRUE(h.g.guard_intact()) << f.name;
        const V got = h.values();
        EXPECT_EQ(total(got), 65536u) << f.name;
        for (uint32_t v = 0; v + 1 < f.bins; ++v) ASSERT_EQ(got[v], 1u) << f.name << " bin " << v;
        EXPECT_EQ(got[f.bins - 1], 65536u - (f.bins - 1)) << f.name;
    }
    // As colour images and raw frames: each histogram's total is its share of samples.
    for (const auto &f : kImages) {
        if (f.bytes != 2) continue;
        const int32_t pixels = 65536 / f.channels;
        Bins r(f.bins, 28), g(f.bins, 29), b(f.bins, 30);
        f.call(all.data(), pixels, r.data(), g.data(), b.data());
        for (auto *x : {&r, &g, &b}) {
            ASSERT_TRUE(x->g.guard_intact()) << f.name;
            EXPECT_EQ(total(x->values()), static_cast<uint64_t>(pixels)) << f.name;
        }
        const auto want = model::histogram_image(V(all.begin(), all.end()), pixels, f.channels, f.bins);
        EXPECT_EQ(r.values(), want.red) << f.name;
        EXPECT_EQ(g.values(), want.green) << f.name;
        EXPECT_EQ(b.values(), want.blue) << f.name;
    }
    for (const auto &f : raw_fns()) {
        if (f.bytes != 2) continue;
        Bins r(f.bins, 31), g(f.bins, 32), b(f.bins, 33);
        f.call(all.data(), 256, 256, r.data(), g.data(), b.data());
        for (auto *x : {&r, &g, &b}) ASSERT_TRUE(x->g.guard_intact()) << f.name;
        EXPECT_EQ(total(r.values()), 128u * 128u);
        EXPECT_EQ(total(g.values()), 2u * 128u * 128u);
        EXPECT_EQ(total(b.values()), 128u * 128u);
        const auto want = model::histogram_raw(V(all.begin(), all.end()), 256, 256, f.pattern, f.bins);
        EXPECT_EQ(r.values(), want.red) << f.name;
        EXPECT_EQ(g.values(), want.green) << f.name;
        EXPECT_EQ(b.values(), want.blue) << f.name;
    }
}

// ---- against the model -----------------------------------------------------------------

// Values up to maxv, sometimes beyond the bin count (up to 65535 for 16-bit words).
V random_samples(size_t n, uint32_t bins, int bytes, int kind, std::mt19937 &rng) {
    V out(n);
    const uint32_t word_max = bytes == 1 ? 255 : 65535;
    for (auto &v : out) {
        switch (kind) {
            case 0: v = rng() % bins; break;
            case 1: v = rng() % 4 == 0 ? rng() % (word_max + 1) : rng() % bins; break;
            case 2: v = rng() % 8 == 0 ? bins - 1 : 7; break;  // long runs of one value
            default: v = rng() % (word_max + 1); break;
        }
    }
    return out;
}

void check_run(const RunFn &f, int32_t n, int kind, std::mt19937 &rng) {
    const V s = random_samples(static_cast<size_t>(std::max(n, 0)), f.bins, f.bytes, kind, rng);
    const auto packed = kt::pack(s, f.bytes);
    Bins h(f.bins, rng());
    f.call(packed.data(), n, h.data());
    ASSERT_TRUE(h.g.guard_intact()) << f.name;
    ASSERT_EQ(h.values(), model::histogram(s, n, f.bins)) << f.name << " count " << n << " kind " << kind;
}

void check_image(const ImageFn &f, int32_t n, int kind, std::mt19937 &rng) {
    const V s = random_samples(static_cast<size_t>(std::max(n, 0)) * f.channels, f.bins, f.bytes, kind, rng);
    const auto packed = kt::pack(s, f.bytes);
    Bins r(f.bins, rng()), g(f.bins, rng()), b(f.bins, rng());
    f.call(packed.data(), n, r.data(), g.data(), b.data());
    const auto want = model::histogram_image(s, n, f.channels, f.bins);
    SCOPED_TRACE(std::string(f.name) + " " + std::to_string(n) + " kind " + std::to_string(kind));
    for (auto *x : {&r, &g, &b}) ASSERT_TRUE(x->g.guard_intact());
    ASSERT_EQ(r.values(), want.red);
    ASSERT_EQ(g.values(), want.green);
    ASSERT_EQ(b.values(), want.blue);
    // The shared-array cases: blue and red into one array, then green and blue.
    Bins shared(f.bins, rng()), other(f.bins, rng());
    f.call(packed.data(), n, shared.data(), other.data(), shared.data());
    V both = want.red;
    for (uint32_t v = 0; v < f.bins; ++v) both[v] += want.blue[v];
    ASSERT_EQ(shared.values(), both) << "red and blue shared";
    ASSERT_EQ(other.values(), want.green) << "red and blue shared";
    f.call(packed.data(), n, other.data(), shared.data(), shared.data());
    both = want.green;
    for (uint32_t v = 0; v < f.bins; ++v) both[v] += want.blue[v];
    ASSERT_EQ(shared.values(), both) << "green and blue shared";
    ASSERT_EQ(other.values(), want.red) << "green and blue shared";
}

void check_raw(const RawFn &f, int32_t w, int32_t h, int kind, std::mt19937 &rng) {
    const V s = random_samples(static_cast<size_t>(w) * static_cast<size_t>(h), f.bins, f.bytes, kind, rng);
    const auto packed = kt::pack(s, f.bytes);
    Bins r(f.bins, rng()), g(f.bins, rng()), b(f.bins, rng());
    f.call(packed.data(), w, h, r.data(), g.data(), b.data());
    const auto want = model::histogram_raw(s, w, h, f.pattern, f.bins);
    SCOPED_TRACE(f.name + " " + std::to_string(w) + "x" + std::to_string(h) + " kind " + std::to_string(kind));
    for (auto *x : {&r, &g, &b}) ASSERT_TRUE(x->g.guard_intact());
    ASSERT_EQ(r.values(), want.red);
    ASSERT_EQ(g.values(), want.green);
    ASSERT_EQ(b.values(), want.blue);
    const uint64_t cells = static_cast<uint64_t>(w / 2) * static_cast<uint64_t>(h / 2);
    EXPECT_EQ(total(g.values()), 2 * cells);
    EXPECT_EQ(total(r.values()), cells);
    // Green and red into one array.
    Bins shared(f.bins, rng()), blue(f.bins, rng());
    f.call(packed.data(), w, h, shared.data(), shared.data(), blue.data());
    V both = want.red;
    for (uint32_t v = 0; v < f.bins; ++v) both[v] += want.green[v];
    ASSERT_EQ(shared.values(), both);
    ASSERT_EQ(blue.values(), want.blue);
}

TEST(HistogramModel, RunsAgainstModel) {
    std::mt19937 rng(41);
    for (const auto &f : kRuns)
        for (int32_t n : {-2, 0, 1, 2, 3, 7, 64, 255, 1001, 4097, 20000})
            for (int kind = 0; kind < 4; ++kind) {
                check_run(f, n, kind, rng);
                if (HasFatalFailure()) return;
            }
}

TEST(HistogramModel, ImagesAgainstModel) {
    std::mt19937 rng(42);
    for (const auto &f : kImages)
        for (int32_t n : {-1, 0, 1, 2, 5, 333, 4099})
            for (int kind = 0; kind < 4; ++kind) {
                check_image(f, n, kind, rng);
                if (HasFatalFailure()) return;
            }
}

TEST(HistogramModel, RawFramesAgainstModel) {
    std::mt19937 rng(43);
    for (const auto &f : raw_fns())
        for (int32_t h : {0, 1, 2, 3, 5, 10, 33})
            for (int32_t w : {0, 1, 3, 4, 5, 9, 16, 31, 101}) {
                check_raw(f, w, h, static_cast<int>(rng() % 4), rng);
                if (HasFatalFailure()) return;
            }
}

// Large 8-bit inputs are counted by pairs of samples from 2^18 samples on: sizes on
// both sides of that line, odd counts and widths (a sample or a cell left over), and
// every kind of content, long runs of one value included.
TEST(HistogramModel, LargeEightBitInputsAgainstModel) {
    std::mt19937 rng(44);
    constexpr int32_t kLine = 1 << 18;
    for (int32_t n : {kLine - 1, kLine, kLine + 7, 300001})
        for (int kind = 0; kind < 4; ++kind) {
            check_run(kRuns[0], n, kind, rng);
            if (HasFatalFailure()) return;
        }
    for (const auto &f : kImages) {
        if (f.bytes != 1) continue;
        for (int32_t n : {kLine / 3, kLine / 3 + 1, 100001})
            for (int kind = 0; kind < 4; ++kind) {
                check_image(f, n, kind, rng);
                if (HasFatalFailure()) return;
            }
    }
    for (const auto &f : raw_fns()) {
        if (f.bytes != 1) continue;
        // 1001 x 262 has just under 2^18 samples in its cells, the others more.
        const int32_t sizes[][2] = {{1001, 262}, {512, 512}, {1003, 301}, {514, 513}, {515, 1024}};
        for (const auto &size : sizes)
            for (int kind = 0; kind < 4; ++kind) {
                check_raw(f, size[0], size[1], kind, rng);
                if (HasFatalFailure()) return;
            }
    }
}

using korvimg::Pattern;

// The 8-bit members' routines, each called with the given services.
std::vector<RunFn> runs8(WithMemory with) {
    return {{"histogram8", 1, 256, korvimg::histogram_run<uint8_t, 256>, with}};
}
std::vector<ImageFn> images8(WithMemory with) {
    return {{"histogram8_24", 1, 3, 256, korvimg::histogram_image<uint8_t, 256, 3>, with},
            {"histogram8_32", 1, 4, 256, korvimg::histogram_image<uint8_t, 256, 4>, with}};
}
std::vector<RawFn> raws8(WithMemory with) {
    // By pattern code: rggb, grbg, gbrg, bggr.
    const RawRoutine routines[4] = {
        korvimg::histogram_raw<uint8_t, 256, Pattern::rggb>, korvimg::histogram_raw<uint8_t, 256, Pattern::grbg>,
        korvimg::histogram_raw<uint8_t, 256, Pattern::gbrg>, korvimg::histogram_raw<uint8_t, 256, Pattern::bggr>};
    std::vector<RawFn> out;
    for (int p = 0; p < 4; ++p)
        out.push_back({std::string("histogram8") + kt::kPatternNames[p], 1, 256, p, routines[p], with});
    return out;
}

// Large 8-bit inputs ask once per call for their pair tables. Refused, they count the
// samples one by one and give the same histograms (shared arrays included), releasing
// nothing; given, the tables are released once.
TEST(HistogramModel, LargeEightBitInputsCountTheSameWithoutPairTables) {
    std::mt19937 rng(45);
    for (const MemoryServices *memory : {&kt::kRefusingMemory, &kt::kGivingMemory}) {
        SCOPED_TRACE(memory == &kt::kGivingMemory ? "tables given" : "tables refused");
        const WithMemory with{memory, 1};
        for (int kind = 0; kind < 4; ++kind) {
            for (const auto &f : runs8(with)) check_run(f, (1 << 18) + 7, kind, rng);
            for (const auto &f : images8(with)) check_image(f, 100001, kind, rng);
            // An odd width: each row pair starts a sample earlier.
            for (const auto &f : raws8(with)) check_raw(f, 1003, 301, kind, rng);
            if (HasFatalFailure()) return;
        }
    }
}

// Inputs of fewer than 2^18 samples ask for no memory.
TEST(HistogramModel, SmallEightBitInputsAskForNoMemory) {
    std::mt19937 rng(46);
    const WithMemory with{&kt::kRefusingMemory, 0};
    for (const auto &f : runs8(with)) check_run(f, (1 << 18) - 1, 0, rng);
    for (const auto &f : images8(with)) check_image(f, ((1 << 18) - 1) / 3, 0, rng);
    for (const auto &f : raws8(with)) check_raw(f, 511, 513, 0, rng);  // 255 x 256 cells, 261,120 samples
}

}  // namespace
