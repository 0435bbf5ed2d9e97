// Capture files as a sequence of raw frames. A Source knows the frame size, the sample
// depth, the number of frames and the Bayer pattern the file names, and reads any
// frame on request, from several threads at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "image.h"

namespace kvcli {

enum class ByteOrder { file, little, big };  // file: as the file says (little for raw)

struct OpenOptions {
    std::string format = "auto";  // auto, ser, fits, pgm, png, raw
    int bits = 0;                 // significant bits when given (8, 10, 12 or 16), else 0
    int64_t width = 0, height = 0;  // raw files
    int64_t offset = 0;             // raw files: bytes before the first frame
    // The frame geometry of a headerless raw file was given.
    bool raw_geometry() const { return width != 0 || height != 0 || offset != 0; }
    ByteOrder order = ByteOrder::file;
};

struct SourceInfo {
    std::string path;
    std::string format;  // SER, FITS, PGM, PNG, raw
    int32_t width = 0;
    int32_t height = 0;
    int bits = 8;            // significant bits of a sample: 8, 10, 12 or 16
    int stored_bits = 8;     // bits per stored sample (8 or 16)
    int shift = 0;           // bits that samples of a depth between the working ones gain (widen())
    uint32_t frames = 0;
    int pattern = -1;        // pattern code the file names; -1: none
    bool monochrome = false;  // the file says the sensor has no colour filters
    std::string pattern_origin;   // where the pattern (or its absence) comes from
    std::vector<std::string> notes;  // further facts for `info`
    std::vector<std::string> warnings;  // signs that the file may not be read as meant
    // Set when the file ends before the last frame its header promises (a capture cut
    // short), or its header was never finished: what the header says against what the
    // file holds ("truncated: the header promises ..., 3 whole frames"). `frames` then
    // counts the whole frames only; `demosaic` reads them only when --frames asks.
    std::string truncated;
};

// A region of a file's frames: `width` x `height` samples from column x and row y.
struct Region {
    int32_t x = 0, y = 0, width = 0, height = 0;
};

class Source {
  public:
    virtual ~Source() = default;
    const SourceInfo &info() const { return info_; }
    // Frame `index` (0-based) into `frame`, or only the region of it when one is given
    // (it must lie within the frame), samples above the file's depth clamped to its
    // largest value, then widened by info().shift bits. Throws a file error on a read
    // failure.
    void read(uint32_t index, RawFrame &frame, const Region *region = nullptr);
    // Samples clamped so far, of the frames or regions read (a file whose samples
    // exceed its stated depth).
    uint64_t clamped() const { return clamped_.load(); }
    // Those samples, in words: "3 samples above 11 bits were taken as the largest
    // 11-bit value, 2047"; "" when there are none.
    std::string clamped_text() const;

  protected:
    virtual void read_frame(uint32_t index, RawFrame &frame) = 0;
    SourceInfo info_;

  private:
    std::atomic<uint64_t> clamped_{0};
    // With info_.shift: the value each sample of the file's depth becomes, made once.
    std::once_flag widened_once_;
    std::vector<uint16_t> widened_;
};

// Opens a capture file, choosing the reader by the file's first bytes (or by
// options.format). Throws a file error for unreadable or invalid files and a usage
// error for contradicting options.
std::unique_ptr<Source> open_source(const std::string &path, const OpenOptions &options);

// The readers, for files already identified.
std::unique_ptr<Source> open_ser(const std::string &path, const OpenOptions &options);
std::unique_ptr<Source> open_fits(const std::string &path, const OpenOptions &options);
std::unique_ptr<Source> open_raw(const std::string &path, const OpenOptions &options);
// Sources of frames held in memory (PGM and PNG files).
std::unique_ptr<Source> memory_source(SourceInfo info, std::vector<RawFrame> frames);
// Frames stored one after another at a fixed offset, samples of 1 or 2 bytes.
std::unique_ptr<Source> packed_source(SourceInfo info, int fd, int64_t data_offset, bool big_endian);

// Reads n bytes of the file open as fd, from offset `at`, into dst: 0 when all were
// read, else the errno of the failure, or -1 when the file ended first.
int read_at(int fd, uint8_t *dst, size_t n, int64_t at);
// The same for frame `index` of `path`; a file error when the bytes cannot all be read.
void read_frame_bytes(int fd, uint8_t *dst, size_t bytes, int64_t at, const std::string &path, uint32_t index);

// A file whose data (data_bytes of them) end before the last of the header's frames,
// or whose header gives no count: `what` says so ("truncated: the header promises
// ..., the file has ... bytes"). Takes the whole frames of frame_bytes each into info
// (frames, truncated and a warning); refuses a file without one.
void take_whole_frames(SourceInfo &info, const std::string &what, int64_t data_bytes, int64_t frame_bytes);
// What a file cut short lacks, in the same words for every format: "truncated: the
// header promises 4 frames of 10 x 8 samples (818 bytes in all), the file has 625 bytes".
std::string promise_unkept(int64_t frames, int64_t width, int64_t height, int64_t needed, int64_t size);

// "1 frame", "2 frames".
std::string count_of(int64_t n, const char *thing);

// The significant bits the program works with for samples of `depth` bits: 8, 10, 12
// or 16 (the library's sample depths).
int working_bits(int depth);

}  // namespace kvcli
