// Frame accumulation, running sums and averages: worked examples, wrap-around, counts
// below 1, and random accumulators against the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "model/frameops_model.h"
#include "support/testkit.h"

namespace {

using V = std::vector<uint32_t>;

// A guarded array of 32-bit sums.
struct Sums {
    kt::Guarded g;
    std::vector<uint8_t> filled;  // the sums and the guard as they were before any call
    Sums(const V &values, uint32_t seed) : g(values.size() * 4, seed) {
        if (!values.empty()) std::memcpy(g.data(), values.data(), values.size() * 4);
        filled.assign(g.data(), g.data() + g.size() + kt::kGuard);
    }
    uint32_t *data() { return reinterpret_cast<uint32_t *>(g.data()); }
    bool untouched() const { return std::equal(filled.begin(), filled.end(), g.data()); }
    V values() const {
        V v(g.size() / 4);
        if (!v.empty()) std::memcpy(v.data(), g.data(), g.size());
        return v;
    }
};

std::vector<uint8_t> bytes8(const V &v) {
    std::vector<uint8_t> out;
    for (uint32_t x : v) out.push_back(static_cast<uint8_t>(x));
    return out;
}
std::vector<uint16_t> words16(const V &v) {
    std::vector<uint16_t> out;
    for (uint32_t x : v) out.push_back(static_cast<uint16_t>(x));
    return out;
}

TEST(FrameArith, TwoHundredFiftySixFramesOf255AverageTo255) {
    const int32_t n = 9;
    Sums acc(V(n, 0), 1);
    const std::vector<uint8_t> frame8(n, 255);
    const std::vector<uint16_t> frame16(n, 255);
    for (int k = 0; k < 128; ++k) frame_add8(acc.data(), frame8.data(), n);
    for (int k = 0; k < 128; ++k) frame_add16(acc.data(), frame16.data(), n);
    EXPECT_EQ(acc.values(), V(n, 65280));
    ASSERT_TRUE(acc.g.guard_intact());
    kt::Guarded out(n, 2);
    frame_avg8(out.data(), acc.data(), n, 256);
    for (int32_t i = 0; i < n; ++i) EXPECT_EQ(out.value(i, 1), 255u);
    EXPECT_TRUE(out.guard_intact());
}

TEST(FrameArith, AverageTruncates) {
    Sums acc({7, 7}, 3);
    kt::Guarded out8(2, 4), out16(4, 5);
    frame_avg8(out8.data(), acc.data(), 2, 2);
    frame_avg16(reinterpret_cast<uint16_t *>(out16.data()), acc.data(), 2, 2);
    EXPECT_EQ(out8.value(0, 1), 3u);
    EXPECT_EQ(out8.value(1, 1), 3u);
    EXPECT_EQ(out16.value(0, 2), 3u);
    EXPECT_TRUE(out8.guard_intact());
    EXPECT_TRUE(out16.guard_intact());
}

TEST(FrameArith, AverageKeepsTheLowBitsOfTheQuotient) {
    Sums acc({300, 65536 + 300, 0xFFFFFFFFu}, 6);
    kt::Guarded out8(3, 7), out16(6, 8);
    frame_avg8(out8.data(), acc.data(), 3, 1);
    frame_avg16(reinterpret_cast<uint16_t *>(out16.data()), acc.data(), 3, 1);
    EXPECT_EQ(out8.value(0, 1), 44u);  // not 255
    EXPECT_EQ(out8.value(1, 1), 44u);
    EXPECT_EQ(out8.value(2, 1), 255u);
    EXPECT_EQ(out16.value(0, 2), 300u);
    EXPECT_EQ(out16.value(1, 2), 300u);  // not 65535
    EXPECT_EQ(out16.value(2, 2), 65535u);
    EXPECT_TRUE(out8.guard_intact());
    EXPECT_TRUE(out16.guard_intact());
}

TEST(FrameArith, AddSubWrapsAndALaterAdditionBringsItBack) {
    Sums acc({5}, 9);
    const uint8_t add = 10, sub = 20;
    frame_add_sub8(acc.data(), &add, &sub, 1);
    EXPECT_EQ(acc.values(), V{4294967291u});
    const uint8_t twenty = 20;
    frame_add8(acc.data(), &twenty, 1);
    EXPECT_EQ(acc.values(), V{15});
    const uint16_t add16 = 10, sub16 = 65535;
    frame_add_sub16(acc.data(), &add16, &sub16, 1);
    EXPECT_EQ(acc.values(), V{15u + 10u - 65535u});
    EXPECT_TRUE(acc.g.guard_intact());
}

TEST(FrameArith, AddBeforeSubtractCancelsAnIntermediateWrap) {
    Sums acc({0xFFFFFF00u}, 10);
    const uint8_t add = 255, sub = 255;
    frame_add_sub8(acc.data(), &add, &sub, 1);  // the sum passes 2^32 and comes back
    EXPECT_EQ(acc.values(), V{0xFFFFFF00u});
}

TEST(FrameArith, CountBelowOneReadsAndWritesNothing) {
    for (int32_t n : {0, -1, -100, INT32_MIN}) {
        frame_add8(nullptr, nullptr, n);
        frame_add16(nullptr, nullptr, n);
        frame_add_sub8(nullptr, nullptr, nullptr, n);
        frame_add_sub16(nullptr, nullptr, nullptr, n);
        frame_avg8(nullptr, nullptr, n, 1);
        frame_avg16(nullptr, nullptr, n, 3);
        Sums acc({1, 2, 3}, 11);
        kt::Guarded out(6, 12);
        const uint16_t frame[3] = {1, 2, 3};
        frame_add16(acc.data(), frame, n);
        frame_add_sub16(acc.data(), frame, frame + 1, n);
        frame_avg16(reinterpret_cast<uint16_t *>(out.data()), acc.data(), n, 1);
        frame_avg8(out.data(), acc.data(), n, 1);
        EXPECT_TRUE(acc.untouched()) << n;
        EXPECT_TRUE(out.untouched()) << n;
    }
}

TEST(FrameArith, DivisorZeroWritesNothing) {
    Sums acc({1, 2, 3}, 13);
    kt::Guarded out(6, 14);
    frame_avg8(out.data(), acc.data(), 3, 0);
    frame_avg16(reinterpret_cast<uint16_t *>(out.data()), acc.data(), 3, 0);
    EXPECT_TRUE(out.untouched());
}

// Random accumulators (often close to 2^32, so sums wrap) and frames against the model.
TEST(FrameArithModel, RandomFramesAgainstModel) {
    std::mt19937 rng(2024);
    for (int trial = 0; trial < 300; ++trial) {
        const int bits = trial % 2 ? 16 : 8;
        const uint32_t maxv = (1u << bits) - 1;
        const int32_t n = static_cast<int32_t>(rng() % 70) - 3;
        const size_t room = static_cast<size_t>(std::max(n, 0));
        V acc0(room), add(room), sub(room);
        for (size_t i = 0; i < room; ++i) {
            acc0[i] = rng() % 3 == 0 ? 0xFFFFFFFFu - rng() % 300 : rng() % 3 == 0 ? rng() % 300 : rng();
            add[i] = rng() & maxv;
            sub[i] = rng() & maxv;
        }
        SCOPED_TRACE("trial " + std::to_string(trial) + " bits " + std::to_string(bits) + " count " + std::to_string(n));

        V want = acc0;
        model::frame_add(want, add, n);
        Sums a(acc0, rng());
        if (bits == 8) frame_add8(a.data(), bytes8(add).data(), n);
        else frame_add16(a.data(), words16(add).data(), n);
        ASSERT_EQ(a.values(), want);
        ASSERT_TRUE(a.g.guard_intact());

        want = acc0;
        model::frame_add_sub(want, add, sub, n);
        Sums b(acc0, rng());
        if (bits == 8) frame_add_sub8(b.data(), bytes8(add).data(), bytes8(sub).data(), n);
        else frame_add_sub16(b.data(), words16(add).data(), words16(sub).data(), n);
        ASSERT_EQ(b.values(), want);
        ASSERT_TRUE(b.g.guard_intact());

        const uint32_t r1 = static_cast<uint32_t>(rng()), r2 = static_cast<uint32_t>(rng() % 32);
        const uint32_t divisors[] = {1, 2, 3, 5, 7, 10, 255, 256, 257, 1000, 65535, 65536, 65537,
                                     0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFEu, 0xFFFFFFFFu, r1 | 1u,
                                     (r1 >> r2) | 1u};
        for (uint32_t divisor : divisors) {
            const V q = model::frame_avg(acc0, n, divisor, bits);
            kt::Guarded out(room * (bits / 8), rng());
            Sums sums(acc0, rng());
            if (bits == 8) frame_avg8(out.data(), sums.data(), n, divisor);
            else frame_avg16(reinterpret_cast<uint16_t *>(out.data()), sums.data(), n, divisor);
            ASSERT_TRUE(out.guard_intact()) << divisor;
            ASSERT_TRUE(sums.untouched()) << "the accumulator is only read";
            if (n < 1) {
                ASSERT_TRUE(out.untouched());
            }
            for (size_t i = 0; i < room; ++i) ASSERT_EQ(out.value(i, bits / 8), q[i]) << "divisor " << divisor << " at " << i;
        }
    }
}

// The average's division on every kind of divisor, at the quotient boundaries.
TEST(FrameArithModel, DivisionIsExactAtEveryBoundary) {
    std::mt19937 rng(5);
    V divisors;
    for (uint32_t d = 1; d <= 1100; ++d) divisors.push_back(d);
    for (int s = 11; s < 32; ++s) {
        const uint32_t p = 1u << s;
        for (uint32_t d : {p - 1, p, p + 1}) divisors.push_back(d);
    }
    for (int k = 0; k < 400; ++k) {
        const uint32_t r = static_cast<uint32_t>(rng());
        divisors.push_back((r >> (k % 32)) | 1u);
    }
    divisors.push_back(0xFFFFFFFFu);
    for (uint32_t d : divisors) {
        V acc = {0, 1, d - 1, d, d + 1, 0xFFFFFFFFu, 0xFFFFFFFEu, 0x80000000u, 0x7FFFFFFFu};
        const uint32_t top = 0xFFFFFFFFu / d;
        for (uint32_t q : {top, top - 1, top / 2, top / 3, 65535u, 65536u}) {
            if (q > top) continue;
            const uint64_t base = uint64_t{q} * d;
            acc.push_back(static_cast<uint32_t>(base));
            if (base + d - 1 <= 0xFFFFFFFFu) acc.push_back(static_cast<uint32_t>(base + d - 1));
            if (base >= 1) acc.push_back(static_cast<uint32_t>(base - 1));
        }
        for (int k = 0; k < 16; ++k) acc.push_back(static_cast<uint32_t>(rng()));
        const int32_t n = static_cast<int32_t>(acc.size());
        std::vector<uint16_t> out(acc.size());
        frame_avg16(out.data(), acc.data(), n, d);
        for (size_t i = 0; i < acc.size(); ++i)
            ASSERT_EQ(out[i], (acc[i] / d) & 0xFFFFu) << acc[i] << " / " << d;
    }
}

}  // namespace

// Buffers laid over each other: every function gives the result of one pass in
// ascending order, sample i read just before sum (or quotient) i is written. The
// reference works on the bytes of a copy of the same memory.
namespace overlap {

template <class T>
T get(const std::vector<uint8_t> &m, size_t at) {
    T v;
    std::memcpy(&v, m.data() + at, sizeof v);
    return v;
}
template <class T>
void put(std::vector<uint8_t> &m, size_t at, T v) {
    std::memcpy(m.data() + at, &v, sizeof v);
}

template <class S>
void add(std::vector<uint8_t> &m, size_t acc, size_t frame, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const size_t a = acc + 4 * static_cast<size_t>(i), f = frame + sizeof(S) * static_cast<size_t>(i);
        put<uint32_t>(m, a, get<uint32_t>(m, a) + get<S>(m, f));
    }
}
template <class S>
void add_sub(std::vector<uint8_t> &m, size_t acc, size_t plus, size_t minus, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const size_t a = acc + 4 * static_cast<size_t>(i), k = sizeof(S) * static_cast<size_t>(i);
        put<uint32_t>(m, a, get<uint32_t>(m, a) + get<S>(m, plus + k) - get<S>(m, minus + k));
    }
}
template <class S>
void avg(std::vector<uint8_t> &m, size_t dst, size_t acc, int32_t n, uint32_t divisor) {
    for (int32_t i = 0; i < n; ++i)
        put<S>(m, dst + sizeof(S) * static_cast<size_t>(i),
               static_cast<S>(get<uint32_t>(m, acc + 4 * static_cast<size_t>(i)) / divisor));
}

}  // namespace overlap

TEST(FrameArith, OverlappingBuffersGiveTheAscendingPass) {
    std::mt19937 rng(61);
    constexpr size_t kBytes = 512;
    std::vector<uint32_t> arena(kBytes / 4);  // 4-byte aligned memory for the library
    uint8_t *base = reinterpret_cast<uint8_t *>(arena.data());
    size_t mismatches = 0, overlapping = 0;
    for (int trial = 0; trial < 6000; ++trial) {
        std::vector<uint8_t> memory(kBytes);
        for (auto &b : memory) b = static_cast<uint8_t>(rng());
        const int op = trial % 6;
        const bool wide = op % 2 == 1;
        const size_t sample = wide ? 2 : 1;
        const int32_t n = static_cast<int32_t>(1 + rng() % 40);
        const size_t span32 = 4 * static_cast<size_t>(n), span = sample * static_cast<size_t>(n);
        // The sums at a 4-byte boundary, the frames at their own alignment, all near
        // each other so that most draws overlap.
        const size_t acc = 4 * (rng() % ((kBytes - span32) / 4 / 2));
        auto near = [&](size_t at_least_room) {
            const size_t lo = acc > 64 ? acc - 64 : 0;
            const size_t hi = std::min(kBytes - at_least_room, acc + span32 + 64);
            return (lo + rng() % (hi - lo + 1)) / sample * sample;
        };
        const size_t f1 = near(span), f2 = near(span);
        const uint32_t divisor = 1 + rng() % (wide ? 70000u : 300u);
        std::vector<uint8_t> want = memory;
        std::memcpy(base, memory.data(), kBytes);
        auto u16 = [&](size_t at) { return reinterpret_cast<uint16_t *>(base + at); };
        auto u32 = [&](size_t at) { return reinterpret_cast<uint32_t *>(base + at); };
        switch (op) {
        case 0: overlap::add<uint8_t>(want, acc, f1, n); frame_add8(u32(acc), base + f1, n); break;
        case 1: overlap::add<uint16_t>(want, acc, f1, n); frame_add16(u32(acc), u16(f1), n); break;
        case 2: overlap::add_sub<uint8_t>(want, acc, f1, f2, n); frame_add_sub8(u32(acc), base + f1, base + f2, n); break;
        case 3:
            overlap::add_sub<uint16_t>(want, acc, f1, f2, n);
            frame_add_sub16(u32(acc), u16(f1), u16(f2), n);
            break;
        case 4: overlap::avg<uint8_t>(want, f1, acc, n, divisor); frame_avg8(base + f1, u32(acc), n, divisor); break;
        default:
            overlap::avg<uint16_t>(want, f1, acc, n, divisor);
            frame_avg16(u16(f1), u32(acc), n, divisor);
            break;
        }
        if (f1 < acc + span32 && acc < f1 + span) ++overlapping;
        if (std::memcmp(want.data(), base, kBytes) != 0 && ++mismatches <= 5)
            ADD_FAILURE() << "operation " << op << ", sums at " << acc << ", frames at " << f1 << " and " << f2
                          << ", count " << n;
    }
    EXPECT_EQ(mismatches, 0u);
    EXPECT_GT(overlapping, 2000u);  // the draws did lay the buffers over each other
}
