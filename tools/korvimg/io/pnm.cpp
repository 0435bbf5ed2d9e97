// Netpbm: PGM (P5) read as a raw frame; PPM (P6), PGM and PAM (P7) written.
#include "io/pnm.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

#include "failure.h"
#include "io/limits.h"
#include "io/output.h"

namespace kvcli {

namespace {

// Reads the header fields of a P5 file: whitespace and '#' comments between decimal
// numbers, one whitespace byte after the last.
class HeaderReader {
  public:
    HeaderReader(std::FILE *f, const std::string &path) : f_(f), path_(path) {}
    int64_t number(const char *what) {
        int c = std::fgetc(f_);
        while (true) {
            if (c == '#') {
                while (c != '\n' && c != '\r' && c != EOF) c = std::fgetc(f_);
            } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f') {
                c = std::fgetc(f_);
            } else {
                break;
            }
        }
        if (c < '0' || c > '9') throw file_error(path_, std::string("bad PGM header: no ") + what);
        int64_t v = 0;
        while (c >= '0' && c <= '9') {
            v = v * 10 + (c - '0');
            if (v > (1LL << 40)) throw file_error(path_, std::string("bad PGM header: ") + what + " too large");
            c = std::fgetc(f_);
        }
        last_ = c;
        return v;
    }
    int last() const { return last_; }

  private:
    std::FILE *f_;
    const std::string &path_;
    int last_ = EOF;
};

// The maximum value is white: samples are scaled from 0..maxval to the frame's
// working range (0..255, 1023, 4095 or 65535), rounding to nearest, unless maxval is
// that range's top already. A sample above maxval makes the file invalid.
void to_working_range(RawFrame &frame, uint32_t maxval, const std::string &path) {
    const uint32_t top = frame.maxv();
    for (size_t i = 0; i < frame.count(); ++i)
        if (frame.at(i) > maxval)
            throw file_error(path, "sample " + std::to_string(frame.at(i)) + " at (" +
                                       std::to_string(i % static_cast<size_t>(frame.width)) + ", " +
                                       std::to_string(i / static_cast<size_t>(frame.width)) +
                                       ") is above the maximum value " + std::to_string(maxval));
    if (maxval == top) return;
    auto scaled = [&](uint32_t v) { return (v * uint64_t{top} + maxval / 2) / maxval; };
    if (frame.wide())
        for (auto &v : frame.s16) v = static_cast<uint16_t>(scaled(v));
    else
        for (auto &v : frame.s8) v = static_cast<uint8_t>(scaled(v));
}

}  // namespace

bool is_pgm(const uint8_t *head, size_t size) {
    return size >= 3 && head[0] == 'P' && head[1] == '5' &&
           (head[2] == ' ' || head[2] == '\t' || head[2] == '\n' || head[2] == '\r' || head[2] == '#');
}

RawFrame read_pgm(const std::string &path, int bits_override) {
    std::FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) throw file_error(path, std::string("cannot open: ") + std::strerror(errno));
    struct Closer {
        std::FILE *f;
        ~Closer() { std::fclose(f); }
    } closer{f};
    char magic[2] = {0, 0};
    if (std::fread(magic, 1, 2, f) != 2 || magic[0] != 'P' || magic[1] != '5')
        throw file_error(path, "not a binary PGM file (no P5 magic)");
    HeaderReader h(f, path);
    const int64_t width = h.number("width");
    const int64_t height = h.number("height");
    const int64_t maxval = h.number("maximum value");
    if (h.last() == EOF) throw file_error(path, "truncated PGM header");
    if (!plausible_size(width, height))
        throw file_error(path, "implausible PGM size " + std::to_string(width) + " x " + std::to_string(height));
    if (maxval < 1 || maxval > 65535)
        throw file_error(path, "bad PGM maximum value " + std::to_string(maxval));
    int bits = 8;
    if (maxval > 255) bits = maxval <= 1023 ? 10 : maxval <= 4095 ? 12 : 16;
    if (bits_override != 0) {
        if ((bits_override == 8) != (maxval <= 255))
            throw file_error(path, "--bits " + std::to_string(bits_override) + " does not fit the PGM maximum value " +
                                       std::to_string(maxval));
        bits = bits_override;
    }
    // The samples the header promises must be in the file before room is made for them.
    const int64_t data_bytes = width * height * (maxval > 255 ? 2 : 1);
    const long here = std::ftell(f);
    struct stat st {};
    if (here >= 0 && fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode) && st.st_size - here < data_bytes)
        throw file_error(path, "truncated PGM data: the header promises " + std::to_string(width) + " x " +
                                   std::to_string(height) + " samples (" + std::to_string(data_bytes) +
                                   " bytes), the file has " + std::to_string(st.st_size - here) + " after it");
    RawFrame frame;
    frame.allocate(static_cast<int32_t>(width), static_cast<int32_t>(height), bits);
    const size_t n = frame.count();
    if (!frame.wide()) {
        if (std::fread(frame.s8.data(), 1, n, f) != n) throw file_error(path, "truncated PGM data");
    } else {
        std::vector<uint8_t> bytes(n * 2);
        if (std::fread(bytes.data(), 1, bytes.size(), f) != bytes.size()) throw file_error(path, "truncated PGM data");
        for (size_t i = 0; i < n; ++i)
            frame.s16[i] = static_cast<uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);  // big-endian
    }
    if (bits_override == 0) to_working_range(frame, static_cast<uint32_t>(maxval), path);
    return frame;
}

void write_pnm(AtomicFile &file, const FilePixels &pixels, FileFormat format) {
    std::FILE *f = file.stream();
    const int maxval = pixels.bits == 8 ? 255 : 65535;
    if (format == FileFormat::pam) {
        static const char *const kTypes[] = {"GRAYSCALE", "GRAYSCALE_ALPHA", "RGB", "RGB_ALPHA"};
        const char *type = kTypes[pixels.channels - 1];
        std::fprintf(f, "P7\nWIDTH %d\nHEIGHT %d\nDEPTH %d\nMAXVAL %d\nTUPLTYPE %s\nENDHDR\n", pixels.width,
                     pixels.height, pixels.channels, maxval, type);
    } else {
        std::fprintf(f, "%s\n%d %d\n%d\n", format == FileFormat::pgm ? "P5" : "P6", pixels.width, pixels.height,
                     maxval);
    }
    // A grey picture in a PPM file is written with three equal channels.
    const int out_channels = format == FileFormat::ppm ? 3 : pixels.channels;
    const size_t row = static_cast<size_t>(pixels.width);
    if (pixels.bits == 8 && out_channels == pixels.channels) {
        // The samples are already the file's bytes, in the file's order.
        std::fwrite(pixels.p8.data(), 1, pixels.p8.size(), f);  // commit() reports a short write
        return;
    }
    std::vector<uint8_t> line(row * static_cast<size_t>(out_channels) * static_cast<size_t>(pixels.bits / 8));
    for (int32_t y = 0; y < pixels.height; ++y) {
        size_t o = 0;
        for (size_t x = 0; x < row; ++x) {
            const size_t base = (static_cast<size_t>(y) * row + x) * static_cast<size_t>(pixels.channels);
            for (int c = 0; c < out_channels; ++c) {
                const size_t k = base + static_cast<size_t>(pixels.channels == 1 ? 0 : c);
                if (pixels.bits == 8) {
                    line[o++] = pixels.p8[k];
                } else {
                    line[o++] = static_cast<uint8_t>(pixels.p16[k] >> 8);
                    line[o++] = static_cast<uint8_t>(pixels.p16[k]);
                }
            }
        }
        if (std::fwrite(line.data(), 1, line.size(), f) != line.size()) break;  // commit() reports it
    }
}

}  // namespace kvcli
