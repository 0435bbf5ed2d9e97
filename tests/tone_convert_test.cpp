// Lookup-table application and bit-depth conversion.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/testkit.h"

namespace {

using V = std::vector<uint32_t>;

std::vector<uint16_t> words(const V &v) { return {v.begin(), v.end()}; }
std::vector<uint8_t> bytes(const V &v) { return {v.begin(), v.end()}; }

// Calls f(destination) on a guarded destination of n samples of Sample; checks the
// guard and returns the samples.
template <class Sample, class F>
V guarded(size_t n, F &&f) {
    kt::Guarded out(n * sizeof(Sample), 3);
    f(reinterpret_cast<Sample *>(out.data()));
    EXPECT_TRUE(out.guard_intact()) << "wrote past the destination";
    V r;
    for (size_t k = 0; k < n; ++k) r.push_back(out.value(k, sizeof(Sample)));
    return r;
}

V convert10to8(const V &src) {
    const auto s = words(src);
    return guarded<uint8_t>(src.size(), [&](uint8_t *d) { EXPECT_EQ(convert_frame10to8(s.data(), static_cast<int32_t>(s.size()), d), 1u); });
}
V convert12to8(const V &src) {
    const auto s = words(src);
    return guarded<uint8_t>(src.size(), [&](uint8_t *d) { EXPECT_EQ(convert_frame12to8(s.data(), static_cast<int32_t>(s.size()), d), 1u); });
}

TEST(Convert, TenToEightDropsTwoBits) {
    EXPECT_EQ(convert10to8({1023, 4, 3, 0, 512, 1022}), (V{255, 1, 0, 0, 128, 255}));
    V all;
    for (uint32_t i = 0; i < 1024; ++i) all.push_back(i);
    const V out = convert10to8(all);
    for (uint32_t i = 0; i < 1024; ++i) EXPECT_EQ(out[i], i / 4);
}

TEST(Convert, TwelveToEightDropsFourBits) {
    EXPECT_EQ(convert12to8({4095, 15, 16, 0, 2048}), (V{255, 0, 1, 0, 128}));
    V all;
    for (uint32_t i = 0; i < 4096; ++i) all.push_back(i);
    const V out = convert12to8(all);
    for (uint32_t i = 0; i < 4096; ++i) EXPECT_EQ(out[i], i / 16);
}

TEST(Convert, OutOfRangeSamplesReadTheLastEntry) {
    EXPECT_EQ(convert10to8({1024, 4095, 65535, 2000}), (V{255, 255, 255, 255}));
    EXPECT_EQ(convert12to8({4096, 65535, 40000}), (V{255, 255, 255}));
}

TEST(Convert, EightToTwelveShiftsLeft) {
    const std::vector<uint8_t> s = {255, 1, 0, 128};
    EXPECT_EQ(guarded<uint16_t>(4, [&](uint16_t *d) { EXPECT_EQ(convert_frame8to12(s.data(), 4, d), 1u); }),
              (V{4080, 16, 0, 2048}));
    EXPECT_EQ(guarded<uint16_t>(4, [&](uint16_t *d) { EXPECT_EQ(convert_frame8to10(s.data(), 4, d), 1u); }),
              (V{1020, 4, 0, 512}));
}

TEST(Convert, NullBuffersOfTheWideningConversions) {
    const uint8_t s[2] = {1, 2};
    uint16_t d[2] = {7, 7};
    EXPECT_EQ(convert_frame8to10(nullptr, 2, d), 0u);
    EXPECT_EQ(convert_frame8to10(s, 2, nullptr), 0u);
    EXPECT_EQ(convert_frame8to12(nullptr, 2, d), 0u);
    EXPECT_EQ(convert_frame8to12(s, 2, nullptr), 0u);
    EXPECT_EQ(d[0], 7);
    EXPECT_EQ(d[1], 7);
    // The pointer test comes before the count test.
    EXPECT_EQ(convert_frame8to10(nullptr, 0, nullptr), 0u);
    EXPECT_EQ(convert_frame8to12(nullptr, -1, d), 0u);
}

TEST(Convert, CountsBelowOneDoNothing) {
    for (int32_t count : {0, -1, -1000, INT32_MIN}) {
        apply_lut(nullptr, count, nullptr, nullptr);
        EXPECT_EQ(convert_frame8to8LUT(nullptr, count, nullptr, nullptr), 1u);
        EXPECT_EQ(convert_frame10to8LUT(nullptr, count, nullptr, nullptr), 1u);
        EXPECT_EQ(convert_frame12to8LUT(nullptr, count, nullptr, nullptr), 1u);
        EXPECT_EQ(convert_frame10to10LUT(nullptr, count, nullptr, nullptr), 1u);
        EXPECT_EQ(convert_frame12to10LUT(nullptr, count, nullptr, nullptr), 1u);
        EXPECT_EQ(convert_frame12to12LUT(nullptr, count, nullptr, nullptr), 1u);
        EXPECT_EQ(convert_frame10to8(nullptr, count, nullptr), 1u);
        EXPECT_EQ(convert_frame12to8(nullptr, count, nullptr), 1u);
        const uint8_t s[1] = {5};
        uint16_t d[1] = {9};
        EXPECT_EQ(convert_frame8to10(s, count, d), 1u);
        EXPECT_EQ(convert_frame8to12(s, count, d), 1u);
        EXPECT_EQ(d[0], 9);
    }
}

TEST(Convert, FixedTables) {
    kt::Guarded t10(1024, 1), t12(4096, 2);
    EXPECT_EQ(lookup_table10to8(t10.data()), 1u);
    EXPECT_EQ(lookup_table12to8(t12.data()), 1u);
    EXPECT_TRUE(t10.guard_intact());
    EXPECT_TRUE(t12.guard_intact());
    for (uint32_t i = 0; i < 1024; ++i) EXPECT_EQ(t10.data()[i], i / 4);
    for (uint32_t i = 0; i < 4096; ++i) EXPECT_EQ(t12.data()[i], i / 16);
    EXPECT_EQ(lookup_table10to8(nullptr), 0u);
    EXPECT_EQ(lookup_table12to8(nullptr), 0u);
}

TEST(Convert, TablesMapEverySample) {
    std::mt19937 rng(9);
    V table8(4096), table16(4096), src(999);
    for (auto &v : table8) v = rng() & 0xff;
    for (auto &v : table16) v = rng() & 0xffff;
    for (auto &v : src) v = rng() % 4096;
    const auto t8 = bytes(table8);
    const auto t16 = words(table16);
    const auto s16 = words(src);
    const auto n = static_cast<int32_t>(src.size());
    V want8, want16, want8from8;
    for (uint32_t s : src) {
        want8.push_back(table8[s]);
        want16.push_back(table16[s]);
        want8from8.push_back(table8[s & 0xff]);
    }
    EXPECT_EQ(guarded<uint8_t>(src.size(), [&](uint8_t *d) { apply_lut(s16.data(), n, t8.data(), d); }), want8);
    EXPECT_EQ(guarded<uint8_t>(src.size(), [&](uint8_t *d) { EXPECT_EQ(convert_frame10to8LUT(s16.data(), n, t8.data(), d), 1u); }), want8);
    EXPECT_EQ(guarded<uint8_t>(src.size(), [&](uint8_t *d) { EXPECT_EQ(convert_frame12to8LUT(s16.data(), n, t8.data(), d), 1u); }), want8);
    for (auto fn : {convert_frame10to10LUT, convert_frame12to10LUT, convert_frame12to12LUT})
        EXPECT_EQ(guarded<uint16_t>(src.size(), [&](uint16_t *d) { EXPECT_EQ(fn(s16.data(), n, t16.data(), d), 1u); }), want16);
    V low;
    for (uint32_t s : src) low.push_back(s & 0xff);
    const auto s8 = bytes(low);
    EXPECT_EQ(guarded<uint8_t>(src.size(), [&](uint8_t *d) { EXPECT_EQ(convert_frame8to8LUT(s8.data(), n, t8.data(), d), 1u); }), want8from8);
}

TEST(Convert, InPlaceWhereWidthsAgree) {
    std::vector<uint16_t> frame = {3, 1, 2, 0};
    const std::vector<uint16_t> table = {10, 11, 12, 13};
    EXPECT_EQ(convert_frame10to10LUT(frame.data(), 4, table.data(), frame.data()), 1u);
    EXPECT_EQ(frame, (std::vector<uint16_t>{13, 11, 12, 10}));
    std::vector<uint8_t> f8 = {0, 1, 2};
    const std::vector<uint8_t> t8 = {2, 0, 1};
    EXPECT_EQ(convert_frame8to8LUT(f8.data(), 3, t8.data(), f8.data()), 1u);
    EXPECT_EQ(f8, (std::vector<uint8_t>{2, 0, 1}));
}

TEST(Convert, IdentityBcgTableCopiesTheFrame) {
    std::vector<uint16_t> table(1024);
    ASSERT_EQ(create_BCG_LUT10(0, 0, 0, table.data()), 1);
    std::mt19937 rng(4);
    V src(500);
    for (auto &v : src) v = rng() % 1024;
    const auto s = words(src);
    EXPECT_EQ(guarded<uint16_t>(src.size(), [&](uint16_t *d) { convert_frame10to10LUT(s.data(), 500, table.data(), d); }), src);
}

TEST(Convert, AliasesShareOneEntryPoint) {
    EXPECT_EQ(kt::address_of(&convert_frame12to8LUT), kt::address_of(&convert_frame10to8LUT));
    EXPECT_EQ(kt::address_of(&convert_frame12to10LUT), kt::address_of(&convert_frame10to10LUT));
    EXPECT_EQ(kt::address_of(&convert_frame12to12LUT), kt::address_of(&convert_frame10to10LUT));
}

}  // namespace
