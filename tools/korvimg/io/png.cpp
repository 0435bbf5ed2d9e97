// PNG through libpng. libpng reports errors by longjmp, so the code that runs under
// setjmp keeps no C++ objects of its own: it works on objects of its caller.
#include "io/png.h"

#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "failure.h"
#include "io/limits.h"
#include "io/output.h"

namespace kvcli {

namespace {

void on_error(png_structp png, png_const_charp message) {
    auto *text = static_cast<std::string *>(png_get_error_ptr(png));
    text->assign(message);
    png_longjmp(png, 1);
}
void on_warning(png_structp, png_const_charp) {}

struct Decoding {
    std::FILE *file;
    int64_t file_size;  // -1 when unknown
    std::string error;
    FilePixels *out;
    std::vector<png_bytep> rows;
};

bool decode(Decoding *d) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &d->error, on_error, on_warning);
    if (png == nullptr) return false;
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_set_user_limits(png, static_cast<png_uint_32>(kMaxSide), static_cast<png_uint_32>(kMaxSide));
    png_init_io(png, d->file);
    png_read_info(png, info);
    const png_uint_32 width = png_get_image_width(png, info);
    const png_uint_32 height = png_get_image_height(png, info);
    if (!plausible_size(width, height)) png_error(png, "image too large");
    // Deflate turns a byte into at most 1032 bytes; a header that claims more than its
    // file could hold is refused before room is made for the pixels.
    const int64_t raw_bytes = static_cast<int64_t>(png_get_rowbytes(png, info)) * int64_t{height};
    if (d->file_size >= 0 && raw_bytes / 1032 > d->file_size)
        png_error(png, "the file is far too small for the image size its header gives");
    int significant = png_get_bit_depth(png, info) < 8 ? 8 : png_get_bit_depth(png, info);
    png_color_8p sbit = nullptr;
    if (png_get_sBIT(png, info, &sbit) != 0 && sbit != nullptr) {
        const int ct = png_get_color_type(png, info);
        const int s = (ct & PNG_COLOR_MASK_COLOR) != 0 ? sbit->red : sbit->gray;
        if (s >= 1 && s <= significant) significant = s;
    }
    png_set_expand(png);
    png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    FilePixels &out = *d->out;
    out.width = static_cast<int32_t>(width);
    out.height = static_cast<int32_t>(height);
    out.channels = png_get_channels(png, info);
    out.bits = png_get_bit_depth(png, info);
    out.significant = out.bits == 8 ? 8 : significant;
    const size_t samples = static_cast<size_t>(width) * height * static_cast<size_t>(out.channels);
    const size_t row_samples = static_cast<size_t>(width) * static_cast<size_t>(out.channels);
    d->rows.resize(height);
    if (out.bits == 8) {
        out.p8.assign(samples, 0);
        for (png_uint_32 y = 0; y < height; ++y) d->rows[y] = &out.p8[y * row_samples];
    } else {
        out.p16.assign(samples, 0);
        for (png_uint_32 y = 0; y < height; ++y)
            d->rows[y] = reinterpret_cast<png_bytep>(&out.p16[y * row_samples]);
    }
    png_read_image(png, d->rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

struct Encoding {
    std::FILE *file;
    std::string error;
    const FilePixels *in;
    int level;
    std::vector<png_bytep> rows;
    int write_errno = 0;  // why the file refused bytes (a full disk, say), if it did
};

// The file's output for libpng; a write or flush it refuses keeps errno's reason.
void refused(png_structp png, Encoding *e) {
    e->write_errno = errno != 0 ? errno : EIO;
    png_error(png, "write error");
}
void write_bytes(png_structp png, png_bytep data, size_t length) {
    auto *e = static_cast<Encoding *>(png_get_io_ptr(png));
    if (std::fwrite(data, 1, length, e->file) != length) refused(png, e);
}
void flush_bytes(png_structp png) {
    auto *e = static_cast<Encoding *>(png_get_io_ptr(png));
    if (std::fflush(e->file) != 0) refused(png, e);
}

bool encode(Encoding *e) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &e->error, on_error, on_warning);
    if (png == nullptr) return false;
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    const FilePixels &in = *e->in;
    png_set_write_fn(png, e, write_bytes, flush_bytes);
    png_set_compression_level(png, e->level);
    // Row filters only help the compressor; stored data gains nothing from them.
    if (e->level == 0) png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    static const int kTypes[] = {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                                 PNG_COLOR_TYPE_RGB_ALPHA};
    const int type = kTypes[in.channels - 1];
    png_set_IHDR(png, info, static_cast<png_uint_32>(in.width), static_cast<png_uint_32>(in.height), in.bits,
                 type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (in.significant < in.bits) {
        png_color_8 sbit{};
        sbit.red = sbit.green = sbit.blue = sbit.gray = static_cast<png_byte>(in.significant);
        sbit.alpha = static_cast<png_byte>(in.significant);
        png_set_sBIT(png, info, &sbit);
    }
    png_write_info(png, info);
    if (in.bits == 16) png_set_swap(png);
    const size_t row_samples = static_cast<size_t>(in.width) * static_cast<size_t>(in.channels);
    e->rows.resize(static_cast<size_t>(in.height));
    for (size_t y = 0; y < e->rows.size(); ++y)
        e->rows[y] = in.bits == 8 ? const_cast<png_bytep>(&in.p8[y * row_samples])
                                  : reinterpret_cast<png_bytep>(const_cast<uint16_t *>(&in.p16[y * row_samples]));
    png_write_image(png, e->rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

bool is_png(const uint8_t *head, size_t size) { return size >= 8 && png_sig_cmp(head, 0, 8) == 0; }

FilePixels read_png(const std::string &path) {
    std::FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) throw file_error(path, std::string("cannot open: ") + std::strerror(errno));
    struct stat st {};
    const int64_t size = fstat(fileno(f), &st) == 0 && S_ISREG(st.st_mode) ? int64_t{st.st_size} : -1;
    FilePixels out;
    Decoding d{f, size, "", &out, {}};
    const bool ok = decode(&d);
    const bool cut_short = !ok && std::feof(f) != 0;  // the decoder wanted more than there is
    std::fclose(f);
    if (cut_short) throw file_error(path, "bad PNG: the file ends before its image does (cut short)");
    if (!ok) throw file_error(path, "bad PNG: " + (d.error.empty() ? std::string("cannot decode") : d.error));
    return out;
}

void write_png(AtomicFile &file, const FilePixels &pixels, int level) {
    Encoding e{file.stream(), "", &pixels, level, {}};
    if (encode(&e)) return;
    if (e.write_errno != 0) throw file_error(file.path(), std::string("cannot write: ") + std::strerror(e.write_errno));
    throw file_error(file.path(), "cannot write PNG: " + e.error);
}

}  // namespace kvcli
