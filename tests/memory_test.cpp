#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/testkit.h"

namespace {

// The copy as defined: forward, one byte at a time, each byte read after every
// earlier byte was written. volatile keeps the compiler from turning it into a
// library copy with other overlap behaviour.
void forward_copy_model(unsigned char *dst, const unsigned char *src, uint32_t count) {
    volatile unsigned char *d = dst;
    const volatile unsigned char *s = src;
    for (uint32_t i = 0; i < count; ++i) d[i] = s[i];
}

TEST(Memory, CopyOfZeroTouchesNothing) {
    memory_copy(nullptr, nullptr, 0);
    unsigned char a[4] = {1, 2, 3, 4}, b[4] = {9, 9, 9, 9};
    memory_copy(b, a, 0);
    EXPECT_EQ(b[0], 9);
    EXPECT_EQ(b[3], 9);
}

TEST(Memory, CopyOneAboveSourceRepeatsTheFirstByte) {
    unsigned char buf[16];
    for (int i = 0; i < 16; ++i) buf[i] = static_cast<unsigned char>('A' + i);
    memory_copy(buf + 1, buf, 15);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(buf[i], 'A') << i;
}

TEST(Memory, CopyMatchesForwardByteCopyForEveryOverlap) {
    std::mt19937 rng(7);
    for (int trial = 0; trial < 4000; ++trial) {
        std::vector<unsigned char> a(300), b;
        for (auto &c : a) c = static_cast<unsigned char>(rng());
        b = a;
        const uint32_t src = rng() % 150, dst = rng() % 150, count = rng() % 150;
        memory_copy(a.data() + dst, a.data() + src, count);
        forward_copy_model(b.data() + dst, b.data() + src, count);
        ASSERT_EQ(a, b) << "src " << src << " dst " << dst << " count " << count;
    }
}

TEST(Memory, ZeroClearsExactlyCount) {
    unsigned char buf[5] = {1, 2, 3, 4, 5};
    memory_zero(buf, 3);
    EXPECT_EQ(buf[0], 0);
    EXPECT_EQ(buf[2], 0);
    EXPECT_EQ(buf[3], 4);
    EXPECT_EQ(buf[4], 5);
    memory_zero(nullptr, 0);
}

TEST(Memory, AllocGivesUsableBlocksAndFreeReturnsNull) {
    for (uint32_t size : {1u, 3u, 4096u, 1u << 20, 64u << 20}) {
        auto *p = static_cast<unsigned char *>(memory_alloc(size));
        ASSERT_NE(p, nullptr) << size;
        p[0] = 1;
        p[size - 1] = 2;
        EXPECT_EQ(memory_free(p), nullptr);
    }
    // Freeing null is no error: nothing to release, and the result is null too.
    EXPECT_EQ(memory_free(nullptr), nullptr);
}

}  // namespace
