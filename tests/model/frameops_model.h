// Naive models of the frame arithmetic, the row spike filter and the histograms,
// written straight from their rules: values held in plain vectors, one sample at a
// time, no blocks, no reciprocals, no second sets of bins.
#pragma once

#include <cstdint>
#include <vector>

namespace model {

// ---- frame arithmetic (accumulator and frames as values; bits 8 or 16) ----------------
void frame_add(std::vector<uint32_t> &acc, const std::vector<uint32_t> &frame, int32_t count);
void frame_add_sub(std::vector<uint32_t> &acc, const std::vector<uint32_t> &add, const std::vector<uint32_t> &sub,
                   int32_t count);
// Returns the destination values (count of them, none for a count below 1).
std::vector<uint32_t> frame_avg(const std::vector<uint32_t> &acc, int32_t count, uint32_t divisor, int bits);

// ---- row spike filter -----------------------------------------------------------------
// The frame as the bytes the library sees (samples of sample_bytes bytes, 16-bit ones
// little-endian), filtered in place with a whole-row buffer and a byte-wise forward
// copy of `width` bytes back over each row.
void median_filter(std::vector<uint8_t> &frame, int sample_bytes, int32_t width, int32_t height, uint32_t mosaic);

// ---- histograms -------------------------------------------------------------------------
// Values beyond the last bin count in the last bin.
struct Histograms {
    std::vector<uint32_t> red, green, blue;
};
std::vector<uint32_t> histogram(const std::vector<uint32_t> &samples, int32_t count, uint32_t bins);
Histograms histogram_image(const std::vector<uint32_t> &image, int32_t pixels, int channels, uint32_t bins);
// pattern code: 0 rggb, 1 grbg, 2 gbrg, 3 bggr.
Histograms histogram_raw(const std::vector<uint32_t> &raw, int32_t width, int32_t height, int pattern, uint32_t bins);

}  // namespace model
