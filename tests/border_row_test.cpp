// The shared first/last-row fillers of the interpolating methods, called directly.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "demosaic_interp/border_row.h"
#include "support/testkit.h"

namespace {

using korvimg::Depth;
using korvimg::RowType;
using V = std::vector<uint32_t>;

// Runs border_row<D, T> on the first row (offset +width) or the last row (offset
// -width) of a frame of `rows` rows, into guarded room for one row. Returns the
// channel values written and checks that the cursors moved exactly one row.
template <class D, RowType T>
V fill(const V &frame, int32_t width, bool last_row) {
    using S = typename D::Sample;
    std::vector<S> samples(frame.begin(), frame.end());
    const size_t rows = frame.size() / static_cast<size_t>(width);
    const size_t row = last_row ? rows - 1 : 0;
    kt::Guarded out(static_cast<size_t>(width) * D::channels * sizeof(S), 5);
    const S *source = samples.data() + row * static_cast<size_t>(width);
    S *destination = reinterpret_cast<S *>(out.data());
    const S *const source_start = source;
    S *const destination_start = destination;
    korvimg::border_row<D, T>(source, last_row ? -width : width, destination);
    EXPECT_EQ(source - source_start, width) << "source cursor";
    EXPECT_EQ(destination - destination_start, static_cast<std::ptrdiff_t>(width) * D::channels) << "destination cursor";
    EXPECT_TRUE(out.guard_intact()) << "wrote past the row";
    V px;
    for (size_t k = 0; k < static_cast<size_t>(width) * D::channels; ++k) px.push_back(out.value(k, sizeof(S)));
    return px;
}

V pixel(const V &px, size_t p, int channels) {
    return {px.begin() + static_cast<std::ptrdiff_t>(p * channels), px.begin() + static_cast<std::ptrdiff_t>((p + 1) * channels)};
}

// Calls f.template operator()<D, T>() for all 16 members.
template <class D, class F>
void each_row_type(const F &f) {
    f.template operator()<D, RowType::bg>();
    f.template operator()<D, RowType::gr>();
    f.template operator()<D, RowType::gb>();
    f.template operator()<D, RowType::rg>();
}
template <class F>
void each_member(const F &f) {
    each_row_type<Depth<24>>(f);
    each_row_type<Depth<32>>(f);
    each_row_type<Depth<48>>(f);
    each_row_type<Depth<64>>(f);
}

// A 6 x 2 frame: row 0 = 10, 20, 30, 40, 50, 60; row 1 = 1, 2, 4, 8, 16, 32.
const V kTwoRows = {10, 20, 30, 40, 50, 60, 1, 2, 4, 8, 16, 32};

TEST(BorderRow, WorkedReadingBgAsFirstRowOfBggr) {
    const V px = fill<Depth<24>, RowType::bg>(kTwoRows, 6, false);
    // column 0, blue site: B = X, G = (below + right) >> 1, R = below-right
    EXPECT_EQ(pixel(px, 0, 3), (V{10, (1 + 20) >> 1, 2}));
    // column 1, green site: G = X, R = below, B = (left + right) >> 1
    EXPECT_EQ(pixel(px, 1, 3), (V{(10 + 30) >> 1, 20, 2}));
    // column 2, blue site: G = (below + left + right) / 3, R = (below-left + below-right) >> 1
    EXPECT_EQ(pixel(px, 2, 3), (V{30, (4 + 20 + 40) / 3, (2 + 8) >> 1}));
    EXPECT_EQ(pixel(px, 3, 3), (V{(30 + 50) >> 1, 40, 8}));
    EXPECT_EQ(pixel(px, 4, 3), (V{50, (16 + 40 + 60) / 3, (8 + 32) >> 1}));
    // last column, green site: B = left, R = below
    EXPECT_EQ(pixel(px, 5, 3), (V{50, 60, 32}));
}

TEST(BorderRow, GrRowStartsWithGreenAndEndsWithRed) {
    const V px = fill<Depth<32>, RowType::gr>(kTwoRows, 6, false);
    // column 0, green: R = right, B = below
    EXPECT_EQ(pixel(px, 0, 4), (V{1, 10, 20, 0}));
    // column 1, red: G = (below + left + right) / 3, B = (below-left + below-right) >> 1
    EXPECT_EQ(pixel(px, 1, 4), (V{(1 + 4) >> 1, (2 + 10 + 30) / 3, 20, 0}));
    EXPECT_EQ(pixel(px, 2, 4), (V{4, 30, (20 + 40) >> 1, 0}));
    // last column, red: G = (below + left) >> 1, B = below-left
    EXPECT_EQ(pixel(px, 5, 4), (V{16, (32 + 50) >> 1, 60, 0}));
}

TEST(BorderRow, WidthFourIsColumnZeroOnePairAndColumnThree) {
    const V frame = {7, 9, 11, 13, 100, 200, 50, 250};
    const V px = fill<Depth<48>, RowType::rg>(frame, 4, false);
    ASSERT_EQ(px.size(), 12u);
    EXPECT_EQ(pixel(px, 0, 3), (V{200, (100 + 9) >> 1, 7}));
    EXPECT_EQ(pixel(px, 1, 3), (V{200, 9, (7 + 11) >> 1}));
    EXPECT_EQ(pixel(px, 2, 3), (V{(200 + 250) >> 1, (50 + 9 + 13) / 3, 11}));
    EXPECT_EQ(pixel(px, 3, 3), (V{250, 13, 11}));
}

TEST(BorderRow, LastRowReadsTheRowAbove) {
    // bg is the first row of bggr and the last row of grbg; as a last row (offset
    // -width) its green and red come from the row above.
    const V frame = {1, 2, 4, 8, 16, 32, 10, 20, 30, 40, 50, 60};
    const V last = fill<Depth<24>, RowType::bg>(frame, 6, true);
    const V first = fill<Depth<24>, RowType::bg>(kTwoRows, 6, false);
    EXPECT_EQ(last, first);
    EXPECT_EQ(pixel(last, 0, 3), (V{10, (1 + 20) >> 1, 2}));
}

struct FlatFrame {
    template <class D, RowType T>
    void operator()() const {
        for (uint32_t v : {0u, 1u, 2u, 100u, D::maxv - 1, D::maxv}) {
            const V px = fill<D, T>(V(16, v), 8, false);
            const V back = fill<D, T>(V(16, v), 8, true);
            for (size_t k = 0; k < px.size(); ++k) {
                const uint32_t want = (D::channels == 4 && k % 4 == 3) ? 0 : v;
                ASSERT_EQ(px[k], want) << D::bits << " value " << v << " at " << k;
                ASSERT_EQ(back[k], want) << D::bits << " value " << v << " at " << k;
            }
        }
    }
};

TEST(BorderRow, FlatFrameGivesItsValueEverywhereInEveryMember) { each_member(FlatFrame{}); }

TEST(BorderRow, SixteenBitSumsOfThreeDoNotOverflow) {
    // bg row, column 2 (blue): green = (65535 + 65534 + 65535) / 3 = 65534 (floor)
    const V frame = {65535, 65535, 9, 65534, 9, 65535, 65535, 65535, 65535, 65535, 65535, 65535};
    const V px = fill<Depth<64>, RowType::bg>(frame, 6, false);
    EXPECT_EQ(pixel(px, 2, 4), (V{9, (65535u + 65535u + 65534u) / 3, 65535, 0}));
    EXPECT_EQ(pixel(px, 0, 4), (V{65535, 65535, 65535, 0}));
}

TEST(BorderRow, DivisionByThreeIsAFloorNotAShift) {
    // gb row, column 1 (blue): green = (below + left + right) / 3
    const V px = fill<Depth<24>, RowType::gb>({1, 50, 1, 9, 60, 1, 8, 9}, 4, false);
    EXPECT_EQ(pixel(px, 1, 3)[1], 1u);  // 3 / 3
    const V px2 = fill<Depth<24>, RowType::gb>({255, 50, 254, 9, 60, 255, 8, 9}, 4, false);
    EXPECT_EQ(pixel(px2, 1, 3)[1], 254u);  // 764 / 3
}

struct FourthChannel {
    template <class D, RowType T>
    void operator()() const {
        if constexpr (D::channels == 4) {
            using S = typename D::Sample;
            kt::Guarded out(8 * 4 * sizeof(S), 3);
            std::vector<S> samples(16, 77);
            const S *s = samples.data();
            auto *d = reinterpret_cast<S *>(out.data());
            korvimg::border_row<D, T>(s, 8, d);
            for (size_t p = 0; p < 8; ++p) EXPECT_EQ(out.value(p * 4 + 3, sizeof(S)), 0u);
            EXPECT_TRUE(out.guard_intact());
        }
    }
};

TEST(BorderRow, FourthChannelIsZero) { each_member(FourthChannel{}); }

}  // namespace
