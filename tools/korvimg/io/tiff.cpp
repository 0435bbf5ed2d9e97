// TIFF output through libtiff: baseline RGB, RGBA (unassociated alpha) or grey,
// 8 or 16 bits per sample, one strip per row group, deflate-compressed.
#include <tiffio.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "failure.h"
#include "io/output.h"

namespace kvcli {

namespace {

// libtiff reports through a process-wide handler; the last message is kept per thread.
thread_local std::string tiff_message;
void on_tiff_error(const char *module, const char *format, va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    tiff_message = module != nullptr ? std::string(module) + ": " + text : std::string(text);
}
void on_tiff_warning(const char *, const char *, va_list) {}

}  // namespace

void write_tiff(AtomicFile &file, const FilePixels &pixels) {
    static std::once_flag handlers;
    std::call_once(handlers, [] {
        TIFFSetErrorHandler(on_tiff_error);
        TIFFSetWarningHandler(on_tiff_warning);
    });
    tiff_message.clear();
    // libtiff's messages name the temporary file; ours name the picture.
    auto failure = [&file](int refused) {
        if (refused != 0) return file_error(file.path(), std::string("cannot write: ") + std::strerror(refused));
        std::string text = tiff_message;
        for (size_t at = 0; (at = text.find(file.temp_path(), at)) != std::string::npos; at += file.path().size())
            text.replace(at, file.temp_path().size(), file.path());
        return file_error(file.path(), "cannot write TIFF: " + text);
    };
    // The temporary file exists already; libtiff writes it again by name.
    std::fflush(file.stream());
    errno = 0;  // a write the file refused (a full disk, say) leaves its reason here
    TIFF *tif = TIFFOpen(file.temp_path().c_str(), "w");
    if (tif == nullptr) throw failure(errno);
    const uint16_t channels = static_cast<uint16_t>(pixels.channels);
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(pixels.width));
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(pixels.height));
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, channels);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, static_cast<uint16_t>(pixels.bits));
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, channels <= 2 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB);
    TIFFSetField(tif, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tif, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tif, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (channels == 2 || channels == 4) {
        const uint16_t extra[] = {EXTRASAMPLE_UNASSALPHA};
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, extra);
    }
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif, 0));
    const size_t row = static_cast<size_t>(pixels.width) * channels;
    std::vector<uint8_t> scratch(row * static_cast<size_t>(pixels.bits / 8));
    bool ok = true;
    errno = 0;
    for (int32_t y = 0; y < pixels.height && ok; ++y) {
        // TIFFWriteScanline may change the buffer (the predictor works in place).
        const uint8_t *src = pixels.bits == 8 ? &pixels.p8[static_cast<size_t>(y) * row]
                                              : reinterpret_cast<const uint8_t *>(&pixels.p16[static_cast<size_t>(y) * row]);
        std::copy(src, src + scratch.size(), scratch.begin());
        ok = TIFFWriteScanline(tif, scratch.data(), static_cast<uint32_t>(y), 0) == 1;
    }
    if (ok) ok = TIFFWriteDirectory(tif) == 1;
    const int refused = ok ? 0 : errno;
    TIFFClose(tif);
    if (!ok) throw failure(refused);
}

}  // namespace kvcli
