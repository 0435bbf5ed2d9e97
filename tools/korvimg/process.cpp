#include "process.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "failure.h"
#include "lib.h"

namespace kvcli {

namespace {

int32_t count_of(const RawFrame &f) { return static_cast<int32_t>(f.count()); }

}  // namespace

// The library's 16-bit filter writes back only the first width bytes of each row: its
// left half (and, for an odd width, one byte of the middle sample). The filter's rule
// reads the same from either end of a row, so the right half is the left half of the
// filtered mirror image of the rows. For an odd width the left half is filtered one
// column wider, which puts the middle sample whole in the written half. The added
// column changes no sample taken from that pass: only column w - 2d reads it, and that
// column lies in the right half unless it is among the first 2d, which are kept.
void median_filter(RawFrame &frame, int mosaic) {
    const uint32_t flag = mosaic != 0 ? 1u : 0u;
    if (!frame.wide()) {
        median_filter8(frame.s8.data(), frame.width, frame.height, flag);
        return;
    }
    if (frame.width < 1 || frame.height < 1) return;
    const size_t w = static_cast<size_t>(frame.width), h = static_cast<size_t>(frame.height);
    const size_t left = (w + 1) / 2;  // samples taken from the pass over the rows
    // Kept from frame to frame, one set per worker.
    thread_local std::vector<uint16_t> mirror, ahead;
    mirror.resize(w * h);
    for (size_t y = 0; y < h; ++y)
        std::reverse_copy(frame.s16.data() + y * w, frame.s16.data() + (y + 1) * w, mirror.data() + y * w);
    median_filter16(mirror.data(), frame.width, frame.height, flag);
    if (w % 2 == 0) {
        median_filter16(frame.s16.data(), frame.width, frame.height, flag);  // the left half, in place
    } else {
        const size_t padded = w + 1;
        ahead.assign(padded * h, 0);
        for (size_t y = 0; y < h; ++y) std::copy_n(frame.s16.data() + y * w, w, ahead.data() + y * padded);
        median_filter16(ahead.data(), static_cast<int32_t>(padded), frame.height, flag);
        for (size_t y = 0; y < h; ++y) std::copy_n(ahead.data() + y * padded, left, frame.s16.data() + y * w);
    }
    for (size_t y = 0; y < h; ++y) {
        uint16_t *row = frame.s16.data() + y * w;
        for (size_t x = left; x < w; ++x) row[x] = mirror[y * w + (w - 1 - x)];
    }
}

namespace {

// The grey-world gains by the library's walk over 2x2 tiles, summed in 64 bits: red
// gain = (green sum / 2) / red sum, blue gain likewise, -1 for a channel summing to 0.
void grey_world_64(const RawFrame &frame, int pattern, double &red_gain, double &blue_gain) {
    uint64_t sum[3] = {0, 0, 0};  // red, green, blue
    const int32_t tile_rows = frame.height / 2, tile_columns = frame.width / 2;
    const size_t width = static_cast<size_t>(frame.width);
    size_t at = 0;
    for (int32_t ty = 0; ty < tile_rows; ++ty) {
        for (int32_t tx = 0; tx < tile_columns; ++tx, at += 2) {
            const size_t site_at[4] = {at, at + 1, at + width, at + width + 1};
            for (int site = 0; site < 4; ++site) {
                const int colour = site == red_site(pattern) ? 0 : site == blue_site(pattern) ? 2 : 1;
                sum[colour] += frame.at(site_at[site]);
            }
        }
        at += width;
    }
    const double green = static_cast<double>(sum[1] >> 1);
    red_gain = sum[0] != 0 ? green / static_cast<double>(sum[0]) : -1.0;
    blue_gain = sum[2] != 0 ? green / static_cast<double>(sum[2]) : -1.0;
}

}  // namespace

std::string measure_white_balance(const RawFrame &frame, int pattern, double &red_gain, double &blue_gain) {
    // The library's sums are 32-bit and wrap, as its contract says; a large frame of
    // deep samples can pass 2^32 (a 2048 x 2048 frame of 12-bit samples can). Where
    // no sum can wrap the library measures; elsewhere the same walk is summed in 64
    // bits, which gives the very gains the library would without the wrap.
    const uint64_t tiles = static_cast<uint64_t>(frame.width / 2) * static_cast<uint64_t>(frame.height / 2);
    if (tiles * 2 * frame.maxv() > 0xffffffffu) {
        grey_world_64(frame, pattern, red_gain, blue_gain);
    } else {
        using Wb8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, int32_t, double *, double *);
        using Wb16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, int32_t, double *, double *);
        static const Wb8 wb8[4] = {white_balance8rggb, white_balance8grbg, white_balance8gbrg, white_balance8bggr};
        static const Wb16 wb16[4] = {white_balance12rggb, white_balance12grbg, white_balance12gbrg,
                                     white_balance12bggr};
        if (frame.wide()) wb16[pattern](frame.s16.data(), frame.width, frame.height, &red_gain, &blue_gain);
        else wb8[pattern](frame.s8.data(), frame.width, frame.height, &red_gain, &blue_gain);
    }
    // Without green signal both gains come out 0 (or -1), which would blacken every
    // red and blue photosite: neither can be measured then.
    if (red_gain == 0 || blue_gain == 0) {
        red_gain = blue_gain = 1;
        return "green";
    }
    const bool no_red = red_gain < 0, no_blue = blue_gain < 0;
    if (no_red) red_gain = 1;
    if (no_blue) blue_gain = 1;
    return no_red && no_blue ? "red and blue" : no_red ? "red" : no_blue ? "blue" : "";
}

void apply_gains(RawFrame &frame, int pattern, double red_gain, double blue_gain) {
    const double top = frame.maxv();
    auto scale = [top](uint32_t v, double gain) {
        const double s = std::floor(v * gain + 0.5);
        return static_cast<uint32_t>(s > top ? top : s < 0 ? 0 : s);
    };
    for (int32_t y = 0; y < frame.height; ++y)
        for (int32_t x = 0; x < frame.width; ++x) {
            const int site = (y & 1) * 2 + (x & 1);
            const double gain = site == red_site(pattern) ? red_gain : site == blue_site(pattern) ? blue_gain : 0;
            if (gain == 0) continue;
            const size_t i = static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x);
            if (frame.wide()) frame.s16[i] = static_cast<uint16_t>(scale(frame.s16[i], gain));
            else frame.s8[i] = static_cast<uint8_t>(scale(frame.s8[i], gain));
        }
}

const RawFrame &tone_and_depth(RawFrame &frame, const Settings &s, RawFrame &reduced) {
    const int32_t n = count_of(frame);
    if (!frame.wide()) {
        if (s.bcg) {
            std::vector<uint8_t> table(256);
            create_BCG_LUT8(s.brightness, s.contrast, s.gamma, table.data());
            convert_frame8to8LUT(frame.s8.data(), n, table.data(), frame.s8.data());
        }
        return frame;
    }
    const bool ten = frame.bits == 10;
    const size_t entries = ten ? 1024 : 4096;
    if (s.bcg && (s.out_bits == 16 || s.reduce_best)) {
        // A table at the frame's own depth; its top entry may be one above the largest
        // sample, which the later steps take as the largest sample.
        std::vector<uint16_t> table(entries);
        if (ten) create_BCG_LUT10(s.brightness, s.contrast, s.gamma, table.data());
        else create_BCG_LUT12(s.brightness, s.contrast, s.gamma, table.data());
        const uint16_t top = static_cast<uint16_t>(frame.maxv());
        for (auto &t : table) t = t > top ? top : t;
        convert_frame10to10LUT(frame.s16.data(), n, table.data(), frame.s16.data());
    }
    if (s.out_bits == 16) return frame;

    RawFrame &out = reduced;
    out.allocate(frame.width, frame.height, 8);
    if (frame.bits == 16) {
        for (size_t i = 0; i < frame.count(); ++i) out.s8[i] = static_cast<uint8_t>(frame.s16[i] >> 8);
    } else if (s.reduce_best) {
        std::vector<uint32_t> histogram(entries);
        std::vector<uint8_t> table(entries);
        if (ten) {
            histogram10(frame.s16.data(), n, histogram.data());
            if (best_lookup_table10to8(histogram.data(), table.data()) == 0)
                throw Failure(kInputError, "", "best_lookup_table10to8 found no memory");
        } else {
            histogram12(frame.s16.data(), n, histogram.data());
            if (best_lookup_table12to8(histogram.data(), table.data()) == 0)
                throw Failure(kInputError, "", "best_lookup_table12to8 found no memory");
        }
        convert_frame10to8LUT(frame.s16.data(), n, table.data(), out.s8.data());
    } else if (s.bcg) {
        std::vector<uint8_t> table(entries);
        if (ten) create_BCG_LUT10_8(s.brightness, s.contrast, s.gamma, table.data());
        else create_BCG_LUT12_8(s.brightness, s.contrast, s.gamma, table.data());
        convert_frame10to8LUT(frame.s16.data(), n, table.data(), out.s8.data());
    } else if (ten) {
        convert_frame10to8(frame.s16.data(), n, out.s8.data());
    } else {
        convert_frame12to8(frame.s16.data(), n, out.s8.data());
    }
    return out;
}

void demosaic_frame(const RawFrame &frame, const Settings &s, ColourImage &image, std::vector<uint16_t> &widened) {
    const int channels = s.alpha ? 4 : 3;
    image.allocate(output_width(s.method, frame.width), output_height(s.method, frame.height), channels, s.out_bits);
    image.grey = s.grey_output();
    if (s.out_bits == 8) {
        demosaic(s.method, s.alpha ? 32 : 24, s.pattern, frame.s8.data(), frame.width, frame.height, image.p8.data());
    } else {
        image.significant = frame.bits;
        const uint16_t *words = frame.s16.data();
        if (!frame.wide()) {
            widened.assign(frame.s8.begin(), frame.s8.end());
            words = widened.data();
        }
        demosaic(s.method, s.alpha ? 64 : 48, s.pattern, words, frame.width, frame.height, image.p16.data());
    }
}

Correction::Correction(const Settings &s) {
    context_ = color_correction_init();
    if (context_ == nullptr) throw Failure(kInputError, "", "no memory for a colour-correction context");
    if (s.matrix) {
        color_correction_setmatrix(context_, s.matrix_values.data());
        color_correction_usematrix(context_, 1u);
    } else {
        const auto &h = s.hsl_values;
        color_correction_sethsl(context_, h[0], h[1], h[2], h[3]);
    }
}

Correction::~Correction() {
    if (context_ != nullptr) color_correction_done(context_);
}

void Correction::apply(ColourImage &image) {
    if (image.channels == 4) color_correction32(context_, image.p8.data(), image.width, image.height);
    else color_correction24(context_, image.p8.data(), image.width, image.height);
}

void process_frame(Workspace &work, const Settings &s, Correction *correction) {
    if (s.white_balance) apply_gains(work.frame, s.pattern, s.red_gain, s.blue_gain);
    demosaic_frame(tone_and_depth(work.frame, s, work.reduced), s, work.image, work.widened);
    if (correction != nullptr) correction->apply(work.image);
    to_file_pixels(work.image, work.pixels);
}

void accumulate(std::vector<uint32_t> &accumulator, const RawFrame &frame) {
    if (frame.wide()) frame_add16(accumulator.data(), frame.s16.data(), count_of(frame));
    else frame_add8(accumulator.data(), frame.s8.data(), count_of(frame));
}

void average(const std::vector<uint32_t> &accumulator, uint32_t frames, RawFrame &out) {
    if (out.wide()) frame_avg16(out.s16.data(), accumulator.data(), count_of(out), frames);
    else frame_avg8(out.s8.data(), accumulator.data(), count_of(out), frames);
}

}  // namespace kvcli
