// Every demosaic export of the table against the naive model, on random and
// structured frames of many sizes, with guard bytes after the output and the whole
// output checked untouched whenever the model writes nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "model/demosaic_model.h"
#include "support/testkit.h"

namespace {

// Pixels a member may write for a frame: the contract's output size.
int64_t output_pixels(const kt::Member &m, int32_t w, int32_t h) {
    if (m.method == kt::kMono) return std::max<int32_t>(static_cast<int32_t>(static_cast<uint32_t>(w) * static_cast<uint32_t>(h)), 0);
    if (w <= 0 || h <= 0) return 0;
    if (m.method == kt::kPreview) return static_cast<int64_t>(w / 2) * (h / 2);
    return static_cast<int64_t>(w) * h;
}

// Runs one member on one frame and compares it with the model.
void check(const kt::Member &m, const std::vector<uint32_t> &raw, int32_t w, int32_t h, uint32_t seed) {
    SCOPED_TRACE(m.name + " " + std::to_string(w) + "x" + std::to_string(h));
    const model::Image want = model::demosaic(m.method, m.depth, m.pattern, raw, w, h);
    ASSERT_TRUE(want.known) << "the model has no rules for " << kt::kMethodNames[m.method];
    const auto src = kt::pack(raw, m.sample_bytes());
    const int64_t room = output_pixels(m, w, h);
    kt::Guarded out(static_cast<size_t>(room) * m.channels() * m.sample_bytes(), seed);
    const uint32_t got = m.call(src.data(), w, h, out.data());
    EXPECT_EQ(got, want.result);
    ASSERT_TRUE(out.guard_intact()) << "wrote past the output";
    if (want.pixels == 0) {
        EXPECT_TRUE(out.untouched()) << "wrote although nothing is to be written";
        return;
    }
    ASSERT_EQ(want.pixels, room);
    const size_t n = static_cast<size_t>(room) * m.channels();
    for (size_t k = 0; k < n; ++k) {
        if (out.value(k, m.sample_bytes()) != want.px[k]) {
            const size_t p = k / m.channels();
            FAIL() << "pixel " << p << " (row " << p / std::max<int64_t>(m.method == kt::kPreview ? w / 2 : w, 1)
                   << ") channel " << k % m.channels() << ": got " << out.value(k, m.sample_bytes()) << ", model "
                   << want.px[k];
        }
    }
}

std::vector<uint32_t> frame_for(const kt::Member &m, int kind, int32_t w, int32_t h, std::mt19937 &rng) {
    const uint32_t maxv = m.sample_bytes() == 1 ? 255 : 65535;
    if (m.method == kt::kMono && (w < 0 || h < 0)) {
        // mono reads the signed product's count of samples, whatever the signs.
        const int32_t n = static_cast<int32_t>(static_cast<uint32_t>(w) * static_cast<uint32_t>(h));
        return kt::make_frame(kind, std::max(n, 0), 1, maxv, rng);
    }
    return kt::make_frame(kind, w, h, maxv, rng);
}

class EveryMember : public ::testing::TestWithParam<std::string> {};

TEST_P(EveryMember, SmallSizesAgainstModel) {
    const kt::Member &m = kt::member(GetParam());
    std::mt19937 rng(1234 + m.method * 100 + m.depth + m.pattern);
    const int32_t sizes[] = {-6, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 13, 16};
    int kind = 0;
    for (int32_t h : sizes)
        for (int32_t w : sizes) {
            check(m, frame_for(m, kind, w, h, rng), w, h, rng());
            kind = (kind + 1) % kt::kFrameKinds;
            if (HasFatalFailure()) return;
        }
}

TEST_P(EveryMember, LargerFramesAgainstModel) {
    const kt::Member &m = kt::member(GetParam());
    std::mt19937 rng(99 + m.method * 100 + m.depth + m.pattern);
    for (int kind = 0; kind < kt::kFrameKinds; ++kind) {
        const int32_t w = 4 + static_cast<int32_t>(rng() % 200), h = 4 + static_cast<int32_t>(rng() % 60);
        check(m, frame_for(m, kind, w, h, rng), w, h, rng());
        if (HasFatalFailure()) return;
    }
    check(m, frame_for(m, 0, 320, 6, rng), 320, 6, rng());
    check(m, frame_for(m, 6, 34, 258, rng), 34, 258, rng());
}

// Frames that make the interpolating methods meet equal gradients, negative
// corrections that are not multiples of the divisor, and results beyond 0 and maxv.
std::vector<uint32_t> tie_and_clamp_frame(int kind, int pattern, int32_t w, int32_t h, uint32_t maxv, std::mt19937 &rng) {
    std::vector<uint32_t> f(static_cast<size_t>(w) * static_cast<size_t>(h));
    const uint32_t few[] = {0, 1, 2, 3}, ends[] = {0, 1, maxv - 1, maxv};
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const bool green = model::colour_at(pattern, y, x) == model::kGreen;
            uint32_t v = 0;
            switch (kind) {
                case 0: v = few[rng() % 4]; break;                                 // small values: many ties
                case 1: v = ends[rng() % 4]; break;                                // extremes
                case 2: v = green ? few[rng() % 4] : maxv - few[rng() % 4]; break;  // dark greens, bright red/blue
                case 3: v = green ? maxv - few[rng() % 4] : few[rng() % 4]; break;  // the reverse
                case 4: v = ((y / 2 + x / 2 + static_cast<int32_t>(rng() % 2)) & 1) ? maxv : 0; break;  // tiles
                case 5: v = (y & 1) ? maxv : few[rng() % 4]; break;                 // row stripes
                case 6: v = (x & 1) ? maxv : few[rng() % 4]; break;                 // column stripes
                default: v = ((x + y) & 1) ? few[rng() % 4] : maxv - few[rng() % 4]; break;  // checkerboard
            }
            f[static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x)] = v;
        }
    return f;
}

class InterpolatingMember : public ::testing::TestWithParam<std::string> {};

TEST_P(InterpolatingMember, TiesAndClampsAgainstModel) {
    const kt::Member &m = kt::member(GetParam());
    std::mt19937 rng(7 + m.method * 100 + m.depth + m.pattern);
    const uint32_t maxv = m.sample_bytes() == 1 ? 255 : 65535;
    const std::pair<int32_t, int32_t> sizes[] = {{4, 4}, {6, 6}, {8, 6}, {4, 10}, {10, 4}, {16, 12}, {24, 20}};
    for (int kind = 0; kind < 8; ++kind)
        for (auto [w, h] : sizes) {
            check(m, tie_and_clamp_frame(kind, m.pattern, w, h, maxv, rng), w, h, rng());
            if (HasFatalFailure()) return;
        }
}

std::vector<std::string> member_names() {
    std::vector<std::string> names;
    for (const auto &m : kt::demosaic_members()) names.push_back(m.name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Demosaic, EveryMember, ::testing::ValuesIn(member_names()),
                         [](const auto &info) { return info.param; });

std::vector<std::string> interpolating_member_names() {
    std::vector<std::string> names;
    for (const auto &m : kt::demosaic_members())
        if (m.method == kt::kBilinear || m.method == kt::kAdaptive || m.method == kt::kLaplacian) names.push_back(m.name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Demosaic, InterpolatingMember, ::testing::ValuesIn(interpolating_member_names()),
                         [](const auto &info) { return info.param; });

// All eight methods are in the table, each in all 16 members.
TEST(DemosaicTable, EveryFamilyIsComplete) {
    std::map<int, std::set<std::string>> by_method;
    for (const auto &m : kt::demosaic_members()) by_method[m.method].insert(m.name);
    EXPECT_EQ(by_method.size(), 8u);
    for (const auto &[method, names] : by_method) EXPECT_EQ(names.size(), 16u) << kt::kMethodNames[method];
}

}  // namespace
