// Shared test support: the export table as data, the demosaic members found in it,
// guarded output buffers, and frame generators.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "korvimg.h"

namespace kt {

// ---- the export table ---------------------------------------------------------------
using AnyFunction = void (*)();
// The address a function pointer holds, read back at run time. Names bound to one
// function give the same value here; comparing the pointers themselves may be decided
// by the compiler, which takes two declared functions for two functions.
template <class F>
uintptr_t address_of(F *f) {
    volatile uintptr_t a = reinterpret_cast<uintptr_t>(f);
    return a;
}
struct Export {
    const char *name;
    int bytes;            // argument bytes of the stdcall decorated name
    const char *target;   // the function this name is bound to (itself unless an alias)
    AnyFunction address;  // the address this program resolved the name to
};
const std::vector<Export> &exports();
const Export *find_export(const std::string &name);

// ---- demosaic members ---------------------------------------------------------------
enum Method { kMono = 0, kBayer, kNearest, kSimple, kBilinear, kAdaptive, kLaplacian, kPreview };
extern const char *const kMethodNames[8];   // by method code
extern const char *const kPatternNames[4];  // by pattern code: rggb, grbg, gbrg, bggr
int pattern_code(const std::string &name);  // -1 when unknown
int method_code(const std::string &name);   // -1 when unknown

using Demosaic8 = uint32_t(KORVIMG_CALL *)(const uint8_t *, int32_t, int32_t, uint8_t *);
using Demosaic16 = uint32_t(KORVIMG_CALL *)(const uint16_t *, int32_t, int32_t, uint16_t *);

struct Member {
    std::string name;
    int method;
    int depth;    // 24, 32, 48, 64
    int pattern;  // pattern code
    AnyFunction fn;
    int channels() const { return depth == 24 || depth == 48 ? 3 : 4; }
    int sample_bytes() const { return depth <= 32 ? 1 : 2; }
    // Calls the member on raw bytes (source) into destination.
    uint32_t call(const void *source, int32_t width, int32_t height, void *destination) const;
};
// Every demosaic export of the table (method, depth and pattern joined).
std::vector<Member> demosaic_members();
const Member &member(const std::string &name);

// ---- buffers ------------------------------------------------------------------------
constexpr size_t kGuard = 64;

// size bytes of room followed by kGuard guard bytes, all filled with a pattern drawn
// from the seed, so a write anywhere shows.
class Guarded {
  public:
    Guarded(size_t size, uint32_t seed);
    uint8_t *data() { return mem_.data(); }
    const uint8_t *data() const { return mem_.data(); }
    size_t size() const { return size_; }
    bool guard_intact() const;
    bool untouched() const;  // nothing at all written
    // Channel value k of the buffer read as bytes or as 16-bit words.
    uint32_t value(size_t k, int sample_bytes) const;

  private:
    size_t size_;
    std::vector<uint8_t> mem_, original_;
};

// Samples as bytes (bits <= 8) or 16-bit words.
std::vector<uint8_t> pack(const std::vector<uint32_t> &samples, int sample_bytes);

// Random and structured raw frames. kind 0: uniform random; 1: only 0 and maxv;
// 2: horizontal stripes; 3: vertical stripes; 4: flat; 5: checkerboard of 0/maxv;
// 6: smooth gradient with noise; 7: a single nonzero sample.
constexpr int kFrameKinds = 8;
std::vector<uint32_t> make_frame(int kind, int32_t width, int32_t height, uint32_t maxv, std::mt19937 &rng);

}  // namespace kt
