// Best lookup tables: the input range cut into as many contiguous intervals as there
// are output levels by repeatedly merging the adjacent pair of intervals with the
// smallest combined count, the leftmost pair on ties.
//
// Instead of scanning every pair for each merge, the pair sums sit in a tournament
// tree over the pairs' left intervals. An interval is known by its first input value,
// which it keeps through merges, so list order is the order of these keys and "the
// leftmost pair" is the pair whose left interval has the smallest first value. A leaf
// holds (sum << 32 | first value), so the smallest leaf is the smallest sum and, among
// equal sums, the leftmost pair: exactly the pair the plain scan would pick. A merge
// changes three leaves (the pair before, the merged pair's, and the swallowed
// interval's, which leaves), each updated in log N steps.
#include <cstdint>
#include <new>

#include "korvimg.h"
#include "tone/tone.h"

namespace korvimg {
namespace {

constexpr uint64_t kNoPair = ~uint64_t{0};

// Working array: one record per interval (count, first and last input value), indexed
// by the first value, the list links and the tournament tree.
template <uint32_t N>
struct Work {
    static_assert((N & (N - 1)) == 0, "the tree assumes a power-of-two input range");
    static constexpr uint32_t kNone = N;
    struct Segment {
        uint32_t count, first, last;
    };
    Segment seg[N];
    uint32_t next[N], prev[N];
    uint64_t tree[2 * N];  // tree[1] is the root; leaf of the pair starting at j: tree[N + j]

    uint64_t pair_key(uint32_t j) const {
        const uint32_t r = next[j];
        if (r == kNone) return kNoPair;
        const uint32_t sum = seg[j].count + seg[r].count;  // unsigned, wraps
        return (static_cast<uint64_t>(sum) << 32) | j;
    }
    // Sets the leaf of the pair starting at j and the minima above it. The new minimum
    // is carried up in a register and met with each sibling, whose addresses do not
    // depend on one another, so the loads of a path overlap.
    void update(uint32_t j) {
        uint32_t node = N + j;
        uint64_t m = pair_key(j);
        tree[node] = m;
        for (; node > 1; node >>= 1) {
            const uint64_t sibling = tree[node ^ 1];
            m = sibling < m ? sibling : m;
            tree[node >> 1] = m;
        }
    }
};

}  // namespace

template <class Out, uint32_t N, uint32_t L, uint32_t F>
uint32_t best_table(const uint32_t *histogram, Out *table, const MemoryServices &memory) {
    static_assert(L < N && N % F == 0, "fewer levels than inputs; whole bins");
    using W = Work<N>;
    void *block = memory.alloc(static_cast<uint32_t>(sizeof(W)));
    if (block == nullptr) return 0;
    W &w = *new (block) W;

    for (uint32_t i = 0; i < N; ++i) {
        w.seg[i] = {histogram[i / F] / F, i, i};
        w.next[i] = i + 1;  // N for the last: none
        w.prev[i] = i == 0 ? W::kNone : i - 1;
    }
    for (uint32_t j = 0; j < N; ++j) w.tree[N + j] = w.pair_key(j);
    for (uint32_t node = N - 1; node >= 1; --node) {
        const uint64_t a = w.tree[2 * node], b = w.tree[2 * node + 1];
        w.tree[node] = a < b ? a : b;
    }

    for (uint32_t segments = N; segments > L; --segments) {
        const auto j = static_cast<uint32_t>(w.tree[1] & 0xffffffffu);
        const uint32_t r = w.next[j];
        w.seg[j].count += w.seg[r].count;
        w.seg[j].last = w.seg[r].last;
        w.next[j] = w.next[r];
        if (w.next[r] != W::kNone) w.prev[w.next[r]] = j;
        w.next[r] = W::kNone;  // r is gone: its leaf holds no pair
        w.update(r);
        w.update(j);
        if (w.prev[j] != W::kNone) w.update(w.prev[j]);
    }

    uint32_t level = 0;
    for (uint32_t j = 0; j != W::kNone; j = w.next[j], ++level)
        for (uint32_t v = w.seg[j].first; v <= w.seg[j].last; ++v) table[v] = static_cast<Out>(level);

    w.~W();
    memory.release(block);
    return 1;
}

template uint32_t best_table<uint8_t, 1024, 256, 1>(const uint32_t *, uint8_t *, const MemoryServices &);
template uint32_t best_table<uint8_t, 4096, 256, 1>(const uint32_t *, uint8_t *, const MemoryServices &);
template uint32_t best_table<uint16_t, 4096, 1024, 1>(const uint32_t *, uint16_t *, const MemoryServices &);
template uint32_t best_table<uint16_t, 4096, 1024, 4>(const uint32_t *, uint16_t *, const MemoryServices &);
template uint32_t best_table<uint8_t, 1024, 256, 4>(const uint32_t *, uint8_t *, const MemoryServices &);
template uint32_t best_table<uint8_t, 4096, 256, 16>(const uint32_t *, uint8_t *, const MemoryServices &);

}  // namespace korvimg

#define KORVIMG_BEST(name, Out, n, l, f)                                                         \
    extern "C" KORVIMG_API uint32_t KORVIMG_CALL name(const uint32_t *histogram, Out *table) {     \
        return ::korvimg::best_table<Out, n, l, f>(histogram, table, ::korvimg::kLibraryMemory); \
    }
KORVIMG_BEST(best_lookup_table10to8, uint8_t, 1024, 256, 1)
KORVIMG_BEST(best_lookup_table12to8, uint8_t, 4096, 256, 1)
KORVIMG_BEST(best_lookup_table12to10, uint16_t, 4096, 1024, 1)
KORVIMG_BEST(best_lookup_table10from12, uint16_t, 4096, 1024, 4)
KORVIMG_BEST(best_lookup_table8from10, uint8_t, 1024, 256, 4)
KORVIMG_BEST(best_lookup_table8from12, uint8_t, 4096, 256, 16)
