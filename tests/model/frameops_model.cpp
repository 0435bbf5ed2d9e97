#include "model/frameops_model.h"

#include <algorithm>

#include "model/demosaic_model.h"

namespace model {

void frame_add(std::vector<uint32_t> &acc, const std::vector<uint32_t> &frame, int32_t count) {
    for (int32_t i = 0; i < count; ++i) acc[i] = static_cast<uint32_t>((uint64_t{acc[i]} + frame[i]) % (uint64_t{1} << 32));
}

void frame_add_sub(std::vector<uint32_t> &acc, const std::vector<uint32_t> &add, const std::vector<uint32_t> &sub,
                   int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        const int64_t v = int64_t{acc[i]} + add[i] - sub[i];
        acc[i] = static_cast<uint32_t>(((v % 4294967296LL) + 4294967296LL) % 4294967296LL);
    }
}

std::vector<uint32_t> frame_avg(const std::vector<uint32_t> &acc, int32_t count, uint32_t divisor, int bits) {
    std::vector<uint32_t> out;
    for (int32_t i = 0; i < count; ++i) out.push_back((acc[i] / divisor) % (1u << bits));
    return out;
}

namespace {
int64_t sample(const std::vector<uint8_t> &frame, size_t index, int sample_bytes) {
    if (sample_bytes == 1) return frame[index];
    return frame[2 * index] + 256 * frame[2 * index + 1];
}
}  // namespace

void median_filter(std::vector<uint8_t> &frame, int sample_bytes, int32_t width, int32_t height, uint32_t mosaic) {
    if (height < 1 || width < 1) return;
    const int64_t d = mosaic != 0 ? 2 : 1;
    for (int64_t y = 0; y < height; ++y) {
        const size_t row = static_cast<size_t>(y * width);
        auto at = [&](int64_t x) { return sample(frame, row + static_cast<size_t>(x), sample_bytes); };
        std::vector<uint8_t> buffer;  // the filtered row, little-endian
        for (int64_t x = 0; x < width; ++x) {
            const int64_t c = at(x);
            int64_t o = c;
            if (!(x < 2 * d || x > width - 1 - 2 * d)) {
                const int64_t a = at(x - d), b = at(x + d);
                const int64_t el = 2 * a - at(x - 2 * d), er = 2 * b - at(x + 2 * d);
                const int64_t hi = std::max({a, b, el, er}), lo = std::min({a, b, el, er});
                if (lo == hi) o = c;
                else if (c < lo) o = lo;
                else if (c > hi) o = hi;
            }
            buffer.push_back(static_cast<uint8_t>(o % 256));
            if (sample_bytes == 2) buffer.push_back(static_cast<uint8_t>(o / 256));
        }
        // The copy back: width bytes, forward, one at a time.
        for (int64_t i = 0; i < width; ++i) frame[row * sample_bytes + static_cast<size_t>(i)] = buffer[static_cast<size_t>(i)];
    }
}

std::vector<uint32_t> histogram(const std::vector<uint32_t> &samples, int32_t count, uint32_t bins) {
    std::vector<uint32_t> h(bins, 0);
    for (int32_t i = 0; i < count; ++i) h[std::min(samples[i], bins - 1)] += 1;
    return h;
}

Histograms histogram_image(const std::vector<uint32_t> &image, int32_t pixels, int channels, uint32_t bins) {
    Histograms h{std::vector<uint32_t>(bins, 0), std::vector<uint32_t>(bins, 0), std::vector<uint32_t>(bins, 0)};
    for (int32_t p = 0; p < pixels; ++p) {
        const size_t base = static_cast<size_t>(p) * channels;
        h.blue[std::min(image[base + 0], bins - 1)] += 1;
        h.green[std::min(image[base + 1], bins - 1)] += 1;
        h.red[std::min(image[base + 2], bins - 1)] += 1;
    }
    return h;
}

Histograms histogram_raw(const std::vector<uint32_t> &raw, int32_t width, int32_t height, int pattern, uint32_t bins) {
    Histograms h{std::vector<uint32_t>(bins, 0), std::vector<uint32_t>(bins, 0), std::vector<uint32_t>(bins, 0)};
    const int32_t half_w = width / 2, half_h = height / 2;
    if (half_w < 1 || half_h < 1) return h;
    std::vector<uint32_t> *by_colour[3] = {&h.blue, &h.green, &h.red};
    // The walk as a position that moves through the frame: cell by cell along the row
    // pair, then on by one more row.
    size_t pos = 0;
    for (int32_t r = 0; r < half_h; ++r) {
        for (int32_t k = 0; k < half_w; ++k) {
            for (int i = 0; i < 2; ++i)
                for (int j = 0; j < 2; ++j) {
                    const uint32_t v = raw[pos + static_cast<size_t>(i) * static_cast<size_t>(width) + static_cast<size_t>(j)];
                    (*by_colour[colour_at(pattern, i, j)])[std::min(v, bins - 1)] += 1;
                }
            pos += 2;
        }
        pos += static_cast<size_t>(width);
    }
    return h;
}

}  // namespace model
