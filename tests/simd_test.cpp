// The fast paths against the plain routines: every demosaic member that has a fast
// path is run with each instruction set this CPU offers and must give the bytes of
// the plain routine, guard bytes included, at every width that exercises the vector
// remainders.
#include <gtest/gtest.h>

#include "frame/isa_entry.h"
#include "simd/kernels.h"
#include "support/testkit.h"

namespace {

using korvimg::Isa;

// The levels above scalar that this CPU runs.
std::vector<Isa> fast_isas() {
    std::vector<Isa> v;
    for (Isa i : {Isa::sse2, Isa::avx2})
        if (korvimg::usable_isa(i) == i) v.push_back(i);
    return v;
}

// Widths: every even width from the smallest the method takes up to 200 (every width
// for mono, whose frame is one run), and a few large ones. Heights vary with the width.
std::vector<int32_t> widths(int method) {
    const bool any_width = method == kt::kMono;
    const bool interpolating = method == kt::kBilinear || method == kt::kAdaptive || method == kt::kLaplacian;
    std::vector<int32_t> v;
    for (int32_t w = any_width ? 1 : interpolating ? 4 : 2; w <= 200; w += any_width ? 1 : 2) v.push_back(w);
    for (int32_t w : {256, 1030, 3842}) v.push_back(w);
    return v;
}

struct Out {
    uint32_t result;
    kt::Guarded buffer;
};

Out run(korvimg::DemosaicIsaEntry entry, Isa isa, int depth, int pattern, const std::vector<uint8_t> &raw,
        int32_t w, int32_t h, size_t out_bytes) {
    Out o{0, kt::Guarded(out_bytes, 4242)};
    o.result = entry(isa, depth, static_cast<korvimg::Pattern>(pattern), raw.data(), w, h, o.buffer.data());
    return o;
}

TEST(FastPaths, EveryX86BuildHasAtLeastSse2) {
#if KORVIMG_X86
    EXPECT_NE(korvimg::best_isa(), Isa::scalar);
    EXPECT_NE((korvimg::tile_row_kernel<korvimg::TileOp::nearest, korvimg::Depth<24>, korvimg::Pattern::rggb>(Isa::sse2)),
              nullptr);
#endif
    EXPECT_EQ((korvimg::tile_row_kernel<korvimg::TileOp::nearest, korvimg::Depth<24>, korvimg::Pattern::rggb>(Isa::scalar)),
              nullptr);
    EXPECT_EQ(korvimg::usable_isa(Isa::scalar), Isa::scalar);
    std::printf("fast paths tested here: %s\n", korvimg::isa_name(korvimg::best_isa()));
}

// A CPU (and operating system) that runs AVX2 gets the AVX2 kernels, both in the
// exports and in the comparisons above: a CPU check that never says yes would leave
// them unused and untested without any result changing.
TEST(FastPaths, Avx2IsChosenWhereTheCpuRunsIt) {
#if KORVIMG_X86 && defined(__GNUC__)
    __builtin_cpu_init();
    if (!__builtin_cpu_supports("avx2")) GTEST_SKIP() << "this CPU has no AVX2";
    EXPECT_EQ(korvimg::best_isa(), Isa::avx2);
    EXPECT_EQ(korvimg::usable_isa(Isa::avx2), Isa::avx2);
    EXPECT_EQ(fast_isas(), (std::vector<Isa>{Isa::sse2, Isa::avx2}));
#else
    GTEST_SKIP() << "no run-time CPU check in this build";
#endif
}

// Compares every member of the method with the plain routine on random and
// structured frames (full-range samples).
void compare_with_plain(int method) {
    const korvimg::DemosaicIsaEntry entry = korvimg::demosaic_isa_entry(static_cast<uint32_t>(method));
    ASSERT_NE(entry, nullptr) << kt::kMethodNames[method];
    const bool half = method == kt::kPreview;
    const std::vector<Isa> isas = fast_isas();
    std::mt19937 rng(1000u + static_cast<uint32_t>(method));
    for (int depth : {24, 32, 48, 64}) {
        const int sample_bytes = depth <= 32 ? 1 : 2;
        const int channels = depth == 24 || depth == 48 ? 3 : 4;
        const uint32_t maxv = sample_bytes == 1 ? 255u : 65535u;
        for (int pattern = 0; pattern < 4; ++pattern) {
            for (int32_t w : widths(method)) {
                // Small frames of a few rows; the large widths only with the rows the
                // method needs (the laplacian's second pass starts at six).
                const bool large = w > 200;
                const int32_t h = large ? (method == kt::kMono ? 1 : 6)
                                        : (method == kt::kMono ? 1 + (w % 3) : 2 + 2 * ((w / 2) % 3)) + (w >= 4 ? 2 : 0);
                // A random frame, and one structured kind that changes with the width.
                for (int kind : {0, 1 + (w / 2) % (kt::kFrameKinds - 1)}) {
                    if (large && kind != 0) continue;
                    const auto raw = kt::pack(kt::make_frame(kind, w, h, maxv, rng), sample_bytes);
                    const size_t pixels = half ? static_cast<size_t>(w / 2) * static_cast<size_t>(h / 2)
                                               : static_cast<size_t>(w) * static_cast<size_t>(h);
                    const size_t bytes = pixels * static_cast<size_t>(channels * sample_bytes);
                    const Out plain = run(entry, Isa::scalar, depth, pattern, raw, w, h, bytes);
                    ASSERT_EQ(plain.result, 1u);
                    for (Isa isa : isas) {
                        const Out fast = run(entry, isa, depth, pattern, raw, w, h, bytes);
                        ASSERT_EQ(fast.result, plain.result);
                        ASSERT_TRUE(fast.buffer.guard_intact());
                        ASSERT_EQ(0, std::memcmp(fast.buffer.data(), plain.buffer.data(), bytes + kt::kGuard))
                            << kt::kMethodNames[method] << depth << kt::kPatternNames[pattern] << " " << w << "x" << h
                            << " kind " << kind << " with " << korvimg::isa_name(isa);
                    }
                }
            }
        }
    }
}

TEST(FastPaths, MonoMatchesThePlainRoutine) { compare_with_plain(kt::kMono); }
TEST(FastPaths, BayerMatchesThePlainRoutine) { compare_with_plain(kt::kBayer); }
TEST(FastPaths, NearestMatchesThePlainRoutine) { compare_with_plain(kt::kNearest); }
TEST(FastPaths, SimpleMatchesThePlainRoutine) { compare_with_plain(kt::kSimple); }
TEST(FastPaths, PreviewMatchesThePlainRoutine) { compare_with_plain(kt::kPreview); }
TEST(FastPaths, BilinearMatchesThePlainRoutine) { compare_with_plain(kt::kBilinear); }
TEST(FastPaths, AdaptiveMatchesThePlainRoutine) { compare_with_plain(kt::kAdaptive); }
TEST(FastPaths, LaplacianMatchesThePlainRoutine) { compare_with_plain(kt::kLaplacian); }

// The laplacian's fast path does the inner columns in strips of at most 4096 columns,
// its first pass a row ahead of the second: widths on either side of one, two and
// several strips, with enough rows for the passes to run behind one another.
TEST(FastPaths, LaplacianWideFramesMatchThePlainRoutine) {
    const korvimg::DemosaicIsaEntry entry = korvimg::demosaic_isa_entry(kt::kLaplacian);
    ASSERT_NE(entry, nullptr);
    const std::vector<Isa> isas = fast_isas();
    std::mt19937 rng(77u);
    for (int depth : {24, 32, 48, 64}) {
        const int sample_bytes = depth <= 32 ? 1 : 2;
        const int channels = depth == 24 || depth == 48 ? 3 : 4;
        const uint32_t maxv = sample_bytes == 1 ? 255u : 65535u;
        for (int pattern = 0; pattern < 4; ++pattern) {
            for (int32_t inner : {4094, 4096, 4098, 8190, 8192, 8194, 12290, 19998}) {
                const int32_t w = inner + 4, h = 8 + 2 * (pattern % 2);
                const int kind = pattern % 2 == 0 ? 0 : (inner / 2 + pattern) % kt::kFrameKinds;
                const auto raw = kt::pack(kt::make_frame(kind, w, h, maxv, rng), sample_bytes);
                const size_t bytes = static_cast<size_t>(w) * static_cast<size_t>(h) *
                                     static_cast<size_t>(channels * sample_bytes);
                const Out plain = run(entry, Isa::scalar, depth, pattern, raw, w, h, bytes);
                ASSERT_EQ(plain.result, 1u);
                for (Isa isa : isas) {
                    const Out fast = run(entry, isa, depth, pattern, raw, w, h, bytes);
                    ASSERT_EQ(fast.result, 1u);
                    ASSERT_TRUE(fast.buffer.guard_intact());
                    ASSERT_EQ(0, std::memcmp(fast.buffer.data(), plain.buffer.data(), bytes + kt::kGuard))
                        << "laplacian" << depth << kt::kPatternNames[pattern] << " " << w << "x" << h << " with "
                        << korvimg::isa_name(isa);
                }
            }
        }
    }
}

// The entry refuses what the export refuses, with every instruction set.
TEST(FastPaths, RefusalsAreTheSameOnEveryPath) {
    const std::vector<uint8_t> raw(64 * 2, 7);
    for (int method : {kt::kBayer, kt::kNearest, kt::kSimple, kt::kPreview}) {
        const auto entry = korvimg::demosaic_isa_entry(static_cast<uint32_t>(method));
        for (Isa isa : {Isa::scalar, Isa::sse2, Isa::avx2}) {
            const Out o = run(entry, isa, 48, 0, raw, 62, 3, 62 * 3 * 6);
            EXPECT_EQ(o.result, 0u);
            EXPECT_TRUE(o.buffer.untouched());
        }
    }
}

}  // namespace
