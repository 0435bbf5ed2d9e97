// Test files with known content: SER, FITS, PGM, PNG and raw frames; and reading the
// program's pictures back.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "image.h"

namespace kvtest {

using Samples = std::vector<uint16_t>;  // one frame, 8-bit values or 16-bit words

Samples random_frame(int32_t width, int32_t height, uint32_t maxv, std::mt19937 &rng);
std::vector<Samples> random_frames(int count, int32_t width, int32_t height, uint32_t maxv, std::mt19937 &rng);

struct SerSpec {
    int32_t colour_id = 8;
    int32_t little_endian_flag = 1;
    int32_t width = 0, height = 0, depth = 8;
    int32_t frame_count = -1;  // header value; -1: the number of frames given
    bool big_endian_data = false;
    bool timestamps = false;
};
// Width x height frames of `depth` bits; big endian: the header's flag and the
// data both say so.
SerSpec ser_spec(int32_t colour_id, int32_t width, int32_t height, int32_t depth = 8, bool big_endian = false);
std::vector<uint8_t> ser_bytes(const SerSpec &spec, const std::vector<Samples> &frames);

// bitpix 8, 16 (signed) or 20 (unsigned 16 through BZERO 32768); one frame is a 2-axis
// image, several a 3-axis stack. bayerpat empty: no keyword.
void write_fits(const std::string &path, int bitpix, int32_t width, int32_t height, const std::vector<Samples> &frames,
                const std::string &bayerpat = "", int xoff = 0, int yoff = 0);
std::vector<uint8_t> pgm_bytes(int32_t width, int32_t height, int maxval, const Samples &frame,
                               const std::string &comment = "");
// A grey PNG of 8 or 16 bits; significant < bits adds an sBIT chunk (values as given).
void write_grey_png(const std::string &path, int32_t width, int32_t height, int bits, int significant,
                    const Samples &frame);
std::vector<uint8_t> raw_bytes(const std::vector<Samples> &frames, int bytes_per_sample, bool big_endian);

// A picture written by the program, as interleaved samples in file order.
struct Picture {
    int32_t width = 0, height = 0;
    int channels = 0, bits = 0;
    std::vector<uint32_t> samples;
    int significant = 0;  // a PNG's sBIT (the bits of its depth when it has none); 0 for others
};
// PNG, TIFF, PPM, PGM or PAM. PNG files are decoded here, with zlib alone, not by the
// program's own PNG code, which also reads the tests' input files: a fault its writer
// and reader shared would otherwise cancel out.
Picture read_picture(const std::string &path);

// The picture the program should write for a library result (B, G, R[, X] layout):
// file order R, G, B (grey: one channel), then alpha (opaque) for channels = 4, 16-bit values widened from
// `significant` bits to the whole word.
Picture expected_picture(const std::vector<uint32_t> &library, int32_t width, int32_t height, int channels,
                         int bits, int significant, bool grey);

// The library's demosaic result for samples (8-bit for format 24/32, else 16-bit).
std::vector<uint32_t> library_demosaic(int method, int format, int pattern, const Samples &frame, int32_t width,
                                       int32_t height);

}  // namespace kvtest
