#include "model/tone_model.h"

#include <algorithm>
#include <cmath>

namespace model {
namespace {
int32_t clamp127(int32_t s) { return std::min(127, std::max(-127, s)); }
}  // namespace

float gamma_exponent(int32_t s) { return static_cast<float>(std::pow(3.0, clamp127(s) / 127.0)); }

float contrast_factor(int32_t s) {
    s = clamp127(s);
    if (s == 64) return 2.0f;
    if (s == -64) return 0.5f;
    return static_cast<float>(std::pow(4.0, s / 127.0));
}

float brightness_shift(int32_t s) { return static_cast<float>(clamp127(s) / 254.0); }

std::vector<uint32_t> bcg_table(int entries, int scale, int limit, int32_t brightness, int32_t contrast,
                                int32_t gamma) {
    const float g = gamma_exponent(gamma), c = contrast_factor(contrast), b = brightness_shift(brightness);
    const float n = static_cast<float>(entries);
    std::vector<uint32_t> out;
    for (int i = 0; i < entries; ++i) {
        // One float operation per line, as the rule is written.
        float x = static_cast<float>(i) * (1.0f / n);
        x = x + 1.0f / (2.0f * n);
        if (clamp127(gamma) != 0) x = static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(g)));
        float y = x - 0.5f;
        y = y * c;
        y = y + 0.5f;
        y = y + b;
        y = y * static_cast<float>(scale);
        long v = std::lround(std::trunc(y));
        if (v < 0) v = 0;
        if (v > limit) v = limit;
        out.push_back(static_cast<uint32_t>(v));
    }
    return out;
}

std::vector<uint32_t> best_table(const std::vector<uint32_t> &histogram, int inputs, int levels, int spread) {
    struct Segment {
        uint32_t count, first, last;
    };
    std::vector<Segment> seg;
    for (int i = 0; i < inputs; ++i)
        seg.push_back({histogram[static_cast<size_t>(i / spread)] / static_cast<uint32_t>(spread),
                       static_cast<uint32_t>(i), static_cast<uint32_t>(i)});
    while (static_cast<int>(seg.size()) > levels) {
        size_t best = 0;
        uint32_t best_sum = seg[0].count + seg[1].count;
        for (size_t j = 1; j + 1 < seg.size(); ++j) {
            const uint32_t sum = seg[j].count + seg[j + 1].count;
            if (sum < best_sum) {
                best_sum = sum;
                best = j;
            }
        }
        seg[best].count += seg[best + 1].count;
        seg[best].last = seg[best + 1].last;
        for (size_t j = best + 1; j + 1 < seg.size(); ++j) seg[j] = seg[j + 1];
        seg.pop_back();
    }
    std::vector<uint32_t> table(static_cast<size_t>(inputs), ~0u);
    for (size_t k = 0; k < seg.size(); ++k)
        for (uint32_t v = seg[k].first; v <= seg[k].last; ++v) table[v] = static_cast<uint32_t>(k);
    return table;
}

}  // namespace model
