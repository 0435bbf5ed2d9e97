// Naive models of the tone tables: the brightness/contrast/gamma arithmetic step by
// step in float with the C library's pow, and the best-table merge as a plain scan
// over an array of intervals. The library is compared with them entry for entry.
#pragma once

#include <cstdint>
#include <vector>

namespace model {

// The three settings' table values, from the rules: 3^(s/127) and 4^(s/127) computed
// in double and rounded to float (4^(+-64/127) replaced by 2.0 and 0.5), s/254 in
// double rounded to float. s is clamped to -127..127 first.
float gamma_exponent(int32_t s);
float contrast_factor(int32_t s);
float brightness_shift(int32_t s);

// The table of `entries` values with output scale `scale` and largest output `limit`.
std::vector<uint32_t> bcg_table(int entries, int scale, int limit, int32_t brightness, int32_t contrast,
                                int32_t gamma);

// The greedy merge over `inputs` values down to `levels` intervals, from a histogram of
// inputs / spread bins (each count / spread given to each of its spread values).
std::vector<uint32_t> best_table(const std::vector<uint32_t> &histogram, int inputs, int levels, int spread);

}  // namespace model
