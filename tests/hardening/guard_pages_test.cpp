// Every export called with buffers of exactly the size its contract implies, each
// placed against an inaccessible region: first ending where the region begins (a
// read or write past the end faults), then starting where one ends (an access before
// the start faults). The regions are mapped once and reused for every call, so the
// sweep over all sizes costs no system calls. A fault names the call and the buffer.
#include <gtest/gtest.h>

#include "hardening/contracts.h"

#if defined(__linux__)
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <cstdlib>

namespace {

constexpr size_t kGuardBytes = size_t(1) << 20;  // inaccessible on each side of a slot

class GuardArena final : public kh::Space {
  public:
    struct Filled {
        const uint8_t *at = nullptr;
        size_t bytes = 0, element = 0;
        uint32_t limit = 0;
        bool operator==(const Filled &o) const {
            return at == o.at && bytes == o.bytes && element == o.element && limit == o.limit;
        }
    };
    struct Slot {
        uint8_t *map = nullptr;
        size_t map_size = 0;
        uint8_t *data = nullptr;  // the accessible part, kGuardBytes into the mapping
        size_t cap = 0;
        uint8_t *placed = nullptr;  // the buffer last handed out from this slot
        size_t bytes = 0;
        Filled filled;  // what the slot holds as an input
    };

    ~GuardArena() override {
        release_context();
        for (auto &s : slots_) munmap(s.map, s.map_size);
    }
    // Starts a call: buffers against the region after their end, or before their start.
    void begin(bool before) {
        before_ = before;
        next_ = 0;
    }
    const std::vector<Slot> &slots() const { return slots_; }
    size_t used() const { return next_; }
    bool before() const { return before_; }

  protected:
    // An input is filled afresh unless its slot still holds an input of the same
    // place, size and kind from the call before (consecutive calls of one sweep on
    // one size share their inputs).
    void *input(size_t bytes, size_t element, uint32_t limit) override {
        Slot &s = place(bytes);
        const Filled f{s.placed, bytes, element, limit};
        if (!(s.filled == f)) {
            kh::fill(s.placed, bytes, element, limit, rng_);
            s.filled = f;
        }
        return s.placed;
    }
    void *output(size_t bytes) override {
        Slot &s = place(bytes);
        s.filled = {};
        return s.placed;
    }

  private:
    Slot &place(size_t bytes) {
        if (next_ == slots_.size()) slots_.emplace_back();
        Slot &s = slots_[next_++];
        if (s.cap < bytes) {
            if (s.map) munmap(s.map, s.map_size);
            s = make(bytes);
        }
        s.placed = before_ ? s.data : s.data + s.cap - bytes;
        s.bytes = bytes;
        return s;
    }
    static Slot make(size_t bytes) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        Slot s;
        s.cap = (std::max(bytes, size_t(256) << 10) + page - 1) / page * page;
        s.map_size = s.cap + 2 * kGuardBytes;
        void *m = mmap(nullptr, s.map_size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (m == MAP_FAILED) std::abort();
        s.map = static_cast<uint8_t *>(m);
        s.data = s.map + kGuardBytes;
        if (mprotect(s.data, s.cap, PROT_READ | PROT_WRITE) != 0) std::abort();
        return s;
    }

    std::vector<Slot> slots_;
    size_t next_ = 0;
    bool before_ = false;
    kh::Rng rng_{1};
};

// What the fault handler reports.
const GuardArena *g_arena = nullptr;
const char *g_name = nullptr;
kh::Args g_args;

void on_fault(int sig, siginfo_t *info, void *) {
    const auto *at = static_cast<const uint8_t *>(info->si_addr);
    std::fprintf(stderr, "\nguard region hit at %p during %s, buffers %s their region:\n", info->si_addr,
                 g_name ? kh::describe(g_name, g_args).c_str() : "(no call)",
                 g_arena && g_arena->before() ? "starting at" : "ending at");
    if (g_arena) {
        for (size_t i = 0; i < g_arena->slots().size(); ++i) {
            const auto &s = g_arena->slots()[i];
            if (at < s.map || at >= s.map + s.map_size) continue;
            if (i >= g_arena->used()) {
                std::fprintf(stderr, "  in the slot of a buffer this call did not ask for (#%zu)\n", i);
            } else if (at < s.placed) {
                std::fprintf(stderr, "  %zu bytes before buffer #%zu (%zu bytes)\n", size_t(s.placed - at), i, s.bytes);
            } else {
                std::fprintf(stderr, "  %zu bytes after the end of buffer #%zu (%zu bytes)\n",
                             size_t(at - (s.placed + s.bytes)), i, s.bytes);
            }
        }
    }
    std::fflush(stderr);
    signal(sig, SIG_DFL);
    raise(sig);
}

class GuardPages : public ::testing::Test {
  protected:
    void SetUp() override {
        struct sigaction sa {};
        sa.sa_sigaction = on_fault;
        sa.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &sa, &old_segv_);
        sigaction(SIGBUS, &sa, &old_bus_);
        g_arena = &arena_;
    }
    void TearDown() override {
        g_arena = nullptr;
        g_name = nullptr;
        sigaction(SIGSEGV, &old_segv_, nullptr);
        sigaction(SIGBUS, &old_bus_, nullptr);
    }
    // Every function of the families chosen, every argument of their full sweep, in
    // both placements. Returns the number of calls made.
    size_t sweep(bool demosaic) {
        struct Call {
            const kt::Export *e;
            const kh::Family *f;
            kh::Args a;
        };
        std::vector<Call> calls;
        for (const kt::Export *e : kh::functions()) {
            const kh::Family *f = kh::family_of(e->name);
            if (!f || f->demosaic != demosaic) continue;
            for (const kh::Args &a : f->args(e->name, kh::Sweep::full)) calls.push_back({e, f, a});
        }
        // Calls on the same sizes one after another, so that they share their inputs.
        std::stable_sort(calls.begin(), calls.end(), [](const Call &x, const Call &y) {
            return std::tie(x.a.w, x.a.h, x.a.variant) < std::tie(y.a.w, y.a.h, y.a.variant);
        });
        for (bool before : {false, true})
            for (const Call &c : calls) {
                g_name = c.e->name;
                g_args = c.a;
                arena_.begin(before);
                c.f->call(*c.e, c.a, arena_);
            }
        return calls.size();
    }
    GuardArena arena_;
    struct sigaction old_segv_ {}, old_bus_ {};
};

TEST(BufferContracts, EveryExportHasOne) {
    for (const auto &e : kt::exports()) EXPECT_NE(kh::family_of(e.name), nullptr) << e.name;
}

TEST_F(GuardPages, DemosaicExportsStayInsideTheirBuffers) { EXPECT_GT(sweep(true), 0u); }

TEST_F(GuardPages, FlatOperationsStayInsideTheirBuffers) { EXPECT_GT(sweep(false), 0u); }

// The harness itself: a read one byte past an output placed against its region faults.
TEST_F(GuardPages, AnAccessPastTheEndFaults) {
    EXPECT_DEATH(
        {
            arena_.begin(false);
            volatile uint8_t *p = arena_.out<uint8_t>(10);
            g_name = "deliberate overrun";
            (void)p[10];
        },
        "0 bytes after the end of buffer #0");
    EXPECT_DEATH(
        {
            arena_.begin(true);
            volatile uint16_t *p = arena_.out<uint16_t>(10);
            g_name = "deliberate underrun";
            (void)p[-1];
        },
        "2 bytes before buffer #0");
}

}  // namespace

#endif  // __linux__
