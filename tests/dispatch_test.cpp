// The dispatchers debayer24 ... debayer64 against the per-method exports they call.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/testkit.h"

namespace {

using V = std::vector<uint32_t>;

struct Dispatcher {
    int depth;
    int channels() const { return depth == 24 || depth == 48 ? 3 : 4; }
    int sample_bytes() const { return depth <= 32 ? 1 : 2; }
    uint32_t call(const void *source, int32_t w, int32_t h, uint32_t pattern, uint32_t method, void *destination) const {
        auto *s8 = static_cast<const uint8_t *>(source);
        auto *s16 = static_cast<const uint16_t *>(source);
        auto *d8 = static_cast<uint8_t *>(destination);
        auto *d16 = static_cast<uint16_t *>(destination);
        switch (depth) {
            case 24: return debayer24(s8, w, h, pattern, method, d8);
            case 32: return debayer32(s8, w, h, pattern, method, d8);
            case 48: return debayer48(s16, w, h, pattern, method, d16);
            default: return debayer64(s16, w, h, pattern, method, d16);
        }
    }
};

const Dispatcher kDispatchers[] = {{24}, {32}, {48}, {64}};

V random_frame(size_t n, uint32_t maxv, uint32_t seed) {
    std::mt19937 rng(seed);
    V f(n);
    for (auto &v : f) v = rng() % (maxv + 1);
    return f;
}

struct Outcome {
    uint32_t result;
    std::vector<uint8_t> bytes;  // the output room, guard excluded
    bool untouched;
};

// Runs the dispatcher and, separately, the named member on the same frame into two
// buffers that start with the same contents.
Outcome via_dispatcher(const Dispatcher &d, const V &frame, int32_t w, int32_t h, uint32_t pattern, uint32_t method,
                       size_t room_pixels) {
    const auto src = kt::pack(frame, d.sample_bytes());
    kt::Guarded out(room_pixels * d.channels() * d.sample_bytes(), 12);
    const uint32_t r = d.call(src.data(), w, h, pattern, method, out.data());
    EXPECT_TRUE(out.guard_intact()) << "debayer" << d.depth;
    return {r, std::vector<uint8_t>(out.data(), out.data() + out.size()), out.untouched()};
}
Outcome via_member(const std::string &name, const V &frame, int32_t w, int32_t h, size_t room_pixels) {
    const kt::Member &m = kt::member(name);
    const auto src = kt::pack(frame, m.sample_bytes());
    kt::Guarded out(room_pixels * m.channels() * m.sample_bytes(), 12);
    const uint32_t r = m.call(src.data(), w, h, out.data());
    return {r, std::vector<uint8_t>(out.data(), out.data() + out.size()), out.untouched()};
}

TEST(Dispatch, EveryCodePairCallsItsMember) {
    const int32_t w = 10, h = 8;
    for (const auto &d : kDispatchers) {
        const V frame = random_frame(static_cast<size_t>(w * h), d.sample_bytes() == 1 ? 255 : 65535, 3);
        for (uint32_t method = 0; method < 8; ++method)
            for (uint32_t pattern = 0; pattern < 4; ++pattern) {
                const std::string name = std::string(kt::kMethodNames[method]) + std::to_string(d.depth) +
                                         kt::kPatternNames[pattern];
                const Outcome got = via_dispatcher(d, frame, w, h, pattern, method, static_cast<size_t>(w * h));
                const Outcome want = via_member(name, frame, w, h, static_cast<size_t>(w * h));
                EXPECT_EQ(got.result, 1u) << name;
                EXPECT_EQ(want.result, 1u) << name;
                EXPECT_FALSE(got.untouched) << name;
                EXPECT_EQ(got.bytes, want.bytes) << name;
            }
    }
}

TEST(Dispatch, CodesAreTakenInReverseAlphabeticalOrderOfThePatterns) {
    // Pattern code 0 is rggb and 3 is bggr: the two give different bytes for bilinear.
    const V frame = random_frame(36, 255, 9);
    const Outcome zero = via_dispatcher(kDispatchers[0], frame, 6, 6, 0, 4, 36);
    EXPECT_EQ(zero.bytes, via_member("bilinear24rggb", frame, 6, 6, 36).bytes);
    EXPECT_NE(zero.bytes, via_member("bilinear24bggr", frame, 6, 6, 36).bytes);
}

TEST(Dispatch, BayerFourByFourRggb) {
    const V frame = random_frame(16, 255, 1);
    const Outcome got = via_dispatcher(kDispatchers[0], frame, 4, 4, 0, 1, 16);
    EXPECT_EQ(got.result, 1u);
    EXPECT_EQ(got.bytes, via_member("bayer24rggb", frame, 4, 4, 16).bytes);
}

TEST(Dispatch, PreviewFourByFourBggrGivesTwoByTwo) {
    const V frame = random_frame(16, 65535, 2);
    const Outcome got = via_dispatcher(kDispatchers[2], frame, 4, 4, 3, 7, 4);  // room for 2 x 2 only
    EXPECT_EQ(got.result, 1u);
    EXPECT_EQ(got.bytes, via_member("preview48bggr", frame, 4, 4, 4).bytes);
}

TEST(Dispatch, MethodAboveSevenIsRefusedWhateverThePattern) {
    const V frame = random_frame(16, 255, 4);
    for (const auto &d : kDispatchers)
        for (uint32_t method : {8u, 9u, 0x80000000u, 0xFFFFFFFFu})
            for (uint32_t pattern : {0u, 1u, 2u, 3u, 4u, 0xFFFFFFFFu}) {
                const Outcome got = via_dispatcher(d, frame, 4, 4, pattern, method, 16);
                EXPECT_EQ(got.result, 0u) << d.depth << " method " << method << " pattern " << pattern;
                EXPECT_TRUE(got.untouched) << d.depth << " method " << method << " pattern " << pattern;
            }
}

TEST(Dispatch, PatternAboveThreeIsRefusedEvenForMono) {
    const V frame = random_frame(16, 255, 5);
    for (const auto &d : kDispatchers)
        for (uint32_t method = 0; method < 8; ++method)
            for (uint32_t pattern : {4u, 5u, 0xFFFFFFFFu}) {
                const Outcome got = via_dispatcher(d, frame, 4, 4, pattern, method, 16);
                EXPECT_EQ(got.result, 0u) << d.depth << " method " << method << " pattern " << pattern;
                EXPECT_TRUE(got.untouched);
            }
}

TEST(Dispatch, MonoIgnoresThePatternCode) {
    const V frame = random_frame(12, 65535, 6);
    for (const auto &d : kDispatchers) {
        const Outcome first = via_dispatcher(d, frame, 3, 4, 0, 0, 12);
        for (uint32_t pattern = 1; pattern < 4; ++pattern)
            EXPECT_EQ(via_dispatcher(d, frame, 3, 4, pattern, 0, 12).bytes, first.bytes) << d.depth;
    }
}

TEST(Dispatch, RefusedSizesStillReportOne) {
    const V frame = random_frame(64, 255, 7);
    for (const auto &d : kDispatchers) {
        // an odd width given to bayer: the member returns 0 and writes nothing
        const Outcome odd = via_dispatcher(d, frame, 5, 4, 0, 1, 20);
        EXPECT_EQ(odd.result, 1u) << d.depth;
        EXPECT_TRUE(odd.untouched) << d.depth;
        // 2 x 2 given to the interpolating methods
        for (uint32_t method : {4u, 5u, 6u}) {
            const Outcome tiny = via_dispatcher(d, frame, 2, 2, 3, method, 4);
            EXPECT_EQ(tiny.result, 1u) << d.depth << " method " << method;
            EXPECT_TRUE(tiny.untouched) << d.depth << " method " << method;
        }
    }
}

}  // namespace
