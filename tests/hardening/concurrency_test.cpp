// Eight threads call every export at once, each on buffers of its own (and with a
// colour-correction context of its own), and every call's buffers must come out as
// in a single-threaded run of the same call. Built on its own under ThreadSanitizer
// (the tsan preset), where any shared state the library wrote would be reported.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "hardening/contracts.h"

namespace {

// Heap blocks of exactly the size asked for (so that memcheck and AddressSanitizer
// see any access beyond them): inputs filled from the call's seed, outputs preset to
// one byte, so that a call's whole effect is the contents of its buffers.
class HeapSpace final : public kh::Space {
  public:
    ~HeapSpace() override { release_context(); }
    void begin(uint64_t seed) {
        rng_ = kh::Rng(seed);
        buffers_.clear();
    }
    std::vector<uint8_t> contents() const {
        std::vector<uint8_t> all;
        for (const auto &b : buffers_) all.insert(all.end(), b.data.get(), b.data.get() + b.size);
        return all;
    }

  protected:
    void *input(size_t bytes, size_t element, uint32_t limit) override {
        void *p = output(bytes);
        kh::fill(p, bytes, element, limit, rng_);
        return p;
    }
    void *output(size_t bytes) override {
        buffers_.push_back({std::unique_ptr<uint8_t[]>(new uint8_t[bytes]), bytes});  // new[0] is not null
        std::memset(buffers_.back().data.get(), 0xA5, bytes);
        return buffers_.back().data.get();
    }

  private:
    struct Block {
        std::unique_ptr<uint8_t[]> data;
        size_t size;
    };
    std::vector<Block> buffers_;
    kh::Rng rng_{0};
};

struct Case {
    const kt::Export *e;
    const kh::Family *family;
    kh::Args args;
};

std::vector<Case> all_cases() {
    std::vector<Case> out;
    for (const kt::Export *e : kh::functions())
        if (const kh::Family *f = kh::family_of(e->name))
            for (const kh::Args &a : f->args(e->name, kh::Sweep::one)) out.push_back({e, f, a});
    return out;
}

std::vector<uint8_t> run(const Case &c, size_t index, HeapSpace &space) {
    space.begin(index + 1);
    c.family->call(*c.e, c.args, space);
    return space.contents();
}

// Every export once on ordinary data, one thread, exact heap blocks: the run the
// memcheck test gives to valgrind, and the reference of the threaded run below.
TEST(Contracts, EveryExportOnOrdinaryDataInExactBlocks) {
    const std::vector<Case> cases = all_cases();
    ASSERT_FALSE(cases.empty());
    HeapSpace space;
    for (size_t i = 0; i < cases.size(); ++i) {
        // The same call twice on the same data gives the same buffers.
        const auto first = run(cases[i], i, space);
        EXPECT_EQ(run(cases[i], i, space), first) << kh::describe(cases[i].e->name, cases[i].args);
    }
}

TEST(Concurrency, EightThreadsOnEveryExportMatchSingleThreadedRuns) {
    const std::vector<Case> cases = all_cases();
    ASSERT_FALSE(cases.empty());
    std::vector<std::vector<uint8_t>> expected;
    {
        HeapSpace space;
        for (size_t i = 0; i < cases.size(); ++i) expected.push_back(run(cases[i], i, space));
    }

    constexpr int kThreads = 8;
    std::atomic<int> ready{0};
    std::mutex lock;
    std::vector<std::string> mismatches;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            HeapSpace space;
            ++ready;
            while (ready.load() < kThreads) std::this_thread::yield();
            // Each thread starts at another place in the list, so that different
            // families run at the same time as well as the same ones.
            const size_t start = cases.size() * static_cast<size_t>(t) / kThreads;
            for (size_t k = 0; k < cases.size(); ++k) {
                const size_t i = (start + k) % cases.size();
                if (run(cases[i], i, space) != expected[i]) {
                    std::lock_guard<std::mutex> g(lock);
                    mismatches.push_back(kh::describe(cases[i].e->name, cases[i].args) + " on thread " +
                                         std::to_string(t));
                }
            }
        });
    }
    for (auto &th : threads) th.join();
    for (const auto &m : mismatches) ADD_FAILURE() << "differs from the single-threaded run: " << m;
}

}  // namespace
