#include "io/source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <type_traits>

#include "failure.h"
#include "io/limits.h"
#include "io/png.h"
#include "io/pnm.h"

namespace kvcli {

int working_bits(int depth) { return depth <= 8 ? 8 : depth <= 10 ? 10 : depth <= 12 ? 12 : 16; }

int read_at(int fd, uint8_t *dst, size_t n, int64_t at) {
    size_t done = 0;
    while (done < n) {
        const ssize_t r = pread(fd, dst + done, n - done, static_cast<off_t>(at + static_cast<int64_t>(done)));
        if (r < 0 && errno == EINTR) continue;
        if (r < 0) return errno;
        if (r == 0) return -1;
        done += static_cast<size_t>(r);
    }
    return 0;
}

void read_frame_bytes(int fd, uint8_t *dst, size_t bytes, int64_t at, const std::string &path, uint32_t index) {
    const int failure = read_at(fd, dst, bytes, at);
    if (failure != 0)
        throw file_error(path, "cannot read frame " + std::to_string(index) + ": " +
                                   (failure < 0 ? std::string("unexpected end of file") : std::strerror(failure)));
}

std::string count_of(int64_t n, const char *thing) {
    return std::to_string(n) + " " + thing + (n == 1 ? "" : "s");
}

void take_whole_frames(SourceInfo &info, const std::string &what, int64_t data_bytes, int64_t frame_bytes) {
    const int64_t whole = data_bytes > 0 ? data_bytes / frame_bytes : 0;
    if (whole == 0) throw file_error(info.path, what + ", not one whole frame");
    info.frames = static_cast<uint32_t>(whole);
    info.truncated = what + ", " + count_of(whole, "whole frame");
    info.warnings.push_back(info.truncated + (whole == 1 ? ", which alone is read" : ", which alone are read"));
}

std::string promise_unkept(int64_t frames, int64_t width, int64_t height, int64_t needed, int64_t size) {
    return "truncated: the header promises " + count_of(frames, "frame") + " of " + std::to_string(width) + " x " +
           std::to_string(height) + " samples (" + std::to_string(needed) + " bytes in all), the file has " +
           std::to_string(size) + " bytes";
}

std::string Source::clamped_text() const {
    const uint64_t n = clamped();
    if (n == 0) return "";
    const int depth = info_.bits - info_.shift;  // the file's own depth
    return count_of(static_cast<int64_t>(n), "sample") + " above " + std::to_string(depth) + " bits " +
           (n == 1 ? "was" : "were") + " taken as the largest " + std::to_string(depth) + "-bit value, " +
           std::to_string((1u << depth) - 1u);
}

void Source::read(uint32_t index, RawFrame &frame, const Region *region) {
    if (region == nullptr) {
        read_frame(index, frame);
    } else {
        thread_local RawFrame whole;
        read_frame(index, whole);
        frame.allocate(region->width, region->height, whole.bits);
        const size_t from = static_cast<size_t>(whole.width), to = static_cast<size_t>(region->width);
        for (size_t r = 0; r < static_cast<size_t>(region->height); ++r) {
            const size_t at = (static_cast<size_t>(region->y) + r) * from + static_cast<size_t>(region->x);
            if (whole.wide()) std::copy_n(&whole.s16[at], to, &frame.s16[r * to]);
            else std::copy_n(&whole.s8[at], to, &frame.s8[r * to]);
        }
    }
    const int shift = info_.shift;
    const uint32_t top = frame.maxv() >> shift;  // the largest sample of the file's depth
    // Samples of a depth between the working ones are widened to the working depth, so
    // that the file's full scale is the working full scale.
    if (shift != 0) {
        std::call_once(widened_once_, [&] {
            widened_.resize(top + 1);
            for (uint32_t v = 0; v <= top; ++v)
                widened_[v] = static_cast<uint16_t>(widen(v, frame.bits - shift, frame.bits));
        });
    }
    auto adjust = [&](auto &samples, uint32_t full) {
        if (top == full && shift == 0) return;
        using S = typename std::remove_reference_t<decltype(samples)>::value_type;
        uint64_t n = 0;
        for (auto &s : samples) {
            if (s > top) {
                s = static_cast<S>(top);
                ++n;
            }
            if (shift != 0) s = static_cast<S>(widened_[s]);
        }
        if (n != 0) clamped_ += n;
    };
    if (frame.wide()) adjust(frame.s16, 0xffff);
    else adjust(frame.s8, 0xff);
}

namespace {

class MemorySource : public Source {
  public:
    MemorySource(SourceInfo info, std::vector<RawFrame> frames) : frames_(std::move(frames)) {
        info_ = std::move(info);
    }

  protected:
    void read_frame(uint32_t index, RawFrame &frame) override { frame = frames_.at(index); }

  private:
    std::vector<RawFrame> frames_;
};

class PackedSource : public Source {
  public:
    PackedSource(SourceInfo info, int fd, int64_t offset, bool big_endian)
        : fd_(fd), offset_(offset), big_endian_(big_endian) {
        info_ = std::move(info);
    }
    ~PackedSource() override { close(fd_); }

  protected:
    void read_frame(uint32_t index, RawFrame &frame) override {
        frame.allocate(info_.width, info_.height, info_.bits);
        const size_t n = frame.count();
        const size_t bytes = n * static_cast<size_t>(info_.stored_bits / 8);
        // 16-bit samples are read as bytes into the frame's own words and put in the
        // machine's order there, each word from its own two bytes.
        uint8_t *dst = info_.stored_bits == 16 ? reinterpret_cast<uint8_t *>(frame.s16.data()) : frame.s8.data();
        const int64_t at = offset_ + static_cast<int64_t>(index) * static_cast<int64_t>(bytes);
        read_frame_bytes(fd_, dst, bytes, at, info_.path, index);
        if (info_.stored_bits == 16) {
            const size_t hi = big_endian_ ? 0 : 1;
            for (size_t i = 0; i < n; ++i) {
                const uint16_t word = static_cast<uint16_t>(dst[2 * i + hi] << 8 | dst[2 * i + (1 - hi)]);
                std::memcpy(dst + 2 * i, &word, sizeof word);
            }
        }
    }

  private:
    int fd_;
    int64_t offset_;
    bool big_endian_;
};

// A file of one frame, which names no pattern.
std::unique_ptr<Source> single_frame(SourceInfo info, RawFrame frame) {
    info.width = frame.width;
    info.height = frame.height;
    info.bits = frame.bits;
    info.frames = 1;
    info.pattern_origin = "the file names none";
    std::vector<RawFrame> frames;
    frames.push_back(std::move(frame));
    return memory_source(std::move(info), std::move(frames));
}

// The frame as one grey PNG holds it.
std::unique_ptr<Source> open_png_frame(const std::string &path, const OpenOptions &options) {
    const FilePixels px = read_png(path);
    if (px.channels != 1)
        throw file_error(path, std::string("a ") + (px.channels == 2 ? "grey+alpha" : "colour") +
                                   " PNG is not a raw frame (one grey channel expected)");
    SourceInfo info;
    info.path = path;
    info.format = "PNG";
    info.stored_bits = px.bits;
    RawFrame frame;
    if (px.bits == 8) {
        if (options.bits != 0 && options.bits != 8)
            throw file_error(path, "--bits " + std::to_string(options.bits) + " does not fit an 8-bit PNG");
        frame.allocate(px.width, px.height, 8);
        frame.s8 = px.p8;
    } else {
        // With an sBIT chunk of 9 to 15 bits the values sit in the high bits of the
        // words (as PNG stores them); they are taken from there, and 9-, 11- and 13- to
        // 15-bit values widened to 10, 12 and 16 bits when read, as a SER file's are,
        // unless --bits says at what depth to take them.
        int from = 16;  // significant bits at the top of each word
        if (px.significant >= 9 && px.significant <= 15) {
            from = px.significant;
            info.notes.push_back("sBIT chunk: " + std::to_string(px.significant) + " significant bits");
        }
        int bits = working_bits(from);
        if (options.bits != 0) {
            if (options.bits == 8) throw file_error(path, "--bits 8 does not fit a 16-bit PNG");
            bits = options.bits;
        } else {
            info.shift = bits - from;
        }
        frame.allocate(px.width, px.height, bits);
        for (size_t i = 0; i < frame.count(); ++i) frame.s16[i] = static_cast<uint16_t>(px.p16[i] >> (16 - from));
    }
    return single_frame(std::move(info), std::move(frame));
}

std::unique_ptr<Source> open_pgm_frame(const std::string &path, const OpenOptions &options) {
    SourceInfo info;
    info.path = path;
    info.format = "PGM";
    RawFrame frame = read_pgm(path, options.bits);
    info.stored_bits = frame.wide() ? 16 : 8;
    return single_frame(std::move(info), std::move(frame));
}

bool starts_with(const uint8_t *head, size_t size, const char *text) {
    const size_t n = std::strlen(text);
    return size >= n && std::memcmp(head, text, n) == 0;
}

}  // namespace

std::unique_ptr<Source> memory_source(SourceInfo info, std::vector<RawFrame> frames) {
    return std::make_unique<MemorySource>(std::move(info), std::move(frames));
}

std::unique_ptr<Source> packed_source(SourceInfo info, int fd, int64_t data_offset, bool big_endian) {
    return std::make_unique<PackedSource>(std::move(info), fd, data_offset, big_endian);
}

namespace {

// The format of a file by its first bytes: "ser", "fits", "png", "pgm", or "raw" for
// anything else when the frame geometry was given.
std::string detected_format(const std::string &path, const OpenOptions &options) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw file_error(path, std::string("cannot open: ") + std::strerror(errno));
    uint8_t head[16] = {};
    struct stat st {};
    const bool is_dir = fstat(fd, &st) == 0 && S_ISDIR(st.st_mode);
    const ssize_t got = is_dir ? 0 : ::read(fd, head, sizeof head);
    close(fd);
    if (is_dir) throw file_error(path, "is a directory");
    if (got < 0) throw file_error(path, std::string("cannot read: ") + std::strerror(errno));
    const size_t n = static_cast<size_t>(got);
    if (starts_with(head, n, "LUCAM-RECORDER")) return "ser";
    if (starts_with(head, n, "SIMPLE  =")) return "fits";
    if (is_png(head, n)) return "png";
    if (is_pgm(head, n)) return "pgm";
    if (options.raw_geometry()) return "raw";
    if (n == 0) throw file_error(path, "empty file");
    if (starts_with(head, n, "P2")) throw file_error(path, "plain (text) PGM is not read; use a binary P5 file");
    if (starts_with(head, n, "P3") || starts_with(head, n, "P6") || starts_with(head, n, "P7"))
        throw file_error(path, "a colour netpbm file is not a raw frame (P5 greymap expected)");
    throw file_error(path, "unknown file format (not SER, FITS, PGM or PNG; a headerless raw file needs "
                           "--width, --height and --bits)");
}

}  // namespace

std::unique_ptr<Source> open_source(const std::string &path, const OpenOptions &options) {
    if (options.bits != 0 && options.bits != 8 && options.bits != 10 && options.bits != 12 && options.bits != 16)
        throw usage_error("--bits: expected 8, 10, 12 or 16");
    const std::string format = options.format == "auto" ? detected_format(path, options) : options.format;
    if (format == "raw") return open_raw(path, options);
    if (format != "ser" && format != "fits" && format != "pgm" && format != "png")
        throw usage_error("--format: expected auto, ser, fits, pgm, png or raw");
    // Any other file gives its own frame geometry.
    if (options.raw_geometry()) {
        std::string name = format;
        for (auto &c : name) c = static_cast<char>(c - 'a' + 'A');
        throw usage_error(path + ": --width, --height and --offset are for headerless raw files, and this is a " +
                          name + " file (--format raw reads it as one)");
    }
    if (format == "ser") return open_ser(path, options);
    if (format == "fits") return open_fits(path, options);
    if (format == "pgm") return open_pgm_frame(path, options);
    return open_png_frame(path, options);
}

std::unique_ptr<Source> open_raw(const std::string &path, const OpenOptions &options) {
    if (options.width == 0 || options.height == 0 || options.bits == 0)
        throw usage_error("a headerless raw file needs --width, --height and --bits");
    if (!plausible_size(options.width, options.height))
        throw usage_error("implausible frame size " + std::to_string(options.width) + " x " +
                          std::to_string(options.height));
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw file_error(path, std::string("cannot open: ") + std::strerror(errno));
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        throw file_error(path, "not a regular file");
    }
    SourceInfo info;
    info.path = path;
    info.format = "raw";
    info.width = static_cast<int32_t>(options.width);
    info.height = static_cast<int32_t>(options.height);
    info.bits = options.bits;
    info.stored_bits = options.bits == 8 ? 8 : 16;
    const int64_t frame_bytes = options.width * options.height * (info.stored_bits / 8);
    const int64_t size = st.st_size;
    const int64_t data = size - options.offset;
    std::string problem;
    if (options.offset < 0 || options.offset > size)
        problem = "offset " + std::to_string(options.offset) + " lies beyond the end of the file (" +
                  std::to_string(size) + " bytes)";
    else if (data < frame_bytes)
        problem = "truncated: " + std::to_string(data) + " bytes of data, one " + std::to_string(options.width) +
                  " x " + std::to_string(options.height) + " frame needs " + std::to_string(frame_bytes);
    else if (data % frame_bytes != 0)
        problem = std::to_string(data) + " bytes of data are not a whole number of " + std::to_string(frame_bytes) +
                  "-byte frames";
    else if (data / frame_bytes > 0xffffffffLL)
        problem = "too many frames";
    if (!problem.empty()) {
        close(fd);
        throw file_error(path, problem);
    }
    info.frames = static_cast<uint32_t>(data / frame_bytes);
    info.pattern_origin = "the file names none";
    const bool big = options.order == ByteOrder::big;
    if (info.stored_bits == 16) info.notes.push_back(std::string("byte order: ") + (big ? "big" : "little") + "-endian");
    return packed_source(std::move(info), fd, options.offset, big);
}

}  // namespace kvcli
