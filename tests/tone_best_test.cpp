// Best lookup tables: the worked examples, the failed allocation, and all six
// builders against the plain quadratic merge on many kinds of histogram.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/tone_model.h"
#include "support/memory_log.h"
#include "support/testkit.h"
#include "tone/tone.h"

namespace {

using V = std::vector<uint32_t>;

struct Best {
    const char *name;
    int bins, inputs, levels, spread, bytes;
    uint32_t (*call)(const uint32_t *, uint8_t *);
    // Builds into a guarded table; the guard bytes must survive.
    V build(const V &histogram) const {
        kt::Guarded out(static_cast<size_t>(inputs * bytes), 8);
        EXPECT_EQ(call(histogram.data(), out.data()), 1u) << name;
        EXPECT_TRUE(out.guard_intact()) << name << " wrote past its table";
        V t;
        for (int i = 0; i < inputs; ++i) t.push_back(out.value(static_cast<size_t>(i), bytes));
        return t;
    }
    V model(const V &histogram) const { return model::best_table(histogram, inputs, levels, spread); }
};

// Byte-table builders are called directly; the 16-bit ones through their own type.
uint32_t call12to10(const uint32_t *h, uint8_t *t) { return best_lookup_table12to10(h, reinterpret_cast<uint16_t *>(t)); }
uint32_t call10from12(const uint32_t *h, uint8_t *t) { return best_lookup_table10from12(h, reinterpret_cast<uint16_t *>(t)); }
uint32_t call10to8(const uint32_t *h, uint8_t *t) { return best_lookup_table10to8(h, t); }
uint32_t call12to8(const uint32_t *h, uint8_t *t) { return best_lookup_table12to8(h, t); }
uint32_t call8from10(const uint32_t *h, uint8_t *t) { return best_lookup_table8from10(h, t); }
uint32_t call8from12(const uint32_t *h, uint8_t *t) { return best_lookup_table8from12(h, t); }

const Best kBest[] = {
    {"best_lookup_table10to8", 1024, 1024, 256, 1, 1, call10to8},
    {"best_lookup_table12to8", 4096, 4096, 256, 1, 1, call12to8},
    {"best_lookup_table12to10", 4096, 4096, 1024, 1, 2, call12to10},
    {"best_lookup_table10from12", 1024, 4096, 1024, 4, 2, call10from12},
    {"best_lookup_table8from10", 256, 1024, 256, 4, 1, call8from10},
    {"best_lookup_table8from12", 256, 4096, 256, 16, 1, call8from12},
};
const Best &best(const std::string &name) {
    for (const auto &b : kBest)
        if (name == b.name) return b;
    throw std::runtime_error(name);
}

void expect_monotonic_and_full(const Best &b, const V &t) {
    EXPECT_EQ(t.front(), 0u) << b.name;
    EXPECT_EQ(t.back(), static_cast<uint32_t>(b.levels - 1)) << b.name;
    for (size_t i = 1; i < t.size(); ++i) {
        ASSERT_LE(t[i - 1], t[i]) << b.name << " at " << i;
        ASSERT_LE(t[i] - t[i - 1], 1u) << b.name << " skips a level at " << i;
    }
}

// ---- worked examples and edge cases ------------------------------------------------------

TEST(BestTables, AllZeroHistogramSwallowsTheBottom) {
    const V t12 = best("best_lookup_table12to8").build(V(4096, 0));
    for (uint32_t i = 0; i <= 3840; ++i) ASSERT_EQ(t12[i], 0u) << i;
    for (uint32_t k = 1; k <= 255; ++k) ASSERT_EQ(t12[3840 + k], k) << k;
    const V t10 = best("best_lookup_table10to8").build(V(1024, 0));
    for (uint32_t i = 0; i <= 768; ++i) ASSERT_EQ(t10[i], 0u) << i;
    for (uint32_t k = 1; k <= 255; ++k) ASSERT_EQ(t10[768 + k], k) << k;
    const V t1210 = best("best_lookup_table12to10").build(V(4096, 0));
    for (uint32_t i = 0; i <= 3072; ++i) ASSERT_EQ(t1210[i], 0u) << i;
    for (uint32_t k = 1; k <= 1023; ++k) ASSERT_EQ(t1210[3072 + k], k) << k;
}

TEST(BestTables, SingleSpikeAtTheMiddle) {
    V h(1024, 0);
    h[512] = 1000;
    const V t = best("best_lookup_table10to8").build(h);
    for (uint32_t i = 0; i <= 511; ++i) ASSERT_EQ(t[i], 0u) << i;
    EXPECT_EQ(t[512], 1u);
    for (uint32_t i = 513; i <= 770; ++i) ASSERT_EQ(t[i], 2u) << i;
    for (uint32_t i = 771; i <= 1023; ++i) ASSERT_EQ(t[i], i - 768) << i;
}

TEST(BestTables, UniformHistogramMergesFromTheLowEnd) {
    // Equal counts: the first pair merges (sum 2c); then its sum 3c with the next is
    // larger than the untouched pairs' 2c, so the next untouched pair merges, and so on:
    // 1024 values in 512 pairs, then pairs of pairs from the low end.
    const V t = best("best_lookup_table10to8").build(V(1024, 5));
    EXPECT_EQ(t, best("best_lookup_table10to8").model(V(1024, 5)));
    // 768 merges: the first 512 make pairs, the next 256 join pairs 0+1, 2+3, ... so
    // every level covers exactly four inputs.
    for (uint32_t i = 0; i < 1024; ++i) ASSERT_EQ(t[i], i / 4) << i;
}

TEST(BestTables, FromTenSpreadsTruncatedCounts) {
    // Bin count 3 gives each of its four values 0: the same table as an all-zero one.
    const Best &b = best("best_lookup_table8from10");
    V h(256, 0);
    h[100] = 3;
    EXPECT_EQ(b.build(h), b.build(V(256, 0)));
    h[100] = 4;  // now 1 each on 400..403
    EXPECT_NE(b.build(h), b.build(V(256, 0)));
    EXPECT_EQ(b.build(h), best("best_lookup_table10to8").build([] {
        V fine(1024, 0);
        for (int v = 400; v < 404; ++v) fine[static_cast<size_t>(v)] = 1;
        return fine;
    }()));
}

TEST(BestTables, EveryTableIsMonotonicFromZeroToTheTopLevel) {
    std::mt19937 rng(3);
    for (const auto &b : kBest)
        for (int kind = 0; kind < 3; ++kind) {
            V h(static_cast<size_t>(b.bins));
            for (auto &c : h) c = kind == 0 ? 0 : kind == 1 ? rng() % 100 : rng();
            expect_monotonic_and_full(b, b.build(h));
        }
}

// A failing allocator: the table stays untouched, the result is 0, and nothing is
// released.
TEST(BestTables, FailedAllocationLeavesTheTableUntouched) {
    const korvimg::MemoryServices &none = kt::kRefusingMemory;
    kt::memory_log() = {};
    const V h(4096, 1);
    kt::Guarded t8(4096, 1), t16(8192, 2), t10(1024, 3);
    EXPECT_EQ((korvimg::best_table<uint8_t, 4096, 256, 1>(h.data(), t8.data(), none)), 0u);
    EXPECT_EQ((korvimg::best_table<uint16_t, 4096, 1024, 1>(h.data(), reinterpret_cast<uint16_t *>(t16.data()), none)), 0u);
    EXPECT_EQ((korvimg::best_table<uint16_t, 4096, 1024, 4>(h.data(), reinterpret_cast<uint16_t *>(t16.data()), none)), 0u);
    EXPECT_EQ((korvimg::best_table<uint8_t, 1024, 256, 1>(h.data(), t10.data(), none)), 0u);
    EXPECT_EQ((korvimg::best_table<uint8_t, 1024, 256, 4>(h.data(), t10.data(), none)), 0u);
    EXPECT_EQ((korvimg::best_table<uint8_t, 4096, 256, 16>(h.data(), t8.data(), none)), 0u);
    EXPECT_TRUE(t8.untouched());
    EXPECT_TRUE(t16.untouched());
    EXPECT_TRUE(t10.untouched());
    EXPECT_TRUE(kt::memory_log().released.empty()) << "released a block it never had";
}

// The working array is asked for once and released once, through the services.
TEST(BestTables, WorkingArrayIsReleased) {
    const V h(4096, 7);
    V t(4096);
    std::vector<uint8_t> out(4096);
    kt::memory_log() = {};
    EXPECT_EQ((korvimg::best_table<uint8_t, 4096, 256, 1>(h.data(), out.data(), kt::kGivingMemory)), 1u);
    EXPECT_EQ(kt::memory_log().asked.size(), 1u);
    EXPECT_EQ(kt::memory_log().released.size(), 1u);
}

// ---- against the plain quadratic merge ------------------------------------------------------

// Histograms of many shapes for `bins` bins.
std::vector<V> histograms(int bins, std::mt19937 &rng, int random_ones) {
    std::vector<V> hs;
    const auto n = static_cast<size_t>(bins);
    hs.push_back(V(n, 0));                      // all zero
    hs.push_back(V(n, 12345));                  // all equal
    hs.push_back(V(n, 0xffffffffu));            // all equal, sums wrap
    V spike(n, 0);
    spike[n / 3] = 77;
    hs.push_back(spike);
    for (int r = 0; r < random_ones; ++r) {
        V h(n);
        switch (r % 5) {
            case 0: for (auto &c : h) c = rng(); break;                             // full range, wrapping sums
            case 1: for (auto &c : h) c = rng() % 8; break;                         // many ties
            case 2: for (auto &c : h) c = rng() % 16 == 0 ? rng() % 1000 : 0; break;  // sparse
            case 3: for (size_t i = 0; i < n; ++i) h[i] = static_cast<uint32_t>(1000.0 / (1.0 + (double(i) - n / 2.0) * (double(i) - n / 2.0) / (n * 4.0))) + rng() % 3; break;
            default: for (size_t i = 0; i < n; ++i) h[i] = static_cast<uint32_t>(i % 7 == 0 ? 50 : 1); break;  // comb
        }
        hs.push_back(h);
    }
    return hs;
}

TEST(BestTables, MatchThePlainMergeOnManyHistograms) {
    std::mt19937 rng(77);
    for (const auto &b : kBest) {
        // The quadratic model costs a few milliseconds per 4096-value table.
        const int random_ones = b.inputs == 4096 ? 6 : 26;
        for (const V &h : histograms(b.bins, rng, random_ones)) ASSERT_EQ(b.build(h), b.model(h)) << b.name;
    }
}

}  // namespace
