// FITS images through cfitsio: the primary array, 8-bit or 16-bit integers (16-bit
// unsigned through BZERO 32768), two axes, or three for a stack of frames. The Bayer
// pattern comes from BAYERPAT (or COLORTYP), shifted by XBAYROFF and YBAYROFF.
// Rows are taken in the order they are stored.
#include <fcntl.h>
#include <fitsio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "failure.h"
#include "io/limits.h"
#include "io/source.h"
#include "lib.h"

namespace kvcli {

namespace {

std::string fits_text(int status) {
    char text[FLEN_STATUS] = {};
    fits_get_errstatus(status, text);
    return text;
}

// Pattern code of a four-letter name such as "RGGB" (any case), or -1.
int pattern_of(std::string name) {
    for (auto &c : name) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return pattern_code(name);
}

// Data that stop short of the whole 2880-byte records the standard pads them to (every
// sample there, only the padding missing) are refused by cfitsio. Such files are read
// directly, when their values are the stored integers plus a whole-number BZERO
// (BSCALE 1): exactly the values cfitsio gives for them.
struct Unpadded {
    int fd = -1;
    int64_t data_start = 0;
    int64_t bzero = 0;
};

class FitsSource : public Source {
  public:
    FitsSource(fitsfile *f, SourceInfo info, Unpadded unpadded) : f_(f), unpadded_(unpadded) {
        info_ = std::move(info);
    }
    ~FitsSource() override {
        int status = 0;
        fits_close_file(f_, &status);
        if (unpadded_.fd >= 0) close(unpadded_.fd);
    }

  protected:
    void read_frame(uint32_t index, RawFrame &frame) override {
        frame.allocate(info_.width, info_.height, info_.bits);
        std::vector<int32_t> values(frame.count());
        if (unpadded_.fd >= 0) read_directly(index, values);
        else read_through_cfitsio(index, values);
        // Signed 16-bit images without BZERO can hold negative values: they become 0.
        const int32_t top = info_.stored_bits == 8 ? 255 : 65535;
        for (size_t i = 0; i < values.size(); ++i) {
            const int32_t v = values[i] < 0 ? 0 : values[i] > top ? top : values[i];
            if (frame.wide()) frame.s16[i] = static_cast<uint16_t>(v);
            else frame.s8[i] = static_cast<uint8_t>(v);
        }
    }

  private:
    void read_through_cfitsio(uint32_t index, std::vector<int32_t> &values) {
        const LONGLONG n = static_cast<LONGLONG>(values.size());
        int status = 0, any_null = 0;
        {
            std::lock_guard<std::mutex> lock(mutex_);
            fits_read_img(f_, TINT, 1 + n * static_cast<LONGLONG>(index), n, nullptr, values.data(), &any_null,
                          &status);
        }
        if (status != 0)
            throw file_error(info_.path, "cannot read frame " + std::to_string(index) + ": " + fits_text(status));
    }

    // Bytes, or big-endian signed 16-bit integers, plus BZERO; beyond 32 bits they are
    // held at its ends (they end up 0 or the largest sample all the same).
    void read_directly(uint32_t index, std::vector<int32_t> &values) {
        const size_t sample_bytes = info_.stored_bits / 8;
        std::vector<uint8_t> bytes(values.size() * sample_bytes);
        read_frame_bytes(unpadded_.fd, bytes.data(), bytes.size(),
                         unpadded_.data_start + static_cast<int64_t>(index) * static_cast<int64_t>(bytes.size()),
                         info_.path, index);
        for (size_t i = 0; i < values.size(); ++i) {
            const int64_t stored = sample_bytes == 1 ? int64_t{bytes[i]}
                                                     : int64_t{static_cast<int16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1])};
            values[i] = static_cast<int32_t>(std::clamp<int64_t>(stored + unpadded_.bzero, INT32_MIN, INT32_MAX));
        }
    }

    fitsfile *f_;
    Unpadded unpadded_;
    std::mutex mutex_;
};

}  // namespace

std::unique_ptr<Source> open_fits(const std::string &path, const OpenOptions &options) {
    fitsfile *f = nullptr;
    int status = 0;
    // The disk-file entry takes the name literally (no extended file-name syntax).
    if (fits_open_diskfile(&f, path.c_str(), READONLY, &status) != 0) {
        if (f != nullptr) {
            int ignored = 0;
            fits_close_file(f, &ignored);
        }
        throw file_error(path, "bad FITS file: " + fits_text(status));
    }
    struct Closer {
        fitsfile *f;
        bool keep = false;
        ~Closer() {
            int ignored = 0;
            if (!keep) fits_close_file(f, &ignored);
        }
    } closer{f};
    int bitpix = 0, naxis = 0;
    long naxes[3] = {0, 0, 0};
    if (fits_get_img_param(f, 3, &bitpix, &naxis, naxes, &status) != 0)
        throw file_error(path, "bad FITS header: " + fits_text(status));
    if (naxis < 2 || naxis > 3)
        throw file_error(path, "FITS image has " + std::to_string(naxis) + " axes (2, or 3 for a stack, expected)");
    if (!plausible_size(naxes[0], naxes[1]))
        throw file_error(path, "implausible FITS image size " + std::to_string(naxes[0]) + " x " +
                                   std::to_string(naxes[1]));
    const long frames = naxis == 3 ? naxes[2] : 1;
    if (frames < 1 || frames > 0x7fffffffL)
        throw file_error(path, "FITS NAXIS3 gives " + std::to_string(frames) + " frames");
    // The data the header promises must be in the file before any frame is read.
    const int64_t sample_bytes = bitpix == BYTE_IMG ? 1 : bitpix == SHORT_IMG ? 2 : 0;
    SourceInfo info;
    info.path = path;
    info.format = "FITS";
    info.width = static_cast<int32_t>(naxes[0]);
    info.height = static_cast<int32_t>(naxes[1]);
    info.frames = static_cast<uint32_t>(frames);
    LONGLONG header_start = 0, data_start = 0, data_end = 0;
    struct stat st {};
    if (sample_bytes != 0 && fits_get_hduaddrll(f, &header_start, &data_start, &data_end, &status) == 0 &&
        stat(path.c_str(), &st) == 0) {
        const int64_t frame_bytes = int64_t{naxes[0]} * naxes[1] * sample_bytes;
        const int64_t needed = int64_t{data_start} + frame_bytes * frames;
        if (st.st_size < needed)
            take_whole_frames(info, promise_unkept(frames, naxes[0], naxes[1], needed, st.st_size),
                              st.st_size - int64_t{data_start}, frame_bytes);
    }
    status = 0;
    double bzero = 0, bscale = 1;
    int key_status = 0;
    fits_read_key(f, TDOUBLE, "BZERO", &bzero, nullptr, &key_status);
    key_status = 0;
    fits_read_key(f, TDOUBLE, "BSCALE", &bscale, nullptr, &key_status);
    if (bitpix == BYTE_IMG) {
        info.stored_bits = 8;
        info.bits = 8;
    } else if (bitpix == SHORT_IMG) {
        info.stored_bits = 16;
        info.bits = 16;
        info.notes.push_back(bzero == 32768 && bscale == 1 ? "16-bit unsigned (BZERO 32768)"
                                                           : "16-bit signed (negative values read as 0)");
    } else {
        throw file_error(path, "unsupported FITS BITPIX " + std::to_string(bitpix) +
                                   " (8- and 16-bit integer images are read)");
    }
    if (bscale != 1) info.notes.push_back("BSCALE " + std::to_string(bscale) + " applied");
    if (options.bits != 0) {
        if ((options.bits == 8) != (info.stored_bits == 8))
            throw file_error(path, "--bits " + std::to_string(options.bits) + " does not fit BITPIX " +
                                       std::to_string(bitpix));
        info.bits = options.bits;
    }
    char value[FLEN_VALUE] = {};
    key_status = 0;
    if (fits_read_key(f, TSTRING, "ROWORDER", value, nullptr, &key_status) == 0) {
        std::string order = value;
        while (!order.empty() && order.back() == ' ') order.pop_back();
        info.notes.push_back("ROWORDER '" + order + "': rows are taken as stored, the first at the top");
    }
    const char *keyword = "BAYERPAT";
    key_status = 0;
    if (fits_read_key(f, TSTRING, keyword, value, nullptr, &key_status) != 0) {
        key_status = 0;
        keyword = "COLORTYP";
        if (fits_read_key(f, TSTRING, keyword, value, nullptr, &key_status) != 0) keyword = nullptr;
    }
    if (keyword == nullptr) {
        info.pattern_origin = "no BAYERPAT in the file";
    } else {
        std::string name = value;
        while (!name.empty() && name.back() == ' ') name.pop_back();
        const int named = pattern_of(name);
        if (named < 0) {
            info.pattern_origin = std::string(keyword) + " '" + name + "' is not a Bayer pattern";
        } else {
            long xoff = 0, yoff = 0;
            key_status = 0;
            fits_read_key(f, TLONG, "XBAYROFF", &xoff, nullptr, &key_status);
            key_status = 0;
            fits_read_key(f, TLONG, "YBAYROFF", &yoff, nullptr, &key_status);
            info.pattern = shifted_pattern(named, static_cast<int>(xoff & 1), static_cast<int>(yoff & 1));
            info.pattern_origin = std::string("FITS ") + keyword + " '" + name + "'";
            if (xoff != 0 || yoff != 0)
                info.pattern_origin +=
                    " with XBAYROFF " + std::to_string(xoff) + ", YBAYROFF " + std::to_string(yoff);
        }
    }
    Unpadded unpadded;
    if (st.st_size != 0 && st.st_size < data_end) {
        if (bscale != 1 || bzero != std::floor(bzero) || std::fabs(bzero) > 2147483647.0)
            throw file_error(path, info.truncated.empty()
                                       ? std::string("the data are not padded to a whole 2880-byte record, which is "
                                                     "read only with BSCALE 1 and a whole-number BZERO")
                                       : info.truncated +
                                             "; the whole frames of a file cut short are read only with BSCALE 1 "
                                             "and a whole-number BZERO");
        unpadded.fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (unpadded.fd < 0) throw file_error(path, std::string("cannot open: ") + std::strerror(errno));
        unpadded.data_start = data_start;
        unpadded.bzero = static_cast<int64_t>(bzero);
        if (info.truncated.empty())
            info.notes.push_back("data not padded to a whole 2880-byte record (" +
                                 std::to_string(data_end - st.st_size) + " bytes short), read directly");
    }
    closer.keep = true;
    return std::make_unique<FitsSource>(f, std::move(info), unpadded);
}

}  // namespace kvcli
