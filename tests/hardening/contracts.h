// The buffer contract of every export, as data. For each family of exports: which
// arguments to try, and for a call with those arguments the exact buffers the
// contract implies (a raw frame of width x height samples, an image of so many
// pixels, a 1024-bin histogram ...). The guard-page test, the concurrency test and
// the fuzzers all call the library through this table, so covering a family that
// lands later is one entry in contracts.cpp.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "korvimg.h"
#include "support/testkit.h"

namespace kh {

// The arguments of one call that vary. Frame families use w and h; flat operations
// use w as their count; a, b and c are codes, flags, divisors or settings; variant
// picks a data case of the family (for example inputs that hold every 16-bit value,
// or null pointers where the function tests them).
struct Args {
    int32_t w = 0, h = 0;
    uint32_t a = 0, b = 0;
    int32_t c = 0;
    int variant = 0;
};
std::string describe(const std::string &name, const Args &args);

// Where the buffers of a call come from. A family asks for its buffers in a fixed
// order, each of exactly the size the contract implies, then calls the export.
class Space {
  public:
    virtual ~Space() = default;
    // count elements of T, filled with values below limit (0: any value of T).
    template <class T> T *in(size_t count, uint32_t limit = 0) {
        return static_cast<T *>(input(count * sizeof(T), sizeof(T), limit));
    }
    // count elements of T whose contents the call may overwrite.
    template <class T> T *out(size_t count) { return static_cast<T *>(output(count * sizeof(T))); }
    // count 16-bit words holding every 16-bit value (count must be 65536).
    uint16_t *every16();
    // A colour-correction context of this space's own (made on first use and
    // released with the space); null while that family has not landed.
    ColorCorrectionContext *context();
    // Releases the context; spaces call it from their destructors.
    void release_context();
    // The largest block, in bytes, that this space asks memory_alloc for.
    virtual size_t largest_block() const { return SIZE_MAX; }

  protected:
    virtual void *input(size_t bytes, size_t element, uint32_t limit) = 0;
    virtual void *output(size_t bytes) = 0;

  private:
    ColorCorrectionContext *context_ = nullptr;
};

// How many arguments a family offers.
enum class Sweep {
    full,  // the whole grid of sizes and counts (guard pages)
    one,   // a few ordinary calls (concurrency)
};

struct Family {
    const char *label;
    bool demosaic;  // demosaic members and dispatchers (the rest are "flat" operations)
    bool (*matches)(const std::string &name);
    std::vector<Args> (*args)(const std::string &name, Sweep sweep);
    void (*call)(const kt::Export &e, const Args &args, Space &space);
    bool slow = false;  // a call costs milliseconds (fuzzers choose it less often)
    bool fuzz = true;   // false: no data to vary, and too slow to call often (fuzzers leave it out)
};
const std::vector<Family> &families();
// The family of an exported name, or null when none describes it.
const Family *family_of(const std::string &name);

// The functions of the export table (one entry per function, aliases left out).
std::vector<const kt::Export *> functions();

// A fast deterministic generator for buffer contents.
struct Rng {
    uint64_t s;
    explicit Rng(uint64_t seed) : s(seed * 0x9E3779B97F4A7C15ull + 0x632BE59BD9B4E019ull) {}
    uint64_t next() {
        s ^= s << 13;
        s ^= s >> 7;
        s ^= s << 17;
        return s;
    }
};
// Fills bytes with elements of the given size, each below limit (0: any value).
void fill(void *p, size_t bytes, size_t element, uint32_t limit, Rng &rng);

}  // namespace kh
