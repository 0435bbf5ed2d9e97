// SER video files: a 178-byte little-endian header, the frames one after another, and
// optionally one 64-bit time stamp per frame after the last frame.
//
//   offset  size  field
//        0    14  file id "LUCAM-RECORDER"
//       14     4  camera series id
//       18     4  colour id: 0 mono; 8 RGGB, 9 GRBG, 10 GBRG, 11 BGGR; 16-19 CMY mosaics;
//                 100 RGB, 101 BGR
//       22     4  byte order of 16-bit samples: nonzero little-endian, 0 big-endian
//       26     4  width          30  4  height
//       34     4  bits per sample (1..16; samples above 8 bits take two bytes)
//       38     4  frame count
//       42   120  observer, instrument, telescope (40 characters each)
//      162     8  start time (local)   170  8  start time (UTC)
// Time stamps count 100 ns ticks from 0001-01-01.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include "failure.h"
#include "io/limits.h"
#include "io/source.h"

namespace kvcli {

namespace {

constexpr int64_t kHeader = 178;

int32_t le32(const uint8_t *p) {
    return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                                static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24);
}
uint64_t le64(const uint8_t *p) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = v << 8 | p[i];
    return v;
}

// A time stamp as UTC date and time, or an empty string when it is not plausible: a
// capture from before 1970 or after 2199 (wider bounds let pixels pass for stamps).
std::string ticks_text(uint64_t ticks) {
    constexpr uint64_t kUnixEpoch = 621355968000000000ULL;               // ticks at 1970-01-01
    constexpr uint64_t kYear2200 = kUnixEpoch + 84006ULL * 86400 * 10000000ULL;  // 84006 days later
    if (ticks < kUnixEpoch || ticks >= kYear2200) return "";
    const std::time_t seconds = static_cast<std::time_t>((ticks - kUnixEpoch) / 10000000ULL);
    std::tm tm{};
    gmtime_r(&seconds, &tm);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03u UTC", tm.tm_year + 1900, tm.tm_mon + 1,
                  tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                  static_cast<unsigned>((ticks - kUnixEpoch) % 10000000ULL / 10000ULL));
    return text;
}

std::string trimmed(const uint8_t *p, size_t n) {
    std::string s(reinterpret_cast<const char *>(p), n);
    const size_t nul = s.find('\0');
    if (nul != std::string::npos) s.resize(nul);
    while (!s.empty() && (s.back() == ' ')) s.pop_back();
    for (auto &c : s)
        if (static_cast<unsigned char>(c) < 32 || static_cast<unsigned char>(c) > 126) c = '?';
    return s;
}

// How much byte `k` (0 or 1) of the 16-bit words of a run differs from the same byte
// two words on (the same colour in a mosaic row), summed.
uint64_t byte_roughness(const std::vector<uint8_t> &bytes, size_t k) {
    uint64_t sum = 0;
    for (size_t i = 2; i < bytes.size() / 2; ++i) {
        const int d = int{bytes[2 * i + k]} - int{bytes[2 * (i - 2) + k]};
        sum += static_cast<uint64_t>(d < 0 ? -d : d);
    }
    return sum;
}

// Whether words read in the `big` byte order look swapped. In a picture the high byte
// of a sample changes slowly from one sample to the next, the low byte as it likes;
// read the wrong way round, the byte taken as high is the restless one. So: the byte
// taken as high far rougher than the other. (A byte of noise moves by 85 on average;
// a real high byte eight times rougher than its low byte is near impossible unless
// the low byte hardly ever changes.) When the other never changes (a low byte always
// 0, as in 8-bit samples held in the high byte), the two readings differ only in
// scale and nothing is said.
bool looks_swapped(const std::vector<uint8_t> &bytes, bool big) {
    const uint64_t high = byte_roughness(bytes, big ? 0 : 1), low = byte_roughness(bytes, big ? 1 : 0);
    return low != 0 && high > 8 * low;
}

// Whether `data` bytes after the header are k frames of frame_bytes and then their k
// time stamps: the size must fit, and the would-be stamps must read as dates in order
// (pixels seldom do).
bool stamped_frames(int fd, int64_t data, int64_t frame_bytes) {
    if (data <= 0 || data % (frame_bytes + 8) != 0) return false;
    const int64_t k = data / (frame_bytes + 8);
    if (k > (int64_t{1} << 20)) return false;
    std::vector<uint8_t> stamps(static_cast<size_t>(k) * 8);
    if (read_at(fd, stamps.data(), stamps.size(), kHeader + k * frame_bytes) != 0) return false;
    uint64_t last = 0;
    for (size_t i = 0; i < stamps.size(); i += 8) {
        const uint64_t t = le64(&stamps[i]);
        if (t < last || ticks_text(t).empty()) return false;
        last = t;
    }
    return true;
}

}  // namespace

std::unique_ptr<Source> open_ser(const std::string &path, const OpenOptions &options) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw file_error(path, std::string("cannot open: ") + std::strerror(errno));
    struct Guard {
        int fd;
        bool keep = false;
        ~Guard() {
            if (!keep) close(fd);
        }
    } guard{fd};
    struct stat st {};
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) throw file_error(path, "not a regular file");
    const int64_t size = st.st_size;
    uint8_t h[kHeader];
    if (size < kHeader || read_at(fd, h, sizeof h, 0) != 0)
        throw file_error(path, "truncated SER header (" + std::to_string(size) + " of 178 bytes)");
    if (std::memcmp(h, "LUCAM-RECORDER", 14) != 0) throw file_error(path, "not a SER file (no LUCAM-RECORDER id)");

    const int32_t colour = le32(h + 18);
    const int32_t little = le32(h + 22);
    const int32_t width = le32(h + 26);
    const int32_t height = le32(h + 30);
    const int32_t depth = le32(h + 34);
    const int32_t frames = le32(h + 38);

    SourceInfo info;
    info.path = path;
    info.format = "SER";
    switch (colour) {
    case 0:
        info.monochrome = true;
        info.pattern_origin = "SER colour ID 0 (monochrome)";
        break;
    case 8: case 9: case 10: case 11: {
        static const char *const kIds[] = {"RGGB", "GRBG", "GBRG", "BGGR"};
        info.pattern = colour - 8;  // the SER ids run in the order of the pattern codes
        info.pattern_origin = "SER colour ID " + std::to_string(colour) + " (" + kIds[colour - 8] + ")";
        break;
    }
    case 16: case 17: case 18: case 19:
        throw file_error(path, "unsupported SER colour ID " + std::to_string(colour) +
                                   " (a cyan/magenta/yellow mosaic, not a Bayer pattern)");
    case 100: case 101:
        throw file_error(path, "unsupported SER colour ID " + std::to_string(colour) + (colour == 100 ? " (RGB" : " (BGR") +
                                   " frames, already in colour)");
    default:
        throw file_error(path, "unknown SER colour ID " + std::to_string(colour));
    }
    if (!plausible_size(width, height))
        throw file_error(path, "implausible SER frame size " + std::to_string(width) + " x " + std::to_string(height));
    if (depth < 1 || depth > 16) throw file_error(path, "bad SER pixel depth " + std::to_string(depth));
    if (frames < 0) throw file_error(path, "SER header gives " + std::to_string(frames) + " frames");

    info.width = width;
    info.height = height;
    info.stored_bits = depth <= 8 ? 8 : 16;
    info.bits = working_bits(depth);
    if (options.bits != 0) {
        if ((options.bits == 8) != (info.stored_bits == 8))
            throw file_error(path, "--bits " + std::to_string(options.bits) + " does not fit the file's " +
                                       std::to_string(depth) + "-bit samples");
        info.bits = options.bits;
    } else if (depth < info.bits) {
        // 9-bit samples become 10-bit ones, 13-bit ones 16-bit ones and so on, widened
        // so that the file's full scale is the working full scale.
        info.shift = info.bits - depth;
    }
    info.frames = static_cast<uint32_t>(frames);
    const int64_t frame_bytes = int64_t{width} * height * (info.stored_bits / 8);
    const int64_t needed = kHeader + frame_bytes * frames;
    // A writer that stopped before it finished the header leaves the count at 0.
    if (frames == 0) {
        const int64_t data = size - kHeader;
        const bool stamped = stamped_frames(fd, data, frame_bytes);
        take_whole_frames(info,
                          "unfinished: the header gives 0 frames (as a writer that stopped early leaves it), the "
                          "file has " + std::to_string(size) + " bytes" +
                              (stamped ? " of frames and their time stamps" : ""),
                          stamped ? data / (frame_bytes + 8) * frame_bytes : data, frame_bytes);
    } else if (size < needed) {
        take_whole_frames(info, promise_unkept(frames, width, height, needed, size), size - kHeader, frame_bytes);
    }

    info.notes.push_back("pixel depth " + std::to_string(depth) + " bits, " +
                         std::to_string(info.stored_bits / 8) + " byte(s) per sample" +
                         (info.shift != 0 ? ", widened to " + std::to_string(info.bits) + " bits"
                                          : std::string()));
    bool big = false;
    if (info.stored_bits == 16) {
        big = options.order == ByteOrder::big || (options.order == ByteOrder::file && little == 0);
        info.notes.push_back(std::string("byte order: ") + (big ? "big" : "little") + "-endian (" +
                             (options.order == ByteOrder::file ? "header flag " + std::to_string(little)
                                                               : std::string("--endian")) +
                             ")");
        // Some writers set the flag the other way (see looks_swapped).
        if (options.order == ByteOrder::file) {
            std::vector<uint8_t> sample(static_cast<size_t>(std::min<int64_t>(frame_bytes, int64_t{1} << 20)));
            if (sample.size() >= 256 && read_at(fd, sample.data(), sample.size(), kHeader) == 0 &&
                looks_swapped(sample, big))
                info.warnings.push_back(std::string("the samples look byte-swapped: far smoother read ") +
                                        (big ? "little" : "big") + "-endian than as the header flag says (try --endian " +
                                        (big ? "little" : "big") + ")");
        }
    }
    for (int f = 0; f < 3; ++f) {
        static const char *const kNames[] = {"observer", "instrument", "telescope"};
        const std::string text = trimmed(h + 42 + 40 * f, 40);
        if (!text.empty()) info.notes.push_back(std::string(kNames[f]) + ": " + text);
    }
    const std::string start = ticks_text(le64(h + 170));
    if (!start.empty()) info.notes.push_back("start: " + start);
    const int64_t trailer = size - needed;
    if (!info.truncated.empty()) {
        // No time stamps after frames that stop short.
    } else if (trailer >= int64_t{8} * frames) {
        uint8_t first[8], last[8];
        if (read_at(fd, first, 8, needed) == 0 && read_at(fd, last, 8, needed + 8 * (int64_t{frames} - 1)) == 0) {
            const uint64_t t0 = le64(first), t1 = le64(last);
            std::string note = "time stamps: " + std::to_string(frames);
            const std::string a = ticks_text(t0), b = ticks_text(t1);
            if (!a.empty() && !b.empty()) {
                note += ", " + a + " to " + b;
                if (frames > 1 && t1 > t0) {
                    char rate[48];
                    std::snprintf(rate, sizeof rate, ", %.3f frames/s", (frames - 1) * 1e7 / double(t1 - t0));
                    note += rate;
                }
            }
            info.notes.push_back(note);
        }
    } else if (trailer > 0) {
        info.notes.push_back(std::to_string(trailer) + " bytes after the last frame (no complete time stamps)");
    }
    guard.keep = true;
    return packed_source(std::move(info), fd, kHeader, big);
}

}  // namespace kvcli
