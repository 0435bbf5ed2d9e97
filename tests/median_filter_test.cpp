// The row spike filter: worked examples, the border and flat-neighbourhood rules, the
// 16-bit half-row write-back, wide rows, and random frames against the model, with
// guard bytes before and after every frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "frameops/median_filter.h"
#include "model/frameops_model.h"
#include "support/testkit.h"

namespace {

using V = std::vector<uint32_t>;

// A frame in the middle of guarded memory: kBefore guarded bytes, the frame, then the
// guard bytes of kt::Guarded.
constexpr size_t kBefore = 64;

struct GuardedFrame {
    kt::Guarded g;
    std::vector<uint8_t> filled;  // everything, guards included, before any call
    int sample_bytes;
    size_t bytes;
    GuardedFrame(const std::vector<uint8_t> &frame, int sample_bytes, uint32_t seed)
        : g(kBefore + frame.size(), seed), sample_bytes(sample_bytes), bytes(frame.size()) {
        if (!frame.empty()) std::memcpy(g.data() + kBefore, frame.data(), frame.size());
        filled.assign(g.data(), g.data() + g.size() + kt::kGuard);
    }
    bool untouched() const { return std::equal(filled.begin(), filled.end(), g.data()); }
    uint8_t *frame() { return g.data() + kBefore; }
    // Through the export, or with a chosen instruction set.
    void filter(int32_t w, int32_t h, uint32_t mosaic, const korvimg::Isa *isa = nullptr) {
        if (isa != nullptr && sample_bytes == 1) korvimg::median_filter_isa(*isa, frame(), w, h, mosaic);
        else if (isa != nullptr) korvimg::median_filter_isa(*isa, reinterpret_cast<uint16_t *>(frame()), w, h, mosaic);
        else if (sample_bytes == 1) median_filter8(frame(), w, h, mosaic);
        else median_filter16(reinterpret_cast<uint16_t *>(frame()), w, h, mosaic);
    }
    bool outside_intact() const {
        return g.guard_intact() && std::equal(filled.begin(), filled.begin() + kBefore, g.data());
    }
    std::vector<uint8_t> contents() const { return {g.data() + kBefore, g.data() + kBefore + bytes}; }
    V values() const {
        V v;
        for (size_t k = 0; k < bytes / sample_bytes; ++k) v.push_back(g.value(kBefore / sample_bytes + k, sample_bytes));
        return v;
    }
};

// Filters `samples` (values) with the library, checking the memory around the frame.
V filter(const V &samples, int sample_bytes, int32_t w, int32_t h, uint32_t mosaic) {
    std::vector<uint8_t> packed = kt::pack(samples, sample_bytes);
    packed.resize(samples.size() * sample_bytes);
    GuardedFrame f(packed, sample_bytes, 31);
    f.filter(w, h, mosaic);
    EXPECT_TRUE(f.outside_intact()) << "wrote outside the frame";
    return f.values();
}

TEST(MedianFilter, LoneSpikeInFlatRunIsKept) {
    EXPECT_EQ(filter({10, 10, 200, 10, 10}, 1, 5, 1, 0), (V{10, 10, 200, 10, 10}));
    EXPECT_EQ(filter({10, 10, 200, 10, 10}, 2, 5, 1, 0)[2], 200u);
}

TEST(MedianFilter, SpikeIsLimitedToTheNeighbourhoodsHighEnd) {
    // a = 12, b = 14, eL = 14, eR = 12: lo 12, hi 14.
    EXPECT_EQ(filter({10, 12, 200, 14, 16}, 1, 5, 1, 0), (V{10, 12, 14, 14, 16}));
    EXPECT_EQ(filter({10, 12, 0, 14, 16}, 1, 5, 1, 0), (V{10, 12, 12, 14, 16}));
}

TEST(MedianFilter, SampleInsideTheRangeIsKept) {
    // a = 0, b = 20, eL = 0, eR = 0: lo 0, hi 20.
    EXPECT_EQ(filter({0, 0, 5, 20, 40}, 1, 5, 1, 0), (V{0, 0, 5, 20, 40}));
}

TEST(MedianFilter, ExtrapolationsBeyondTheSampleRangeDoNotLeakOut) {
    // eL = 2 * 255 - 0 = 510 and eR = 2 * 0 - 255 < 0; the output stays within a, b.
    const V row = {0, 255, 17, 0, 255};
    const V got = filter(row, 1, 5, 1, 0);
    EXPECT_EQ(got, row);  // 17 lies between -255 and 510
    const V got16 = filter({0, 65535, 70, 0, 65535}, 2, 5, 1, 0);
    EXPECT_EQ(got16[2], 70u);
}

TEST(MedianFilter, MosaicDistanceKeepsFourColumnsAtEachEnd) {
    std::mt19937 rng(3);
    for (uint32_t mosaic : {1u, 2u, 0x80000000u}) {
        for (int bytes : {1, 2}) {
            const int32_t w = 14, h = 3;
            V in(w * h);
            for (auto &v : in) v = rng() % 3 == 0 ? (bytes == 1 ? 255 : 65535) : rng() % 50;
            const V out = filter(in, bytes, w, h, mosaic);
            int changed = 0;
            for (int32_t y = 0; y < h; ++y)
                for (int32_t x = 0; x < w; ++x) {
                    const size_t k = static_cast<size_t>(y * w + x);
                    if (x < 4 || x > w - 5) {
                        EXPECT_EQ(out[k], in[k]) << x << "," << y;
                    }
                    changed += out[k] != in[k];
                }
            EXPECT_GT(changed, 0) << "spiky data should change somewhere";
        }
    }
}

TEST(MedianFilter, MosaicDistanceReadsSameColourNeighbours) {
    // d = 2: at x = 4, a = x2 = 12, b = x6 = 14, eL = 2*12 - 10 = 14, eR = 2*14 - 16 = 12.
    const V row = {10, 99, 12, 99, 200, 99, 14, 99, 16};
    const V got = filter(row, 1, 9, 1, 1);
    EXPECT_EQ(got[4], 14u);
    // d = 1 on the same row: a = b = 99, eL = 2*99 - 12 = 186, eR = 2*99 - 14 = 184.
    EXPECT_EQ(filter(row, 1, 9, 1, 0)[4], 186u);
}

TEST(MedianFilter, WidthFourWithAdjacentNeighboursIsUnchanged) {
    for (int bytes : {1, 2}) {
        const V in = {0, 200, 3, 250, 9, 1, 255, 0, 77, 7, 100, 2};
        EXPECT_EQ(filter(in, bytes, 4, 3, 0), in);
    }
}

TEST(MedianFilter, SixteenBitFilterWritesBackHalfTheRow) {
    std::mt19937 rng(8);
    const int32_t w = 100, h = 4;
    V in(w * h);
    for (auto &v : in) v = rng() % 4 == 0 ? 65535 - rng() % 100 : rng() % 1000;
    const V out = filter(in, 2, w, h, 0);
    int changed = 0;
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const size_t k = static_cast<size_t>(y * w + x);
            if (x < 2 || x >= 50) {
                EXPECT_EQ(out[k], in[k]) << x << "," << y;
            } else {
                changed += out[k] != in[k];
            }
        }
    EXPECT_GT(changed, 0);
    // The 8-bit filter on the same (8-bit) values changes columns beyond the half.
    V in8 = in;
    for (auto &v : in8) v &= 0xFF;
    const V out8 = filter(in8, 1, w, h, 0);
    int beyond = 0;
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 50; x < w - 2; ++x) beyond += out8[y * w + x] != in8[y * w + x];
    EXPECT_GT(beyond, 0);
}

TEST(MedianFilter, SixteenBitOddWidthTakesOnlyTheLowByteOfTheNextSample) {
    // Width 9: nine bytes go back, samples 0..3 and the low byte of sample 4. Sample 4
    // (0x1234) is limited to 0x0300; only the low byte of that replaces its low byte.
    const V row = {0x0000, 0x0000, 0x0100, 0x0200, 0x1234, 0x0300, 0x0400, 0x0500, 0x0600};
    const V got = filter(row, 2, 9, 1, 0);
    // x = 4: a = 0x200, b = 0x300, eL = 0x300, eR = 0x200: hi = 0x300, so 0x1234 -> 0x0300.
    EXPECT_EQ(got[4], 0x1200u);  // high byte of the input, low byte of 0x0300
    for (int x : {5, 6, 7, 8}) EXPECT_EQ(got[x], row[x]);
}

TEST(MedianFilter, HeightBelowOneOrWidthZeroOrNegativeTouchesNothing) {
    for (int bytes : {1, 2})
        for (auto [w, h] : {std::pair{5, 0}, {5, -1}, {0, 3}, {-5, 3}, {-5, -3}, {0, 0}}) {
            std::vector<uint8_t> frame(40 * bytes);
            std::mt19937 rng(w * 7 + h);
            for (auto &b : frame) b = static_cast<uint8_t>(rng() | 0x80);
            GuardedFrame f(frame, bytes, 9);
            f.filter(w, h, 0);
            f.filter(w, h, 1);
            EXPECT_TRUE(f.untouched()) << w << "x" << h << " bytes " << bytes;
        }
}

// ---- against the model ------------------------------------------------------------

// Flat runs of random length and level, with occasional spikes up or down.
V runs_with_spikes(int32_t w, int32_t h, uint32_t maxv, std::mt19937 &rng) {
    V out;
    const size_t n = static_cast<size_t>(std::max(w, 0)) * static_cast<size_t>(std::max(h, 0));
    uint32_t level = rng() % (maxv + 1);
    while (out.size() < n) {
        const uint32_t r = rng() % 10;
        if (r == 0) level = rng() % (maxv + 1);
        if (r == 1) out.push_back(maxv);
        else if (r == 2) out.push_back(0);
        else if (r == 3) out.push_back(std::min<uint32_t>(maxv, level + static_cast<uint32_t>(rng() % 3)));
        else out.push_back(level);
    }
    return out;
}

void check_against_model(const V &samples, int bytes, int32_t w, int32_t h, uint32_t mosaic, uint32_t seed,
                         const korvimg::Isa *isa = nullptr) {
    std::vector<uint8_t> packed = kt::pack(samples, bytes);
    packed.resize(samples.size() * bytes);
    std::vector<uint8_t> want = packed;
    model::median_filter(want, bytes, w, h, mosaic);
    GuardedFrame f(packed, bytes, seed);
    f.filter(w, h, mosaic, isa);
    ASSERT_TRUE(f.outside_intact()) << "wrote outside the frame";
    const std::vector<uint8_t> got = f.contents();
    for (size_t k = 0; k < got.size(); ++k)
        ASSERT_EQ(got[k], want[k]) << "byte " << k << " (row " << k / bytes / std::max(w, 1) << ", column "
                                   << (k / bytes) % std::max(w, 1) << ")";
}

std::vector<V> frames_for(int32_t w, int32_t h, uint32_t maxv, std::mt19937 &rng) {
    std::vector<V> out;
    for (int kind = 0; kind < kt::kFrameKinds; ++kind) out.push_back(kt::make_frame(kind, w, h, maxv, rng));
    out.push_back(runs_with_spikes(w, h, maxv, rng));
    return out;
}

TEST(MedianFilterModel, SmallFramesAgainstModel) {
    std::mt19937 rng(77);
    for (int bytes : {1, 2})
        for (uint32_t mosaic : {0u, 1u})
            for (int32_t h = 0; h <= 5; ++h)
                for (int32_t w = 0; w <= 40; ++w)
                    for (const V &frame : frames_for(w, h, bytes == 1 ? 255 : 65535, rng)) {
                        SCOPED_TRACE(std::to_string(bytes * 8) + "-bit " + std::to_string(w) + "x" + std::to_string(h) +
                                     " mosaic " + std::to_string(mosaic));
                        check_against_model(frame, bytes, w, h, mosaic, rng());
                        if (HasFatalFailure()) return;
                    }
}

TEST(MedianFilterModel, WideRowsAgainstModel) {
    std::mt19937 rng(78);
    for (int bytes : {1, 2})
        for (uint32_t mosaic : {0u, 1u})
            for (int32_t w : {2047, 2048, 2049, 2050, 2052, 4099, 8191, 8192, 8193, 10000, 10001, 20011}) {
                const int32_t h = 2;
                const uint32_t maxv = bytes == 1 ? 255 : 65535;
                for (const V &frame : {kt::make_frame(0, w, h, maxv, rng), runs_with_spikes(w, h, maxv, rng)}) {
                    SCOPED_TRACE(std::to_string(bytes * 8) + "-bit " + std::to_string(w) + "x" + std::to_string(h) +
                                 " mosaic " + std::to_string(mosaic));
                    check_against_model(frame, bytes, w, h, mosaic, rng());
                    if (HasFatalFailure()) return;
                }
            }
}

// Every instruction set this CPU runs (the plain loop, SSE2, AVX2), forced, against
// the model: every width up to 200 covers the vector remainders of both distances,
// the larger ones the block boundaries.
TEST(MedianFilterModel, EveryInstructionSetAgainstModel) {
    std::mt19937 rng(79);
    std::vector<int32_t> widths;
    for (int32_t w = 0; w <= 200; ++w) widths.push_back(w);
    for (int32_t w : {2047, 2048, 2049, 4100, 10000}) widths.push_back(w);
    for (korvimg::Isa isa : {korvimg::Isa::scalar, korvimg::Isa::sse2, korvimg::Isa::avx2}) {
        if (korvimg::usable_isa(isa) != isa) continue;
        for (int bytes : {1, 2})
            for (uint32_t mosaic : {0u, 1u})
                for (int32_t w : widths) {
                    const int32_t h = 3;
                    const uint32_t maxv = bytes == 1 ? 255 : 65535;
                    const int kind = static_cast<int>(static_cast<uint32_t>(w) % kt::kFrameKinds);
                    for (const V &frame : {kt::make_frame(kind, w, h, maxv, rng), runs_with_spikes(w, h, maxv, rng)}) {
                        SCOPED_TRACE(std::string(korvimg::isa_name(isa)) + " " + std::to_string(bytes * 8) + "-bit " +
                                     std::to_string(w) + "x" + std::to_string(h) + " mosaic " + std::to_string(mosaic));
                        check_against_model(frame, bytes, w, h, mosaic, rng(), &isa);
                        if (HasFatalFailure()) return;
                    }
                }
    }
}

}  // namespace
