#include "support/testkit.h"

#include <algorithm>
#include <stdexcept>

namespace kt {

// The table as this program sees it: every name resolved by the linker, aliases
// included (they are made as second symbols of their targets, as in the library).
const std::vector<Export> &exports() {
    static const std::vector<Export> table = {
#define KORVIMG_EXPORT(name, bytes, target) \
    {#name, bytes, #target, reinterpret_cast<AnyFunction>(&name)},
#include "export_table.inc"
#undef KORVIMG_EXPORT
    };
    return table;
}

const Export *find_export(const std::string &name) {
    for (const auto &e : exports())
        if (name == e.name) return &e;
    return nullptr;
}

const char *const kMethodNames[8] = {"mono", "bayer", "nearest", "simple", "bilinear", "adaptive", "laplacian", "preview"};
const char *const kPatternNames[4] = {"rggb", "grbg", "gbrg", "bggr"};

int pattern_code(const std::string &name) {
    for (int i = 0; i < 4; ++i)
        if (name == kPatternNames[i]) return i;
    return -1;
}
int method_code(const std::string &name) {
    for (int i = 0; i < 8; ++i)
        if (name == kMethodNames[i]) return i;
    return -1;
}

uint32_t Member::call(const void *source, int32_t width, int32_t height, void *destination) const {
    if (sample_bytes() == 1)
        return reinterpret_cast<Demosaic8>(fn)(static_cast<const uint8_t *>(source), width, height,
                                               static_cast<uint8_t *>(destination));
    return reinterpret_cast<Demosaic16>(fn)(static_cast<const uint16_t *>(source), width, height,
                                            static_cast<uint16_t *>(destination));
}

std::vector<Member> demosaic_members() {
    std::vector<Member> out;
    for (const auto &e : exports()) {
        const std::string n = e.name;
        if (n.size() < 7) continue;
        const std::string pat = n.substr(n.size() - 4);
        const std::string depth = n.substr(n.size() - 6, 2);
        const std::string method = n.substr(0, n.size() - 6);
        const int m = method_code(method), p = pattern_code(pat);
        if (m < 0 || p < 0 || (depth != "24" && depth != "32" && depth != "48" && depth != "64")) continue;
        out.push_back(Member{n, m, std::stoi(depth), p, e.address});
    }
    return out;
}

const Member &member(const std::string &name) {
    static const std::vector<Member> all = demosaic_members();
    for (const auto &m : all)
        if (m.name == name) return m;
    throw std::runtime_error("no demosaic export " + name);
}

Guarded::Guarded(size_t size, uint32_t seed) : size_(size), mem_(size + kGuard) {
    std::mt19937 rng(seed);
    for (auto &b : mem_) b = static_cast<uint8_t>(rng() | 1u);  // never 0: a written 0 shows
    original_ = mem_;
}

bool Guarded::guard_intact() const {
    return std::equal(mem_.begin() + static_cast<std::ptrdiff_t>(size_), mem_.end(),
                      original_.begin() + static_cast<std::ptrdiff_t>(size_));
}

bool Guarded::untouched() const { return mem_ == original_; }

uint32_t Guarded::value(size_t k, int sample_bytes) const {
    if (sample_bytes == 1) return mem_[k];
    uint16_t v;
    std::memcpy(&v, mem_.data() + 2 * k, 2);
    return v;
}

std::vector<uint8_t> pack(const std::vector<uint32_t> &samples, int sample_bytes) {
    std::vector<uint8_t> out(samples.size() * static_cast<size_t>(sample_bytes) + 1);
    for (size_t i = 0; i < samples.size(); ++i) {
        if (sample_bytes == 1) {
            out[i] = static_cast<uint8_t>(samples[i]);
        } else {
            const uint16_t v = static_cast<uint16_t>(samples[i]);
            std::memcpy(out.data() + 2 * i, &v, 2);
        }
    }
    out.resize(samples.size() * static_cast<size_t>(sample_bytes));
    return out;
}

std::vector<uint32_t> make_frame(int kind, int32_t width, int32_t height, uint32_t maxv, std::mt19937 &rng) {
    const size_t w = width > 0 ? static_cast<size_t>(width) : 0;
    const size_t h = height > 0 ? static_cast<size_t>(height) : 0;
    std::vector<uint32_t> f(w * h);
    std::uniform_int_distribution<uint32_t> any(0, maxv);
    const uint32_t a = any(rng), b = any(rng);
    const size_t spot = f.empty() ? 0 : rng() % f.size();
    for (size_t y = 0; y < h; ++y) {
        for (size_t x = 0; x < w; ++x) {
            uint32_t v = 0;
            switch (kind) {
                case 0: v = any(rng); break;
                case 1: v = (rng() & 1) ? maxv : 0; break;
                case 2: v = (y % 3 == 0) ? a : (y % 3 == 1 ? b : maxv - a); break;
                case 3: v = (x % 3 == 0) ? a : (x % 3 == 1 ? b : maxv - a); break;
                case 4: v = a; break;
                case 5: v = ((x + y) & 1) ? maxv : 0; break;
                case 6: {
                    const double g = (static_cast<double>(x) / (w + 1) + static_cast<double>(y) / (h + 1)) / 2;
                    const int64_t n = static_cast<int64_t>(g * maxv) + static_cast<int64_t>(rng() % 9) - 4;
                    v = static_cast<uint32_t>(std::clamp<int64_t>(n, 0, maxv));
                    break;
                }
                default: v = (y * w + x == spot) ? (a | 1u) : 0; break;
            }
            f[y * w + x] = v;
        }
    }
    return f;
}

}  // namespace kt
