// The readers on their own: what they report about a file and the samples they give.
#include <gtest/gtest.h>

#include <fitsio.h>
#include <sys/stat.h>

#include <algorithm>

#include "failure.h"
#include "files.h"
#include "io/output.h"
#include "io/source.h"
#include "support.h"

namespace {

using kvtest::Samples;

Samples frame_samples(kvcli::Source &s, uint32_t index) {
    kvcli::RawFrame f;
    s.read(index, f);
    return f.wide() ? Samples(f.s16.begin(), f.s16.end()) : Samples(f.s8.begin(), f.s8.end());
}

// The message of the file error the reader throws, or "" when it throws none.
std::string error_of(const std::string &path, const kvcli::OpenOptions &o = {}) {
    try {
        kvcli::open_source(path, o);
    } catch (const kvcli::Failure &f) {
        EXPECT_EQ(f.code(), kvcli::kInputError) << f.line();
        return f.what();
    }
    return "";
}

TEST(SerReader, HeaderFieldsFramesAndTimeStamps) {
    kvtest::TempDir d;
    std::mt19937 rng(20);
    std::vector<Samples> frames{kvtest::random_frame(6, 4, 1023, rng), kvtest::random_frame(6, 4, 1023, rng)};
    kvtest::SerSpec spec = kvtest::ser_spec(10, 6, 4, 10);
    spec.timestamps = true;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(spec, frames));
    auto s = kvcli::open_source(d.path("a.ser"), {});
    const auto &i = s->info();
    EXPECT_EQ(i.format, "SER");
    EXPECT_EQ(i.width, 6);
    EXPECT_EQ(i.height, 4);
    EXPECT_EQ(i.bits, 10);
    EXPECT_EQ(i.frames, 2u);
    EXPECT_EQ(i.pattern, 2);  // gbrg
    EXPECT_FALSE(i.monochrome);
    bool stamps = false;
    for (const auto &n : i.notes) stamps = stamps || n.find("time stamps: 2") == 0;
    EXPECT_TRUE(stamps);
    EXPECT_EQ(frame_samples(*s, 0), frames[0]);
    EXPECT_EQ(frame_samples(*s, 1), frames[1]);
}

TEST(SerReader, ByteOrderFlagAndDepths) {
    kvtest::TempDir d;
    std::mt19937 rng(21);
    std::vector<Samples> frames{kvtest::random_frame(4, 2, 65535, rng)};
    kvtest::SerSpec spec = kvtest::ser_spec(0, 4, 2, 16, true);
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(spec, frames));
    auto s = kvcli::open_source(d.path("b.ser"), {});
    EXPECT_TRUE(s->info().monochrome);
    EXPECT_EQ(s->info().pattern, -1);
    EXPECT_EQ(s->info().bits, 16);
    EXPECT_EQ(frame_samples(*s, 0), frames[0]);
    // Depths between the library's are read at the next one up: 9 -> 10, 11 -> 12, 14 -> 16.
    for (auto [depth, bits] : {std::pair{9, 10}, {11, 12}, {14, 16}, {6, 8}}) {
        spec.depth = depth;
        kvtest::write_file(d.path("c.ser"), kvtest::ser_bytes(spec, {Samples(8, 3)}));
        EXPECT_EQ(kvcli::open_source(d.path("c.ser"), {})->info().bits, bits) << depth;
    }
}

TEST(SerReader, SamplesAboveTheDepthAreClamped) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 2, 2, 12), {Samples{1, 4095, 4096, 65535}}));
    auto s = kvcli::open_source(d.path("a.ser"), {});
    EXPECT_EQ(frame_samples(*s, 0), (Samples{1, 4095, 4095, 4095}));
    EXPECT_EQ(s->clamped(), 2u);
}

// A region of a frame is clamped and widened as the whole frame is, and only its own
// samples are counted.
TEST(SerReader, RegionsAreClampedAndCountedAlone) {
    kvtest::TempDir d;
    const Samples frame{1, 4095, 4096, 65535, 5000, 7, 8, 9};  // 4 x 2
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 2, 12), {frame}));
    auto s = kvcli::open_source(d.path("a.ser"), {});
    kvcli::RawFrame f;
    const kvcli::Region middle{1, 0, 2, 2};
    s->read(0, f, &middle);
    EXPECT_EQ(f.width, 2);
    EXPECT_EQ(f.height, 2);
    EXPECT_EQ(Samples(f.s16.begin(), f.s16.end()), (Samples{4095, 4095, 7, 8}));
    EXPECT_EQ(s->clamped(), 1u);
    const kvcli::Region left{0, 1, 1, 1};
    s->read(0, f, &left);
    EXPECT_EQ(Samples(f.s16.begin(), f.s16.end()), Samples{4095});
    EXPECT_EQ(s->clamped(), 2u);
    // An 11-bit file is read at 12 bits: the region's samples are widened too.
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 2, 11), {frame}));
    s = kvcli::open_source(d.path("b.ser"), {});
    s->read(0, f, &middle);
    EXPECT_EQ(Samples(f.s16.begin(), f.s16.end()), (Samples{4095, 4095, 14, 16}));
    EXPECT_EQ(s->clamped(), 2u);
}

TEST(SerReader, RefusesBadHeaders) {
    kvtest::TempDir d;
    const Samples f(16, 7);
    auto check = [&](kvtest::SerSpec spec, const std::vector<Samples> &frames, const std::string &message) {
        kvtest::write_file(d.path("x.ser"), kvtest::ser_bytes(spec, frames));
        EXPECT_NE(error_of(d.path("x.ser")).find(message), std::string::npos) << message;
    };
    check(kvtest::ser_spec(7, 4, 4), {f}, "unknown SER colour ID 7");
    check(kvtest::ser_spec(100, 4, 4), {f}, "unsupported SER colour ID 100 (RGB frames, already in colour)");
    check(kvtest::ser_spec(17, 4, 4), {f}, "unsupported SER colour ID 17");
    check(kvtest::ser_spec(8, 0, 4), {f}, "implausible SER frame size 0 x 4");
    check(kvtest::ser_spec(8, 0x7fffffff, 0x7fffffff), {f}, "implausible SER frame size");
    check(kvtest::ser_spec(8, 4, -4), {f}, "implausible");
    check(kvtest::ser_spec(8, 4, 4, 17), {f}, "bad SER pixel depth 17");
    const kvtest::SerSpec ok = kvtest::ser_spec(8, 4, 4);
    auto counted = [&](int32_t frames) {
        kvtest::SerSpec spec = ok;
        spec.frame_count = frames;
        return spec;
    };
    check(counted(-2), {f}, "SER header gives -2 frames");
    auto bytes = kvtest::ser_bytes(ok, {f});
    bytes.resize(100);
    kvtest::write_file(d.path("short.ser"), bytes);
    EXPECT_NE(error_of(d.path("short.ser")).find("truncated SER header (100 of 178 bytes)"), std::string::npos);
}

// A SER pixel depth runs from 1 to 16: 0 is as bad as 17, and 1 is read.
TEST(SerReader, PixelDepthFrom1To16) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 4, 0), {Samples(16, 0)}));
    EXPECT_NE(error_of(d.path("a.ser")).find("bad SER pixel depth 0"), std::string::npos) << error_of(d.path("a.ser"));
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 4, 1), {Samples(16, 1)}));
    auto s = kvcli::open_source(d.path("b.ser"), {});
    EXPECT_EQ(s->info().bits, 8);
    EXPECT_EQ(frame_samples(*s, 0), Samples(16, 255));  // 1-bit full scale widened to 8 bits
}

// A capture cut short: the whole frames are there to be read, and the reader says what
// is missing; a file without one whole frame is refused.
TEST(SerReader, CutShortGivesItsWholeFrames) {
    kvtest::TempDir d;
    std::mt19937 rng(31);
    const std::vector<Samples> frames = kvtest::random_frames(3, 4, 4, 255, rng);
    kvtest::SerSpec spec = kvtest::ser_spec(8, 4, 4);
    spec.frame_count = 5;
    auto bytes = kvtest::ser_bytes(spec, frames);
    bytes.resize(bytes.size() - 7);  // the third frame is cut
    kvtest::write_file(d.path("a.ser"), bytes);
    auto s = kvcli::open_source(d.path("a.ser"), {});
    const auto &i = s->info();
    EXPECT_EQ(i.frames, 2u);
    const std::string promise = "the header promises 5 frames of 4 x 4 samples (258 bytes in all), the file has 219 bytes";
    EXPECT_EQ(i.truncated, "truncated: " + promise + ", 2 whole frames");
    EXPECT_EQ(i.warnings, std::vector<std::string>{"truncated: " + promise + ", 2 whole frames, which alone are read"});
    EXPECT_EQ(frame_samples(*s, 0), frames[0]);
    EXPECT_EQ(frame_samples(*s, 1), frames[1]);
    // Whole files say nothing of the kind.
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 4), frames));
    EXPECT_EQ(kvcli::open_source(d.path("b.ser"), {})->info().truncated, "");
    spec.frame_count = 0x7fffffff;
    kvtest::write_file(d.path("c.ser"), kvtest::ser_bytes(spec, {frames[0]}));
    EXPECT_EQ(kvcli::open_source(d.path("c.ser"), {})->info().frames, 1u);
    // A count of 0 (a writer that stopped before finishing the header): the file's
    // whole frames, time stamps or not.
    const std::string count_left_at_0 =
        "unfinished: the header gives 0 frames (as a writer that stopped early leaves it), the file has ";
    kvtest::SerSpec unfinished = kvtest::ser_spec(8, 8, 8);
    unfinished.frame_count = 0;
    const std::vector<Samples> big = kvtest::random_frames(3, 8, 8, 255, rng);
    kvtest::write_file(d.path("z.ser"), kvtest::ser_bytes(unfinished, big));
    auto z = kvcli::open_source(d.path("z.ser"), {});
    EXPECT_EQ(z->info().frames, 3u);
    EXPECT_EQ(z->info().truncated, count_left_at_0 + "370 bytes, 3 whole frames");
    EXPECT_EQ(frame_samples(*z, 2), big[2]);
    for (const auto &n : z->info().notes) EXPECT_EQ(n.find("time stamps"), std::string::npos) << n;
    unfinished.timestamps = true;  // two frames and two stamps: 144 bytes, not a third frame and a bit
    kvtest::write_file(d.path("z.ser"), kvtest::ser_bytes(unfinished, {big[0], big[1]}));
    auto zs = kvcli::open_source(d.path("z.ser"), {});
    EXPECT_EQ(zs->info().frames, 2u);
    EXPECT_EQ(zs->info().truncated, count_left_at_0 + "322 bytes of frames and their time stamps, 2 whole frames");
    // Six 16-byte frames are 96 bytes, as are four frames and four stamps; pixels that
    // do not read as dates in order are frames.
    kvtest::SerSpec small = kvtest::ser_spec(8, 4, 4);
    small.frame_count = 0;
    kvtest::write_file(d.path("z6.ser"), kvtest::ser_bytes(small, kvtest::random_frames(6, 4, 4, 255, rng)));
    EXPECT_EQ(kvcli::open_source(d.path("z6.ser"), {})->info().frames, 6u);
    // Nor do rising bytes, which read as dates in order but thousands of years ahead.
    std::vector<Samples> rising(6, Samples(16));
    for (size_t k = 0; k < 6; ++k)
        for (size_t i = 0; i < 16; ++i) rising[k][i] = static_cast<uint16_t>(0x30 + 16 * (k % 2) + i);
    kvtest::write_file(d.path("z6.ser"), kvtest::ser_bytes(small, rising));
    EXPECT_EQ(kvcli::open_source(d.path("z6.ser"), {})->info().frames, 6u);
    // Time stamps of one instant (a clock coarser than the frame rate) are in order too.
    const std::vector<Samples> four = kvtest::random_frames(4, 4, 4, 255, rng);
    bytes = kvtest::ser_bytes(small, four);
    for (int k = 0; k < 4; ++k)
        for (int b = 0; b < 8; ++b) bytes.push_back(static_cast<uint8_t>(638000000000000000ULL >> (8 * b)));
    kvtest::write_file(d.path("z4.ser"), bytes);
    auto z4 = kvcli::open_source(d.path("z4.ser"), {});
    EXPECT_EQ(z4->info().frames, 4u);
    EXPECT_EQ(z4->info().truncated, count_left_at_0 + "274 bytes of frames and their time stamps, 4 whole frames");
    EXPECT_EQ(frame_samples(*z4, 3), four[3]);
    small.timestamps = true;
    kvtest::write_file(d.path("z4.ser"), kvtest::ser_bytes(small, kvtest::random_frames(4, 4, 4, 255, rng)));
    EXPECT_EQ(kvcli::open_source(d.path("z4.ser"), {})->info().frames, 4u);
    bytes = kvtest::ser_bytes(unfinished, {big[0], big[1]});
    bytes.pop_back();  // no longer frames and stamps exactly: two whole frames and more
    kvtest::write_file(d.path("z.ser"), bytes);
    EXPECT_EQ(kvcli::open_source(d.path("z.ser"), {})->info().frames, 2u);
    bytes = kvtest::ser_bytes(unfinished, {});
    kvtest::write_file(d.path("z.ser"), bytes);
    EXPECT_EQ(error_of(d.path("z.ser")),
              count_left_at_0 + "178 bytes, not one whole frame");
    spec.frame_count = 1;
    bytes = kvtest::ser_bytes(spec, {frames[0]});
    bytes.pop_back();
    kvtest::write_file(d.path("d.ser"), bytes);
    EXPECT_EQ(error_of(d.path("d.ser")),
              "truncated: the header promises 1 frame of 4 x 4 samples (194 bytes in all), the file has 193 bytes, not one "
              "whole frame");
}

// Sets a header keyword of a FITS file written by write_fits; cfitsio's status.
int set_fits_key(const std::string &path, const char *key, int type, void *value) {
    fitsfile *f = nullptr;
    int status = 0;
    fits_open_diskfile(&f, path.c_str(), READWRITE, &status);
    fits_update_key(f, type, key, value, "", &status);
    fits_close_file(f, &status);
    return status;
}

// Data that stop where the samples do, without the padding to a whole 2880-byte
// record: every sample is there, and each reads as from the padded file.
TEST(FitsReader, DataWithoutTheirPadding) {
    kvtest::TempDir d;
    std::mt19937 rng(23);
    struct Case {
        int bitpix;
        uint32_t largest;
        size_t sample_bytes;
    };
    for (const Case &c : {Case{20, 65535, 2}, Case{16, 32767, 2}, Case{8, 255, 1}}) {
        std::vector<Samples> frames{kvtest::random_frame(7, 5, c.largest, rng), kvtest::random_frame(7, 5, c.largest, rng)};
        frames[1][0] = static_cast<uint16_t>(c.largest);
        kvtest::write_fits(d.path("p.fits"), c.bitpix, 7, 5, frames, "GRBG");
        std::vector<uint8_t> bytes = kvtest::read_file(d.path("p.fits"));
        const size_t data = 7 * 5 * 2 * c.sample_bytes;
        const size_t start = bytes.size() - (data + 2879) / 2880 * 2880;
        if (c.bitpix == 16) {  // a negative value, read as 0
            bytes[start] = 0xff;
            bytes[start + 1] = 0xfe;
            frames[0][0] = 0;
        }
        bytes.resize(start + data);
        kvtest::write_file(d.path("c.fits"), bytes);
        auto s = kvcli::open_source(d.path("c.fits"), {});
        EXPECT_EQ(s->info().pattern, 1) << c.bitpix;
        EXPECT_EQ(frame_samples(*s, 0), frames[0]) << c.bitpix;
        EXPECT_EQ(frame_samples(*s, 1), frames[1]) << c.bitpix;
        const auto &notes = s->info().notes;
        EXPECT_NE(std::find(notes.begin(), notes.end(),
                            "data not padded to a whole 2880-byte record (" + std::to_string(2880 - data) +
                                " bytes short), read directly"),
                  notes.end())
            << c.bitpix;
        // A sample short, the second frame is cut: the first is read.
        bytes.pop_back();
        kvtest::write_file(d.path("c.fits"), bytes);
        auto cut = kvcli::open_source(d.path("c.fits"), {});
        EXPECT_EQ(cut->info().frames, 1u) << c.bitpix;
        EXPECT_EQ(cut->info().truncated, "truncated: the header promises 2 frames of 7 x 5 samples (" +
                                             std::to_string(start + data) + " bytes in all), the file has " +
                                             std::to_string(start + data - 1) + " bytes, 1 whole frame")
            << c.bitpix;
        EXPECT_EQ(frame_samples(*cut, 0), frames[0]) << c.bitpix;
        // Without a whole frame the file is refused.
        bytes.resize(start + data / 2 - 1);
        kvtest::write_file(d.path("c.fits"), bytes);
        EXPECT_NE(error_of(d.path("c.fits")).find(", not one whole frame"), std::string::npos) << c.bitpix;
    }
    // Scaled values are left to cfitsio, which needs the padding.
    double two = 2;
    ASSERT_EQ(set_fits_key(d.path("p.fits"), "BSCALE", TDOUBLE, &two), 0);
    std::vector<uint8_t> bytes = kvtest::read_file(d.path("p.fits"));
    bytes.resize(bytes.size() - 100);
    kvtest::write_file(d.path("s.fits"), bytes);
    EXPECT_EQ(error_of(d.path("s.fits")),
              "the data are not padded to a whole 2880-byte record, which is read only with BSCALE 1 and a "
              "whole-number BZERO");
    // So are the whole frames of a scaled file cut short.
    const size_t data_start = bytes.size() + 100 - 2880;  // frames of 35 bytes
    bytes.resize(data_start + 40);
    kvtest::write_file(d.path("s.fits"), bytes);
    const std::string e = error_of(d.path("s.fits"));
    EXPECT_EQ(e.rfind("truncated: the header promises 2 frames of 7 x 5 samples", 0), 0u) << e;
    EXPECT_NE(e.find(", 1 whole frame; the whole frames of a file cut short are read only with BSCALE 1 and a "
                     "whole-number BZERO"),
              std::string::npos)
        << e;
}

// A ROWORDER keyword is reported; the rows are still taken as stored.
TEST(FitsReader, RowOrderIsReported) {
    kvtest::TempDir d;
    const Samples samples{1, 2, 3, 4, 5, 6};
    kvtest::write_fits(d.path("r.fits"), 8, 3, 2, {samples}, "RGGB");
    char bottom_up[] = "BOTTOM-UP";
    ASSERT_EQ(set_fits_key(d.path("r.fits"), "ROWORDER", TSTRING, bottom_up), 0);
    auto s = kvcli::open_source(d.path("r.fits"), {});
    const auto &notes = s->info().notes;
    EXPECT_NE(std::find(notes.begin(), notes.end(), "ROWORDER 'BOTTOM-UP': rows are taken as stored, the first at the top"),
              notes.end());
    EXPECT_EQ(frame_samples(*s, 0), samples);
    EXPECT_EQ(s->info().pattern, 0);
}

TEST(FitsReader, DepthsPatternsAndStacks) {
    kvtest::TempDir d;
    std::mt19937 rng(22);
    std::vector<Samples> frames{kvtest::random_frame(5, 3, 65535, rng), kvtest::random_frame(5, 3, 65535, rng)};
    kvtest::write_fits(d.path("u.fits"), 20, 5, 3, frames, "gbrg");
    auto s = kvcli::open_source(d.path("u.fits"), {});
    EXPECT_EQ(s->info().format, "FITS");
    EXPECT_EQ(s->info().frames, 2u);
    EXPECT_EQ(s->info().bits, 16);
    EXPECT_EQ(s->info().pattern, 2);
    EXPECT_EQ(frame_samples(*s, 1), frames[1]);

    // Signed 16-bit: negative values read as 0.
    std::vector<Samples> small{Samples{0, 100, 32767, 5, 6, 7}};
    kvtest::write_fits(d.path("s.fits"), 16, 3, 2, small);
    s = kvcli::open_source(d.path("s.fits"), {});
    EXPECT_EQ(s->info().pattern, -1);
    EXPECT_EQ(frame_samples(*s, 0), small[0]);

    kvtest::write_fits(d.path("b.fits"), 8, 3, 2, {Samples{1, 2, 3, 250, 251, 252}}, "GRBG", 0, 1);
    s = kvcli::open_source(d.path("b.fits"), {});
    EXPECT_EQ(s->info().bits, 8);
    EXPECT_EQ(s->info().pattern, 3);  // GRBG seen from one row down: BGGR
    EXPECT_EQ(frame_samples(*s, 0), (Samples{1, 2, 3, 250, 251, 252}));

    kvtest::write_fits(d.path("n.fits"), 8, 3, 2, {Samples(6, 1)}, "CMYG");
    EXPECT_NE(kvcli::open_source(d.path("n.fits"), {})->info().pattern_origin.find("is not a Bayer pattern"),
              std::string::npos);
}

// Depths between the working ones are widened by repeating their bits below them, so
// that full scale stays full scale; with --bits the samples are taken as they stand.
TEST(SerReader, SamplesOfInBetweenDepthsAreWidened) {
    kvtest::TempDir d;
    struct Case {
        int depth, bits;
        Samples in, read;  // the last sample of `in` is above the depth
    };
    for (const Case &c : {Case{9, 10, {511, 1, 0, 256, 512}, {1023, 2, 0, 513, 1023}},
                          Case{11, 12, {2047, 1, 1024, 2048}, {4095, 2, 2049, 4095}},
                          Case{13, 16, {8191, 1, 4096, 8192}, {65535, 8, 32772, 65535}},
                          Case{15, 16, {32767, 1, 16384, 32768}, {65535, 2, 32769, 65535}},
                          Case{7, 8, {127, 1, 64, 128}, {255, 2, 129, 255}},
                          Case{3, 8, {7, 1, 4, 8}, {255, 36, 146, 255}},
                          Case{1, 8, {1, 0, 2}, {255, 0, 255}}}) {
        const uint32_t stored = c.depth <= 8 ? 8 : 16;
        const int32_t n = static_cast<int32_t>(c.in.size());
        kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, n, 1, c.depth), {c.in}));
        auto s = kvcli::open_source(d.path("a.ser"), {});
        EXPECT_EQ(s->info().bits, c.bits) << c.depth;
        EXPECT_EQ(s->info().stored_bits, static_cast<int>(stored)) << c.depth;
        EXPECT_EQ(s->info().shift, c.bits - c.depth);
        EXPECT_EQ(frame_samples(*s, 0), c.read) << c.depth;
        EXPECT_EQ(s->clamped(), 1u) << c.depth;
        kvcli::OpenOptions o;
        o.bits = c.bits;
        auto given = kvcli::open_source(d.path("a.ser"), o);
        EXPECT_EQ(given->info().shift, 0);
        EXPECT_EQ(frame_samples(*given, 0)[0], c.in[0]) << c.depth;
    }
}

// The maximum value is white: samples are scaled to the working range, rounding.
TEST(PgmReader, MaximumValueIsWhite) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.pgm"), kvtest::pgm_bytes(4, 1, 100, {100, 50, 1, 0}));
    auto s = kvcli::open_source(d.path("a.pgm"), {});
    EXPECT_EQ(s->info().bits, 8);
    EXPECT_EQ(frame_samples(*s, 0), (Samples{255, 128, 3, 0}));
    kvtest::write_file(d.path("b.pgm"), kvtest::pgm_bytes(3, 1, 16383, {16383, 8192, 1}));
    s = kvcli::open_source(d.path("b.pgm"), {});
    EXPECT_EQ(s->info().bits, 16);
    EXPECT_EQ(frame_samples(*s, 0), (Samples{65535, 32770, 4}));
    kvcli::OpenOptions o;
    o.bits = 16;
    EXPECT_EQ(frame_samples(*kvcli::open_source(d.path("b.pgm"), o), 0), (Samples{16383, 8192, 1}));
    kvtest::write_file(d.path("c.pgm"), kvtest::pgm_bytes(2, 2, 100, {1, 2, 200, 4}));
    EXPECT_EQ(error_of(d.path("c.pgm")), "sample 200 at (0, 1) is above the maximum value 100");
}

// A comment may follow the magic number at once.
TEST(PgmReader, CommentRightAfterTheMagic) {
    kvtest::TempDir d;
    std::vector<uint8_t> bytes = kvtest::text_bytes("P5#made by hand\n3 1\n255\n");
    bytes.insert(bytes.end(), {7, 8, 9});
    kvtest::write_file(d.path("a.pgm"), bytes);
    auto s = kvcli::open_source(d.path("a.pgm"), {});
    EXPECT_EQ(s->info().format, "PGM");
    EXPECT_EQ(frame_samples(*s, 0), (Samples{7, 8, 9}));
}

TEST(PgmReader, EightAndSixteenBitsWithComments) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.pgm"), kvtest::pgm_bytes(3, 2, 255, {1, 2, 3, 4, 5, 255}, "a comment"));
    auto s = kvcli::open_source(d.path("a.pgm"), {});
    EXPECT_EQ(s->info().bits, 8);
    EXPECT_EQ(frame_samples(*s, 0), (Samples{1, 2, 3, 4, 5, 255}));
    kvtest::write_file(d.path("b.pgm"), kvtest::pgm_bytes(2, 1, 4095, {4095, 258}));
    s = kvcli::open_source(d.path("b.pgm"), {});
    EXPECT_EQ(s->info().bits, 12);
    EXPECT_EQ(frame_samples(*s, 0), (Samples{4095, 258}));
    kvtest::write_file(d.path("c.pgm"), kvtest::pgm_bytes(2, 1, 65535, {65535, 1}));
    EXPECT_EQ(kvcli::open_source(d.path("c.pgm"), {})->info().bits, 16);
}

TEST(PngReader, GreyDepthsAndRefusals) {
    kvtest::TempDir d;
    kvtest::write_grey_png(d.path("a.png"), 2, 2, 8, 8, {0, 1, 2, 255});
    auto s = kvcli::open_source(d.path("a.png"), {});
    EXPECT_EQ(s->info().format, "PNG");
    EXPECT_EQ(frame_samples(*s, 0), (Samples{0, 1, 2, 255}));
    kvtest::write_grey_png(d.path("b.png"), 2, 1, 16, 16, {65535, 7});
    s = kvcli::open_source(d.path("b.png"), {});
    EXPECT_EQ(s->info().bits, 16);
    EXPECT_EQ(frame_samples(*s, 0), (Samples{65535, 7}));
    // With an sBIT chunk of 9 to 15 bits the values come down from the top of the
    // words (whatever the bits below them hold); 9, 11 and 13 to 15 significant bits
    // are widened to 10, 12 and 16 bits, full scale kept.
    struct Case {
        int significant, bits;
        Samples stored, read;
    };
    for (const Case &c : {Case{10, 10, {1023 << 6, 5 << 6 | 63}, {1023, 5}},
                          Case{9, 10, {511 << 7, 5 << 7, 65535, 256 << 7 | 127}, {1023, 10, 1023, 513}},
                          Case{11, 12, {2047 << 5, 5 << 5 | 31, 1024 << 5}, {4095, 10, 2049}},
                          Case{13, 16, {8191 << 3, 1 << 3 | 7, 4096 << 3}, {65535, 8, 32772}},
                          Case{14, 16, {16383 << 2, 5 << 2 | 3, 8192 << 2}, {65535, 20, 32770}},
                          Case{15, 16, {32767 << 1, 3 << 1 | 1, 16384 << 1}, {65535, 6, 32769}}}) {
        kvtest::write_grey_png(d.path("c.png"), static_cast<int32_t>(c.stored.size()), 1, 16, c.significant, c.stored);
        s = kvcli::open_source(d.path("c.png"), {});
        EXPECT_EQ(s->info().bits, c.bits) << c.significant;
        EXPECT_EQ(frame_samples(*s, 0), c.read) << c.significant;
        // With --bits the samples are taken as they stand: the significant bits alone.
        kvcli::OpenOptions o;
        o.bits = 16;
        Samples as_stored;
        for (uint16_t v : c.stored) as_stored.push_back(static_cast<uint16_t>(v >> (16 - c.significant)));
        EXPECT_EQ(frame_samples(*kvcli::open_source(d.path("c.png"), o), 0), as_stored) << c.significant;
    }
    kvcli::FilePixels rgb;
    rgb.width = rgb.height = 1;
    rgb.channels = 3;
    rgb.p8 = {1, 2, 3};
    kvcli::write_picture(d.path("rgb.png"), rgb);
    EXPECT_NE(error_of(d.path("rgb.png")).find("colour PNG is not a raw frame"), std::string::npos);
}

TEST(RawReader, FramesOffsetsAndByteOrder) {
    kvtest::TempDir d;
    std::vector<Samples> frames{Samples{1, 2, 3, 4}, Samples{0x102, 0x304, 0x506, 0xfff}};
    kvtest::write_file(d.path("a.raw"), kvtest::raw_bytes(frames, 2, false));
    kvcli::OpenOptions o;
    o.width = 2;
    o.height = 2;
    o.bits = 12;
    auto s = kvcli::open_source(d.path("a.raw"), o);
    EXPECT_EQ(s->info().frames, 2u);
    EXPECT_EQ(frame_samples(*s, 1), frames[1]);
    o.order = kvcli::ByteOrder::big;
    o.bits = 16;
    s = kvcli::open_source(d.path("a.raw"), o);
    EXPECT_EQ(frame_samples(*s, 1), (Samples{0x201, 0x403, 0x605, 0xff0f}));
    o.offset = 2;
    EXPECT_NE(error_of(d.path("a.raw"), o).find("not a whole number of 8-byte frames"), std::string::npos);
    o.offset = 100;
    EXPECT_NE(error_of(d.path("a.raw"), o).find("beyond the end of the file"), std::string::npos);
    o.offset = 0;
    o.width = 4;
    o.height = 4;
    EXPECT_NE(error_of(d.path("a.raw"), o).find("truncated"), std::string::npos);
}

// A header that promises more data than its file holds is refused before room is
// made for the frames.
TEST(Detection, HeadersThatPromiseMoreThanTheFileHolds) {
    kvtest::TempDir d;
    std::vector<uint8_t> pgm = kvtest::text_bytes("P5\n65536 4096\n65535\n");
    pgm.insert(pgm.end(), {1, 2, 3});
    kvtest::write_file(d.path("a.pgm"), pgm);
    EXPECT_EQ(error_of(d.path("a.pgm")).rfind("truncated PGM data: the header promises 65536 x 4096 samples", 0), 0u);
    kvtest::write_fits(d.path("b.fits"), 20, 64, 64, {Samples(64 * 64, 7), Samples(64 * 64, 8)});
    auto fits = kvtest::read_file(d.path("b.fits"));
    fits.resize(fits.size() - 2880 * 3);
    kvtest::write_file(d.path("b.fits"), fits);
    auto b = kvcli::open_source(d.path("b.fits"), {});
    EXPECT_EQ(b->info().truncated.rfind("truncated: the header promises 2 frames of 64 x 64 samples", 0), 0u);
    EXPECT_EQ(b->info().frames, 1u);
    // A PNG cannot hold more than 1032 bytes of pixels per byte of file.
    kvtest::write_grey_png(d.path("c.png"), 4000, 4000, 8, 8, Samples(4000 * 4000, 0));
    EXPECT_EQ(error_of(d.path("c.png")), "");
    auto png = kvtest::read_file(d.path("c.png"));
    png.resize(200);  // the header and the start of the data
    kvtest::write_file(d.path("c.png"), png);
    EXPECT_EQ(error_of(d.path("c.png")), "bad PNG: the file is far too small for the image size its header gives");
}

// Width, height and offset belong to headerless raw files; a file with a header
// gives its own.
TEST(Detection, RawGeometryForAFileWithAHeaderIsABadCommandLine) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 4), {Samples(16, 1)}));
    kvcli::OpenOptions o;
    o.width = 4;
    o.height = 4;
    o.offset = 178;
    o.bits = 8;
    try {
        kvcli::open_source(d.path("a.ser"), o);
        ADD_FAILURE() << "no refusal";
    } catch (const kvcli::Failure &f) {
        EXPECT_EQ(f.code(), kvcli::kUsageError);
        EXPECT_NE(f.line().find("this is a SER file (--format raw reads it as one)"), std::string::npos) << f.line();
    }
    o.format = "raw";
    EXPECT_EQ(kvcli::open_source(d.path("a.ser"), o)->info().frames, 1u);
}

kvcli::FilePixels one_grey_pixel(uint8_t value) {
    kvcli::FilePixels px;
    px.width = px.height = 1;
    px.channels = 1;
    px.p8 = {value};
    return px;
}

// A set of files is put in place together or not at all.
TEST(StagedFiles, CommitReplacesEveryTargetAndFailureKeepsTheOldOnes) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.pgm"), {'o', 'l', 'd'});
    const kvcli::FilePixels px = one_grey_pixel(9);
    {
        kvcli::StagedFiles staged({d.path("a.pgm"), d.path("b.pgm")});
        kvcli::write_picture(staged.staged(0), px);
        // Destroyed without commit, as when a later picture fails.
    }
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"a.pgm"}));
    EXPECT_EQ(kvtest::read_file(d.path("a.pgm")), (std::vector<uint8_t>{'o', 'l', 'd'}));
    {
        kvcli::StagedFiles staged({d.path("a.pgm"), d.path("b.pgm")});
        kvcli::write_picture(staged.staged(0), px);
        kvcli::write_picture(staged.staged(1), px);
        EXPECT_EQ(d.entries().size(), 2u);  // a.pgm and the staging directory
        staged.commit();
    }
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"a.pgm", "b.pgm"}));
    EXPECT_EQ(kvtest::read_picture(d.path("a.pgm")).samples, (std::vector<uint32_t>{9}));
    // A target that is a directory is refused before anything is written.
    ASSERT_EQ(mkdir(d.path("c.pgm").c_str(), 0700), 0);
    try {
        kvcli::StagedFiles staged({d.path("b.pgm"), d.path("c.pgm")});
        ADD_FAILURE() << "no refusal";
    } catch (const kvcli::Failure &f) {
        EXPECT_EQ(f.line(), d.path("c.pgm") + ": is a directory");
    }
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"a.pgm", "b.pgm", "c.pgm"}));
}

// The temporary name of a picture may not be longer than a file name can be.
TEST(StagedFiles, LongestFileNamesCanBeWritten) {
    kvtest::TempDir d;
    const kvcli::FilePixels px = one_grey_pixel(9);
    const std::string name = std::string(251, 'a') + ".pgm";  // 255 bytes
    kvcli::write_picture(d.path(name), px);
    EXPECT_EQ(d.entries(), (std::vector<std::string>{name}));
}

mode_t mode_of(const std::string &path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

// A picture written over a file keeps that file's permissions; over a symbolic link,
// it replaces the file the link points to and the link stays.
TEST(StagedFiles, ReplacedFilesKeepPermissionsAndLinks) {
    kvtest::TempDir d;
    const kvcli::FilePixels px = one_grey_pixel(9);
    for (mode_t mode : {mode_t{0600}, mode_t{0640}, mode_t{0604}}) {
        kvtest::write_file(d.path("a.pgm"), {'o', 'l', 'd'});
        ASSERT_EQ(chmod(d.path("a.pgm").c_str(), mode), 0);
        kvcli::write_picture(d.path("a.pgm"), px);
        EXPECT_EQ(mode_of(d.path("a.pgm")), mode);
        EXPECT_EQ(kvtest::read_picture(d.path("a.pgm")).samples, (std::vector<uint32_t>{9}));

        kvtest::write_file(d.path("s-1.pgm"), {'o', 'l', 'd'});
        ASSERT_EQ(chmod(d.path("s-1.pgm").c_str(), mode), 0);
        kvcli::StagedFiles staged({d.path("s-1.pgm"), d.path("s-2.pgm")});
        kvcli::write_picture(staged.staged(0), px);
        kvcli::write_picture(staged.staged(1), px);
        staged.commit();
        EXPECT_EQ(mode_of(d.path("s-1.pgm")), mode);
    }
    // A new file has the permissions of any new file (the umask's).
    kvcli::write_picture(d.path("new.pgm"), px);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(mode_of(d.path("new.pgm")), 0666 & ~mask);
    EXPECT_EQ(mode_of(d.path("s-2.pgm")), 0666 & ~mask);

    ASSERT_EQ(mkdir(d.path("real").c_str(), 0700), 0);
    kvtest::write_file(d.path("real/b.pgm"), {'o', 'l', 'd'});
    ASSERT_EQ(symlink("real/b.pgm", d.path("link.pgm").c_str()), 0);
    kvcli::write_picture(d.path("link.pgm"), px);
    struct stat st {};
    ASSERT_EQ(lstat(d.path("link.pgm").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(kvtest::read_picture(d.path("real/b.pgm")).samples, (std::vector<uint32_t>{9}));
    EXPECT_EQ(kvtest::list_directory(d.path("real")), (std::vector<std::string>{"b.pgm"}));
    // A link to a link to nothing yet: the file at the end comes into being.
    ASSERT_EQ(symlink("real/c.pgm", d.path("inner.pgm").c_str()), 0);
    ASSERT_EQ(symlink(d.path("inner.pgm").c_str(), d.path("outer.pgm").c_str()), 0);
    kvcli::write_picture(d.path("outer.pgm"), px);
    for (const char *link : {"inner.pgm", "outer.pgm"}) {
        ASSERT_EQ(lstat(d.path(link).c_str(), &st), 0);
        EXPECT_TRUE(S_ISLNK(st.st_mode)) << link;
    }
    EXPECT_EQ(kvtest::read_picture(d.path("real/c.pgm")).samples, (std::vector<uint32_t>{9}));
    EXPECT_EQ(kvtest::list_directory(d.path("real")), (std::vector<std::string>{"b.pgm", "c.pgm"}));
    // A FIFO (or a device) is not replaced by a file, directly or through a link.
    ASSERT_EQ(mkfifo(d.path("fifo.pgm").c_str(), 0600), 0);
    ASSERT_EQ(symlink("fifo.pgm", d.path("to-fifo.pgm").c_str()), 0);
    for (const char *name : {"fifo.pgm", "to-fifo.pgm"}) {
        try {
            kvcli::write_picture(d.path(name), px);
            ADD_FAILURE() << "written over " << name;
        } catch (const kvcli::Failure &f) {
            EXPECT_EQ(f.line(), d.path(name) + ": is a FIFO, not a regular file (pictures replace regular files only)");
        }
        try {
            kvcli::StagedFiles staged({d.path("x.pgm"), d.path(name)});
            ADD_FAILURE() << "staged over " << name;
        } catch (const kvcli::Failure &f) {
            EXPECT_EQ(f.line(), d.path(name) + ": is a FIFO, not a regular file (pictures replace regular files only)");
        }
    }
    ASSERT_EQ(lstat(d.path("fifo.pgm").c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
    // Through a link, a file that cannot be made is named.
    ASSERT_EQ(symlink("nodir/x.pgm", d.path("to-nowhere.pgm").c_str()), 0);
    try {
        kvcli::write_picture(d.path("to-nowhere.pgm"), px);
        ADD_FAILURE() << "written into a directory that is not there";
    } catch (const kvcli::Failure &f) {
        EXPECT_EQ(f.line(), d.path("to-nowhere.pgm") + ": cannot create " + d.path("nodir/x.pgm") +
                                " (where the link points): No such file or directory");
    }
    // Links in a loop lead nowhere.
    ASSERT_EQ(symlink("loop2.pgm", d.path("loop1.pgm").c_str()), 0);
    ASSERT_EQ(symlink("loop1.pgm", d.path("loop2.pgm").c_str()), 0);
    const auto before = d.entries();
    try {
        kvcli::write_picture(d.path("loop1.pgm"), px);
        ADD_FAILURE() << "a loop of links was written through";
    } catch (const kvcli::Failure &f) {
        EXPECT_EQ(std::string(f.what()), "cannot follow the link: Too many levels of symbolic links");
    }
    EXPECT_EQ(d.entries(), before);
}

// A picture written over another user's file keeps its owner and group, and then its
// permissions, set-user-ID bits included, where the system lets the program give them
// (as root).
TEST(StagedFiles, ReplacedFilesKeepTheirOwner) {
    if (geteuid() != 0) GTEST_SKIP() << "giving a file to another user needs root";
    kvtest::TempDir d;
    const kvcli::FilePixels px = one_grey_pixel(7);
    const uid_t uid = 12345;
    const gid_t gid = 23456;
    const auto owned = [&](const std::string &name) {
        kvtest::write_file(d.path(name), {'o', 'l', 'd'});
        ASSERT_EQ(chown(d.path(name).c_str(), uid, gid), 0);
        ASSERT_EQ(chmod(d.path(name).c_str(), 06754), 0);
    };
    const auto expect_owned = [&](const std::string &name) {
        struct stat st {};
        ASSERT_EQ(stat(d.path(name).c_str(), &st), 0) << name;
        EXPECT_EQ(st.st_uid, uid) << name;
        EXPECT_EQ(st.st_gid, gid) << name;
        EXPECT_EQ(st.st_mode & 07777, 06754u) << name;
        EXPECT_EQ(kvtest::read_picture(d.path(name)).samples, (std::vector<uint32_t>{7})) << name;
    };
    owned("a.pgm");
    kvcli::write_picture(d.path("a.pgm"), px);
    expect_owned("a.pgm");

    owned("s-1.pgm");
    kvcli::StagedFiles staged({d.path("s-1.pgm"), d.path("s-2.pgm")});
    kvcli::write_picture(staged.staged(0), px);
    kvcli::write_picture(staged.staged(1), px);
    staged.commit();
    expect_owned("s-1.pgm");
    // A new file is the program's own.
    struct stat st {};
    ASSERT_EQ(stat(d.path("s-2.pgm").c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, geteuid());
    EXPECT_EQ(st.st_gid, getegid());
}

TEST(Detection, ByMagicAndRefusals) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("e.bin"), {});
    EXPECT_EQ(error_of(d.path("e.bin")), "empty file");
    kvtest::write_file(d.path("t.txt"), kvtest::text_bytes("hello"));
    EXPECT_NE(error_of(d.path("t.txt")).find("unknown file format"), std::string::npos);
    std::vector<uint8_t> ppm = kvtest::text_bytes("P6\n1 1\n255\n");
    ppm.insert(ppm.end(), {1, 2, 3});
    kvtest::write_file(d.path("p.ppm"), ppm);
    EXPECT_NE(error_of(d.path("p.ppm")).find("colour netpbm"), std::string::npos);
    EXPECT_NE(error_of(d.path("missing.ser")).find("cannot open"), std::string::npos);
    EXPECT_EQ(error_of(d.dir()), "is a directory");
}

}  // namespace
