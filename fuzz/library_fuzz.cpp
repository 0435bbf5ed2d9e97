// libFuzzer harness over the library's exports, driven by the buffer contracts of
// tests/hardening: the input chooses a function and one of its contract's argument
// sets, may replace the sizes (frame width and height, or the count), and supplies
// the data. Every buffer is allocated with exactly the size the contract implies, so
// AddressSanitizer reports any access beyond it. Built twice: for the demosaic
// members and dispatchers (KORVIMG_FUZZ_DEMOSAIC=1) and for everything else.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "hardening/contracts.h"

namespace {

// Reads the fuzzer's bytes front to back; past the end everything is 0.
struct Input {
    const uint8_t *p;
    size_t n;
    uint32_t byte() { return n ? (--n, *p++) : 0u; }
    uint32_t u16() { return byte() | byte() << 8; }
};

// Sizes: mostly small (-6..73), sometimes one of the values where sizes wrap, turn
// negative or pass a store's length.
int32_t size_from(uint32_t b) {
    static const int32_t special[16] = {INT32_MIN, INT32_MAX, -65536, -65537, 65536, 65537, 46341, -46341,
                                        8191,      8192,      8193,   16385,  1,      2,     3,     65535};
    return b < 240 ? static_cast<int32_t>(b % 80) - 6 : special[b - 240];
}

// Calls whose buffers would pass this are skipped: they cost time and find nothing
// that smaller ones do not.
constexpr size_t kMaxBuffer = size_t(1) << 20;

struct TooBig {};

// Exact-size heap buffers; inputs are filled from the fuzzer's data.
class FuzzSpace final : public kh::Space {
  public:
    ~FuzzSpace() override { release_context(); }
    void begin(Input data) { data_ = data; }
    // Frees the call's buffers (so that libFuzzer sees no memory kept between runs).
    void end() { buffers_.clear(); }
    // memory_alloc is asked for blocks of a buffer's size at most: a block of 2 GiB,
    // written and freed, took 10 s per run under ASan and found nothing new.
    size_t largest_block() const override { return kMaxBuffer; }

  protected:
    void *input(size_t bytes, size_t element, uint32_t limit) override {
        auto *p = static_cast<uint8_t *>(output(bytes));
        if (!data_.n) {
            kh::Rng rng(bytes);
            kh::fill(p, bytes, element, limit, rng);
            return p;
        }
        // The data, repeated as often as needed, each element reduced below limit.
        for (size_t done = 0; done < bytes; done += data_.n) std::memcpy(p + done, data_.p, std::min(data_.n, bytes - done));
        if (limit) {
            for (size_t i = 0; i < bytes / element; ++i) {
                uint32_t v = 0;
                std::memcpy(&v, p + i * element, element);
                v %= limit;
                std::memcpy(p + i * element, &v, element);
            }
        }
        return p;
    }
    void *output(size_t bytes) override {
        if (bytes > kMaxBuffer) throw TooBig{};
        buffers_.emplace_back(static_cast<uint8_t *>(std::malloc(bytes ? bytes : 1)));
        if (!buffers_.back()) throw TooBig{};
        std::memset(buffers_.back().get(), 0xBE, bytes);
        return buffers_.back().get();
    }

  private:
    struct Free {
        void operator()(uint8_t *p) const { std::free(p); }
    };
    std::vector<std::unique_ptr<uint8_t, Free>> buffers_;
    Input data_{nullptr, 0};
};

struct Target {
    const kt::Export *e;
    const kh::Family *family;
    std::vector<kh::Args> args;
};

const std::vector<Target> &targets() {
    static const std::vector<Target> all = [] {
        std::vector<Target> t;
        for (const kt::Export *e : kh::functions())
            if (const kh::Family *f = kh::family_of(e->name))
                if (f->fuzz && f->demosaic == (KORVIMG_FUZZ_DEMOSAIC != 0))
                    t.push_back({e, f, f->args(e->name, kh::Sweep::full)});
        return t;
    }();
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const auto &all = targets();  // first, so that the export table outlives the space
    static FuzzSpace space;       // one colour-correction context for the whole run
    if (all.empty()) return 0;
    Input in{data, size};
    // A slow function (the quadratic best tables) gets one turn in 16 of its own.
    size_t pick = in.byte() % all.size();
    if (all[pick].family->slow && in.byte() % 16 != 0)
        while (all[pick].family->slow) pick = (pick + 1) % all.size();
    const Target &t = all[pick];
    kh::Args a = t.args[in.u16() % t.args.size()];
    // The sizes of an ordinary data case may be replaced (the other cases tie their
    // buffers to their own sizes).
    const uint32_t w = in.byte(), h = in.byte();
    if (a.variant == 0 && (w | h) != 0) {
        a.w = size_from(w);
        a.h = size_from(h);
    }
    space.begin(in);
    try {
        t.family->call(*t.e, a, space);
    } catch (const TooBig &) {
    }
    space.end();
    return 0;
}
