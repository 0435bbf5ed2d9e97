#include "files.h"

#include <fitsio.h>
#include <tiffio.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include "io/output.h"
#include "lib.h"
#include "support.h"

namespace kvtest {

Samples random_frame(int32_t width, int32_t height, uint32_t maxv, std::mt19937 &rng) {
    Samples s(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (auto &v : s) v = static_cast<uint16_t>(rng() % (maxv + 1));
    return s;
}

std::vector<Samples> random_frames(int count, int32_t width, int32_t height, uint32_t maxv, std::mt19937 &rng) {
    std::vector<Samples> frames;
    for (int i = 0; i < count; ++i) frames.push_back(random_frame(width, height, maxv, rng));
    return frames;
}

namespace {
void put32(std::vector<uint8_t> &b, int32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i)));
}
void put64(std::vector<uint8_t> &b, uint64_t v) {
    for (int i = 0; i < 8; ++i) b.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
}  // namespace

SerSpec ser_spec(int32_t colour_id, int32_t width, int32_t height, int32_t depth, bool big_endian) {
    SerSpec spec;
    spec.colour_id = colour_id;
    spec.width = width;
    spec.height = height;
    spec.depth = depth;
    spec.little_endian_flag = big_endian ? 0 : 1;
    spec.big_endian_data = big_endian;
    return spec;
}

std::vector<uint8_t> ser_bytes(const SerSpec &spec, const std::vector<Samples> &frames) {
    const std::string id = "LUCAM-RECORDER";
    std::vector<uint8_t> b(id.begin(), id.end());
    put32(b, 0);
    put32(b, spec.colour_id);
    put32(b, spec.little_endian_flag);
    put32(b, spec.width);
    put32(b, spec.height);
    put32(b, spec.depth);
    put32(b, spec.frame_count != -1 ? spec.frame_count : static_cast<int32_t>(frames.size()));
    for (int i = 0; i < 120; ++i) b.push_back(i < 8 ? static_cast<uint8_t>("observer"[i]) : 0);
    put64(b, 638000000000000000ULL);
    put64(b, 638000000000000000ULL);
    for (const auto &f : frames)
        for (uint16_t v : f) {
            if (spec.depth <= 8) {
                b.push_back(static_cast<uint8_t>(v));
            } else if (spec.big_endian_data) {
                b.push_back(static_cast<uint8_t>(v >> 8));
                b.push_back(static_cast<uint8_t>(v));
            } else {
                b.push_back(static_cast<uint8_t>(v));
                b.push_back(static_cast<uint8_t>(v >> 8));
            }
        }
    if (spec.timestamps)
        for (size_t i = 0; i < frames.size(); ++i) put64(b, 638000000000000000ULL + i * 200000ULL);
    return b;
}

void write_fits(const std::string &path, int bitpix, int32_t width, int32_t height, const std::vector<Samples> &frames,
                const std::string &bayerpat, int xoff, int yoff) {
    std::remove(path.c_str());
    fitsfile *f = nullptr;
    int status = 0;
    fits_create_diskfile(&f, path.c_str(), &status);
    long naxes[3] = {width, height, static_cast<long>(frames.size())};
    const int type = bitpix == 8 ? BYTE_IMG : bitpix == 16 ? SHORT_IMG : USHORT_IMG;
    fits_create_img(f, type, frames.size() > 1 ? 3 : 2, naxes, &status);
    if (!bayerpat.empty()) {
        fits_write_key(f, TSTRING, "BAYERPAT", const_cast<char *>(bayerpat.c_str()), "mosaic", &status);
        fits_write_key(f, TINT, "XBAYROFF", &xoff, "", &status);
        fits_write_key(f, TINT, "YBAYROFF", &yoff, "", &status);
    }
    std::vector<int32_t> all;
    for (const auto &fr : frames) all.insert(all.end(), fr.begin(), fr.end());
    fits_write_img(f, TINT, 1, static_cast<LONGLONG>(all.size()), all.data(), &status);
    fits_close_file(f, &status);
    if (status != 0) throw std::runtime_error("cfitsio could not write the test file");
}

std::vector<uint8_t> pgm_bytes(int32_t width, int32_t height, int maxval, const Samples &frame,
                               const std::string &comment) {
    std::string head = "P5\n" + (comment.empty() ? "" : "# " + comment + "\n") + std::to_string(width) + " " +
                       std::to_string(height) + "\n" + std::to_string(maxval) + "\n";
    std::vector<uint8_t> b(head.begin(), head.end());
    for (uint16_t v : frame) {
        if (maxval > 255) b.push_back(static_cast<uint8_t>(v >> 8));
        b.push_back(static_cast<uint8_t>(v));
    }
    return b;
}

void write_grey_png(const std::string &path, int32_t width, int32_t height, int bits, int significant,
                    const Samples &frame) {
    kvcli::FilePixels px;
    px.width = width;
    px.height = height;
    px.channels = 1;
    px.bits = bits;
    px.significant = significant;
    if (bits == 8) px.p8.assign(frame.begin(), frame.end());
    else px.p16 = frame;
    kvcli::write_picture(path, px);
}

std::vector<uint8_t> raw_bytes(const std::vector<Samples> &frames, int bytes_per_sample, bool big_endian) {
    std::vector<uint8_t> b;
    for (const auto &f : frames)
        for (uint16_t v : f) {
            if (bytes_per_sample == 1) b.push_back(static_cast<uint8_t>(v));
            else if (big_endian) b.insert(b.end(), {static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v)});
            else b.insert(b.end(), {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)});
        }
    return b;
}

namespace {

Picture read_tiff(const std::string &path) {
    Picture p;
    TIFF *t = TIFFOpen(path.c_str(), "r");
    if (t == nullptr) return p;
    uint32_t w = 0, h = 0;
    uint16_t spp = 0, bps = 0;
    TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &w);
    TIFFGetField(t, TIFFTAG_IMAGELENGTH, &h);
    TIFFGetField(t, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetField(t, TIFFTAG_BITSPERSAMPLE, &bps);
    p.width = static_cast<int32_t>(w);
    p.height = static_cast<int32_t>(h);
    p.channels = spp;
    p.bits = bps;
    std::vector<uint8_t> line(static_cast<size_t>(TIFFScanlineSize(t)));
    for (uint32_t y = 0; y < h; ++y) {
        TIFFReadScanline(t, line.data(), y, 0);
        for (size_t i = 0; i < static_cast<size_t>(w) * spp; ++i) {
            uint32_t v = line[i];
            if (bps == 16) {
                uint16_t word;
                std::memcpy(&word, &line[2 * i], 2);
                v = word;
            }
            p.samples.push_back(v);
        }
    }
    TIFFClose(t);
    return p;
}

// P5, P6 or P7 with 8- or 16-bit (big-endian) samples.
Picture read_netpbm(const std::string &path) {
    Picture p;
    const auto bytes = read_file(path);
    std::string text(bytes.begin(), bytes.end());
    size_t data = 0;
    int maxval = 0;
    if (text.compare(0, 2, "P7") == 0) {
        const size_t end = text.find("ENDHDR\n");
        std::string head = text.substr(0, end);
        auto field = [&](const std::string &k) {
            const size_t at = head.find("\n" + k + " ");
            return at == std::string::npos ? 0 : std::stoi(head.substr(at + k.size() + 2));
        };
        p.width = field("WIDTH");
        p.height = field("HEIGHT");
        p.channels = field("DEPTH");
        maxval = field("MAXVAL");
        data = end + 7;
    } else {
        p.channels = text[1] == '5' ? 1 : 3;
        size_t pos = 2;
        int values[3];
        for (int &v : values) {
            while (text[pos] == ' ' || text[pos] == '\n') ++pos;
            size_t used = 0;
            v = std::stoi(text.substr(pos), &used);
            pos += used;
        }
        p.width = values[0];
        p.height = values[1];
        maxval = values[2];
        data = pos + 1;
    }
    p.bits = maxval > 255 ? 16 : 8;
    const size_t n = static_cast<size_t>(p.width) * static_cast<size_t>(p.height) * static_cast<size_t>(p.channels);
    for (size_t i = 0; i < n; ++i)
        p.samples.push_back(p.bits == 8 ? bytes[data + i] : static_cast<uint32_t>(bytes[data + 2 * i] << 8 | bytes[data + 2 * i + 1]));
    return p;
}

uint32_t big32(const std::vector<uint8_t> &b, size_t at) {
    return uint32_t{b[at]} << 24 | uint32_t{b[at + 1]} << 16 | uint32_t{b[at + 2]} << 8 | b[at + 3];
}

// A non-interlaced PNG of 8- or 16-bit grey, grey + alpha, RGB or RGBA: its chunks
// (each CRC checked), the inflated IDAT stream and the five row filters undone.
Picture read_png_file(const std::string &path) {
    const auto b = read_file(path);
    auto bad = [&](const std::string &why) { return std::runtime_error(path + ": " + why); };
    const uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    if (b.size() < 8 || std::memcmp(b.data(), signature, 8) != 0) throw bad("no PNG signature");
    Picture p;
    int colour_type = -1;
    std::vector<uint8_t> compressed;
    bool ended = false;
    for (size_t at = 8; !ended;) {
        if (at + 12 > b.size()) throw bad("a chunk runs past the end of the file");
        const uint32_t length = big32(b, at);
        if (length > b.size() - at - 12) throw bad("a chunk runs past the end of the file");
        const std::string type(reinterpret_cast<const char *>(&b[at + 4]), 4);
        const uint8_t *data = &b[at + 8];
        if (crc32(0, &b[at + 4], length + 4) != big32(b, at + 8 + length)) throw bad("bad CRC in " + type);
        if (type == "IHDR") {
            if (length != 13) throw bad("IHDR of " + std::to_string(length) + " bytes");
            p.width = static_cast<int32_t>(big32(b, at + 8));
            p.height = static_cast<int32_t>(big32(b, at + 12));
            p.bits = data[8];
            colour_type = data[9];
            if (data[10] != 0 || data[11] != 0 || data[12] != 0) throw bad("compression, filter or interlace not 0");
        } else if (type == "sBIT") {
            for (uint32_t k = 1; k < length; ++k)
                if (data[k] != data[0]) throw bad("sBIT differs between channels");
            p.significant = length == 0 ? 0 : data[0];
        } else if (type == "IDAT") {
            compressed.insert(compressed.end(), data, data + length);
        } else if (type == "IEND") {
            ended = true;
        }
        at += 12 + length;
    }
    switch (colour_type) {
        case 0: p.channels = 1; break;
        case 4: p.channels = 2; break;
        case 2: p.channels = 3; break;
        case 6: p.channels = 4; break;
        default: throw bad("colour type " + std::to_string(colour_type));
    }
    if (p.bits != 8 && p.bits != 16) throw bad("bit depth " + std::to_string(p.bits));
    if (p.significant == 0) p.significant = p.bits;
    const size_t pixel = static_cast<size_t>(p.channels) * static_cast<size_t>(p.bits / 8);
    const size_t row = static_cast<size_t>(p.width) * pixel;
    std::vector<uint8_t> raw((row + 1) * static_cast<size_t>(p.height));
    uLongf size = static_cast<uLongf>(raw.size());
    if (uncompress(raw.data(), &size, compressed.data(), static_cast<uLong>(compressed.size())) != Z_OK ||
        size != raw.size())
        throw bad("IDAT does not inflate to the picture's rows");
    std::vector<uint8_t> previous(row, 0), line(row);
    for (int32_t y = 0; y < p.height; ++y) {
        const uint8_t *in = &raw[static_cast<size_t>(y) * (row + 1)];
        const int filter = in[0];
        ++in;
        for (size_t i = 0; i < row; ++i) {
            const int a = i >= pixel ? line[i - pixel] : 0, up = previous[i], c = i >= pixel ? previous[i - pixel] : 0;
            int predicted = 0;
            switch (filter) {
                case 0: break;
                case 1: predicted = a; break;
                case 2: predicted = up; break;
                case 3: predicted = (a + up) / 2; break;
                case 4: {
                    const int e = a + up - c, da = std::abs(e - a), db = std::abs(e - up), dc = std::abs(e - c);
                    predicted = da <= db && da <= dc ? a : db <= dc ? up : c;
                    break;
                }
                default: throw bad("row filter " + std::to_string(filter));
            }
            line[i] = static_cast<uint8_t>(in[i] + predicted);
        }
        for (size_t i = 0; i < row; i += p.bits / 8)
            p.samples.push_back(p.bits == 8 ? line[i] : uint32_t{line[i]} << 8 | line[i + 1]);
        previous = line;
    }
    return p;
}

}  // namespace

Picture read_picture(const std::string &path) {
    const std::string ext = path.substr(path.find_last_of('.') + 1);
    if (ext == "tif") return read_tiff(path);
    if (ext == "ppm" || ext == "pgm" || ext == "pam") return read_netpbm(path);
    return read_png_file(path);
}

Picture expected_picture(const std::vector<uint32_t> &library, int32_t width, int32_t height, int channels,
                         int bits, int significant, bool grey) {
    Picture p;
    p.width = width;
    p.height = height;
    p.channels = (grey ? 1 : 3) + (channels == 4 ? 1 : 0);
    p.bits = bits;
    const uint32_t top = bits == 8 ? 255 : (1u << significant) - 1;
    const int shift = bits == 8 ? 0 : 16 - significant;
    // A 16-bit value: the sample in the top bits, its top bits again below it (the
    // significant bits are at least 8, so once is enough).
    auto scale = [&](uint32_t v) {
        v = v > top ? top : v;
        return bits == 8 ? v : (v << shift | v >> (significant - shift)) & 0xffffu;
    };
    const size_t n = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (size_t i = 0; i < n; ++i) {
        const uint32_t *px = &library[i * static_cast<size_t>(channels)];
        if (grey) {
            p.samples.push_back(scale(px[1]));
        } else {
            p.samples.push_back(scale(px[2]));
            p.samples.push_back(scale(px[1]));
            p.samples.push_back(scale(px[0]));
        }
        if (channels == 4) p.samples.push_back(scale(top));
    }
    return p;
}

std::vector<uint32_t> library_demosaic(int method, int format, int pattern, const Samples &frame, int32_t width,
                                       int32_t height) {
    const int channels = format == 24 || format == 48 ? 3 : 4;
    const size_t n = static_cast<size_t>(kvcli::output_width(method, width)) *
                     static_cast<size_t>(kvcli::output_height(method, height)) * static_cast<size_t>(channels);
    const auto p = static_cast<uint32_t>(pattern), m = static_cast<uint32_t>(method);
    std::vector<uint32_t> out;
    if (format <= 32) {
        std::vector<uint8_t> src(frame.begin(), frame.end()), dst(n);
        const auto call = format == 24 ? debayer24 : debayer32;
        call(src.data(), width, height, p, m, dst.data());
        out.assign(dst.begin(), dst.end());
    } else {
        std::vector<uint16_t> dst(n);
        const auto call = format == 48 ? debayer48 : debayer64;
        call(frame.data(), width, height, p, m, dst.data());
        out.assign(dst.begin(), dst.end());
    }
    return out;
}

}  // namespace kvtest
