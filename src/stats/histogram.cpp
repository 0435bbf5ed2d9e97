// Histograms of sample runs, colour images and raw Bayer frames, counted into
// caller-owned arrays of unsigned 32-bit bins (256, 1024 or 4096 of them). Every
// histogram of a call is cleared with memory_zero before anything is counted, so an
// array passed for two channels ends up with the counts of both.
//
// A sample value is its own bin index. A value beyond the last bin (possible only for
// 10- and 12-bit data held in 16-bit words) is counted in the last bin, so nothing
// outside a histogram is ever written and a histogram's total is always the number
// of samples counted into it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "korvimg.h"
#include "stats/histogram.h"

namespace korvimg {
namespace {

template <class S, uint32_t Bins>
inline void count(uint32_t *histogram, S value) {
    ++histogram[std::min<uint32_t>(value, Bins - 1)];
}

template <uint32_t Bins>
void clear(uint32_t *histogram) {
    memory_zero(histogram, Bins * sizeof(uint32_t));
}

// Ways sets of bins for one histogram, so that runs of equal values do not make every
// increment wait for the one before it: the caller's array (already cleared) and
// Ways - 1 sets on the stack, added into the caller's array at the end. Two
// histograms of a call may be one array; each adds its own sets into it.
template <uint32_t Bins, int Ways>
struct Sets {
    uint32_t *const caller;
    uint32_t extra[Ways - 1][Bins];
    explicit Sets(uint32_t *histogram) : caller(histogram), extra{} {}
    template <int K> uint32_t *way() {
        if constexpr (K == 0) return caller;
        else return extra[K - 1];
    }
    void finish() {
        for (int k = 0; k < Ways - 1; ++k)
            for (uint32_t v = 0; v < Bins; ++v) caller[v] += extra[k][v];
    }
};

// Large 8-bit inputs are counted two samples per increment: a table of 65536 counts,
// one per pair of values, takes a pair of neighbouring samples (first | second << 8),
// and is folded into the two samples' histograms at the end. That halves the
// increments, which bound the speed of counting, for the price of clearing and
// folding the table (256 KiB, a fixed cost that pays off from about kPairsFrom
// samples). The tables come from the caller's memory services for the call; without
// them the samples are counted one by one.
constexpr int64_t kPairsFrom = int64_t{1} << 18;

// One table of pair counts, in a block owned by PairTables.
class PairTable {
  public:
    static constexpr uint32_t kEntries = 65536;
    explicit PairTable(uint32_t *table) : table_(table) {}

    void count(uint32_t first, uint32_t second) { ++table_[first | second << 8]; }
    // The pair of samples at p[0] and p[1].
    void count(const uint8_t *p) { count(p[0], p[1]); }
    // The two pairs of samples 0, 1 and 2, 3 of a 32-bit little-endian word.
    void count_two(uint32_t word) {
        ++table_[word & 0xffffu];
        ++table_[word >> 16];
    }
    // Adds every pair's count to the bin of its first sample in `first` and of its
    // second in `second` (which may be one array).
    void fold(uint32_t *first, uint32_t *second) const {
        uint32_t firsts[256] = {};
        for (uint32_t hi = 0; hi < 256; ++hi) {
            const uint32_t *row = table_ + static_cast<size_t>(hi) * 256;
            uint32_t sum = 0;
            for (uint32_t lo = 0; lo < 256; ++lo) {
                firsts[lo] += row[lo];
                sum += row[lo];
            }
            second[hi] += sum;
        }
        for (uint32_t v = 0; v < 256; ++v) first[v] += firsts[v];
    }

  private:
    uint32_t *const table_;
};

// The Count cleared pair tables of a call, in one block. (With a block per table, the
// C library handed the two freed blocks back to the system at the end of every call,
// and the next call faulted every page of its tables in again: a raw frame took
// twice as long as a run of the same samples.)
template <int Count>
class PairTables {
  public:
    static constexpr uint32_t kBytes = Count * PairTable::kEntries * sizeof(uint32_t);
    explicit PairTables(const MemoryServices &memory)
        : memory_(memory), block_(static_cast<uint32_t *>(memory.alloc(kBytes))) {
        if (block_ != nullptr) memory_zero(block_, kBytes);
    }
    ~PairTables() {
        if (block_ != nullptr) memory_.release(block_);
    }
    PairTables(const PairTables &) = delete;
    PairTables &operator=(const PairTables &) = delete;
    explicit operator bool() const { return block_ != nullptr; }
    PairTable operator[](int k) const { return PairTable(block_ + static_cast<size_t>(k) * PairTable::kEntries); }

  private:
    const MemoryServices &memory_;
    uint32_t *const block_;
};

// Four samples from p on, as a little-endian 32-bit word.
inline uint32_t load_word(const uint8_t *p) {
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

// A run of 8-bit samples by pairs; false when there was no table.
bool histogram_run_pairs(const uint8_t *samples, int32_t n, uint32_t *histogram, const MemoryServices &memory) {
    PairTables<1> tables(memory);
    if (!tables) return false;
    PairTable pairs = tables[0];
    int32_t i = 0;
    for (; i + 8 <= n; i += 8) {
        pairs.count_two(load_word(samples + i));
        pairs.count_two(load_word(samples + i + 4));
    }
    for (; i + 2 <= n; i += 2) pairs.count(samples + i);
    if (i < n) ++histogram[samples[i]];
    pairs.fold(histogram, histogram);
    return true;
}

}  // namespace

// A run of samples, four at a time into four sets.
template <class S, uint32_t Bins>
void histogram_run(const S *samples, int32_t n, uint32_t *histogram, [[maybe_unused]] const MemoryServices &memory) {
    clear<Bins>(histogram);
    if (n < 1) return;
    if constexpr (sizeof(S) == 1) {
        if (n >= kPairsFrom && histogram_run_pairs(samples, n, histogram, memory)) return;
    }
    Sets<Bins, 4> h(histogram);
    int32_t i = 0;
    for (; i + 3 < n; i += 4) {
        count<S, Bins>(h.template way<0>(), samples[i]);
        count<S, Bins>(h.template way<1>(), samples[i + 1]);
        count<S, Bins>(h.template way<2>(), samples[i + 2]);
        count<S, Bins>(h.template way<3>(), samples[i + 3]);
    }
    for (; i < n; ++i) count<S, Bins>(h.template way<0>(), samples[i]);
    h.finish();
}

// Packed colour pixels of Channels samples: blue, green, red in memory order, and a
// fourth sample that is skipped. Even and odd pixels count into two sets.
template <class S, uint32_t Bins, int Channels>
void histogram_image(const S *image, int32_t pixels, uint32_t *red, uint32_t *green, uint32_t *blue,
                     [[maybe_unused]] const MemoryServices &memory) {
    clear<Bins>(red);
    clear<Bins>(green);
    clear<Bins>(blue);
    if (pixels < 1) return;
    if constexpr (sizeof(S) == 1) {
        // Large 8-bit images: blue and green of a pixel as one pair, red on its own.
        // (A second table for pairs of reds was no faster: the tables then outgrow
        // the cache nearest the core.)
        if (int64_t{pixels} * 3 >= kPairsFrom) {
            PairTables<1> tables(memory);
            if (tables) {
                PairTable blue_green = tables[0];
                Sets<Bins, 2> r(red);
                const S *px = image;
                int32_t p = 0;
                for (; p + 1 < pixels; p += 2, px += 2 * Channels) {
                    blue_green.count(px + kBlue);
                    count<S, Bins>(r.template way<0>(), px[kRed]);
                    blue_green.count(px + Channels + kBlue);
                    count<S, Bins>(r.template way<1>(), px[Channels + kRed]);
                }
                if (p < pixels) {
                    blue_green.count(px + kBlue);
                    count<S, Bins>(r.template way<0>(), px[kRed]);
                }
                r.finish();
                blue_green.fold(blue, green);
                return;
            }
        }
    }
    Sets<Bins, 2> r(red), g(green), b(blue);
    auto pixel = [&](int32_t p, auto way) {
        constexpr int K = decltype(way)::value;
        const S *px = image + static_cast<size_t>(p) * Channels;
        count<S, Bins>(b.template way<K>(), px[kBlue]);
        count<S, Bins>(g.template way<K>(), px[kGreen]);
        count<S, Bins>(r.template way<K>(), px[kRed]);
    };
    int32_t p = 0;
    for (; p + 1 < pixels; p += 2) {
        pixel(p, std::integral_constant<int, 0>{});
        pixel(p + 1, std::integral_constant<int, 1>{});
    }
    if (p < pixels) pixel(p, std::integral_constant<int, 0>{});
    r.finish();
    g.finish();
    b.finish();
}

// A raw frame, walked in 2x2 cells: height / 2 row pairs of width / 2 cells, the
// cell's bottom samples one row of width samples below its top ones. After a row pair
// the walk moves on by 2 * (width / 2) samples plus one row: two rows for an even
// width, but one sample short of two rows for an odd width, so with an odd width each
// row pair starts one sample further left of its row than the pair before it. Both
// greens of a cell count into the green histogram. Even and odd cells count into two
// sets.
template <class S, uint32_t Bins, Pattern P>
void histogram_raw(const S *raw, int32_t width, int32_t height, uint32_t *red, uint32_t *green, uint32_t *blue,
                   [[maybe_unused]] const MemoryServices &memory) {
    clear<Bins>(red);
    clear<Bins>(green);
    clear<Bins>(blue);
    const int32_t pairs = height / 2, cells = width / 2;
    if (pairs < 1 || cells < 1) return;
    Sets<Bins, 2> r(red), g(green), b(blue);
    Sets<Bins, 2> *const by_colour[3] = {&b, &g, &r};  // indexed by Colour
    Sets<Bins, 2> &at0 = *by_colour[Mosaic<P>::at(0, 0)], &at1 = *by_colour[Mosaic<P>::at(0, 1)];
    Sets<Bins, 2> &at2 = *by_colour[Mosaic<P>::at(1, 0)], &at3 = *by_colour[Mosaic<P>::at(1, 1)];
    const size_t w = static_cast<size_t>(width);
    const size_t step = 2 * static_cast<size_t>(cells) + w;
    if constexpr (sizeof(S) == 1) {
        // Large 8-bit frames: each cell as two pairs, its top samples into one table
        // and its bottom samples into another.
        if (int64_t{pairs} * cells * 4 >= kPairsFrom) {
            PairTables<2> tables(memory);
            if (tables) {
                PairTable top_pairs = tables[0], bottom_pairs = tables[1];
                for (int32_t row_pair = 0; row_pair < pairs; ++row_pair) {
                    const S *top = raw + static_cast<size_t>(row_pair) * step;
                    const S *bottom = top + w;
                    int32_t k = 0;
                    for (; k + 2 <= cells; k += 2) {
                        // Two cells: four samples of each row, no further.
                        top_pairs.count_two(load_word(top + 2 * k));
                        bottom_pairs.count_two(load_word(bottom + 2 * k));
                    }
                    if (k < cells) {
                        top_pairs.count(top + 2 * k);
                        bottom_pairs.count(bottom + 2 * k);
                    }
                }
                top_pairs.fold(at0.caller, at1.caller);
                bottom_pairs.fold(at2.caller, at3.caller);
                return;
            }
        }
    }
    for (int32_t row_pair = 0; row_pair < pairs; ++row_pair) {
        const S *top = raw + static_cast<size_t>(row_pair) * step;
        const S *bottom = top + w;
        auto cell = [&](int32_t k, auto way) {
            constexpr int K = decltype(way)::value;
            count<S, Bins>(at0.template way<K>(), top[2 * k]);
            count<S, Bins>(at1.template way<K>(), top[2 * k + 1]);
            count<S, Bins>(at2.template way<K>(), bottom[2 * k]);
            count<S, Bins>(at3.template way<K>(), bottom[2 * k + 1]);
        };
        int32_t k = 0;
        for (; k + 1 < cells; k += 2) {
            cell(k, std::integral_constant<int, 0>{});
            cell(k + 1, std::integral_constant<int, 1>{});
        }
        if (k < cells) cell(k, std::integral_constant<int, 0>{});
    }
    r.finish();
    g.finish();
    b.finish();
}

// The members that take memory, for the tests.
template void histogram_run<uint8_t, 256>(const uint8_t *, int32_t, uint32_t *, const MemoryServices &);
template void histogram_image<uint8_t, 256, 3>(const uint8_t *, int32_t, uint32_t *, uint32_t *, uint32_t *,
                                               const MemoryServices &);
template void histogram_image<uint8_t, 256, 4>(const uint8_t *, int32_t, uint32_t *, uint32_t *, uint32_t *,
                                               const MemoryServices &);
#define KORVIMG_HISTOGRAM_RAW8(pat)                                                                        \
    template void histogram_raw<uint8_t, 256, Pattern::pat>(const uint8_t *, int32_t, int32_t, uint32_t *, \
                                                            uint32_t *, uint32_t *, const MemoryServices &);
KORVIMG_HISTOGRAM_RAW8(bggr)
KORVIMG_HISTOGRAM_RAW8(gbrg)
KORVIMG_HISTOGRAM_RAW8(grbg)
KORVIMG_HISTOGRAM_RAW8(rggb)
#undef KORVIMG_HISTOGRAM_RAW8

}  // namespace korvimg

extern "C" KORVIMG_API void KORVIMG_CALL histogram8(const uint8_t *samples, int32_t count, uint32_t *histogram) {
    korvimg::histogram_run<uint8_t, 256>(samples, count, histogram, korvimg::kLibraryMemory);
}
extern "C" KORVIMG_API void KORVIMG_CALL histogram10(const uint16_t *samples, int32_t count, uint32_t *histogram) {
    korvimg::histogram_run<uint16_t, 1024>(samples, count, histogram, korvimg::kLibraryMemory);
}
extern "C" KORVIMG_API void KORVIMG_CALL histogram12(const uint16_t *samples, int32_t count, uint32_t *histogram) {
    korvimg::histogram_run<uint16_t, 4096>(samples, count, histogram, korvimg::kLibraryMemory);
}

#define KORVIMG_HISTOGRAM_IMAGE(name, S, bins, channels)                                                   \
    extern "C" KORVIMG_API void KORVIMG_CALL name(const S *image, int32_t pixels, uint32_t *red,           \
                                                  uint32_t *green, uint32_t *blue) {                       \
        korvimg::histogram_image<S, bins, channels>(image, pixels, red, green, blue, korvimg::kLibraryMemory); \
    }
KORVIMG_HISTOGRAM_IMAGE(histogram8_24, uint8_t, 256, 3)
KORVIMG_HISTOGRAM_IMAGE(histogram8_32, uint8_t, 256, 4)
KORVIMG_HISTOGRAM_IMAGE(histogram10_48, uint16_t, 1024, 3)
KORVIMG_HISTOGRAM_IMAGE(histogram10_64, uint16_t, 1024, 4)
KORVIMG_HISTOGRAM_IMAGE(histogram12_48, uint16_t, 4096, 3)
KORVIMG_HISTOGRAM_IMAGE(histogram12_64, uint16_t, 4096, 4)

#define KORVIMG_HISTOGRAM_RAW(bits, S, bins, pat)                                                          \
    extern "C" KORVIMG_API void KORVIMG_CALL histogram##bits##pat(const S *raw, int32_t width,             \
                                                                  int32_t height, uint32_t *red,           \
                                                                  uint32_t *green, uint32_t *blue) {       \
        korvimg::histogram_raw<S, bins, korvimg::Pattern::pat>(raw, width, height, red, green, blue,       \
                                                               korvimg::kLibraryMemory);                   \
    }
#define KORVIMG_HISTOGRAM_RAW_DEPTH(bits, S, bins) \
    KORVIMG_HISTOGRAM_RAW(bits, S, bins, bggr)     \
    KORVIMG_HISTOGRAM_RAW(bits, S, bins, gbrg)     \
    KORVIMG_HISTOGRAM_RAW(bits, S, bins, grbg)     \
    KORVIMG_HISTOGRAM_RAW(bits, S, bins, rggb)
KORVIMG_HISTOGRAM_RAW_DEPTH(8, uint8_t, 256)
KORVIMG_HISTOGRAM_RAW_DEPTH(10, uint16_t, 1024)
KORVIMG_HISTOGRAM_RAW_DEPTH(12, uint16_t, 4096)
