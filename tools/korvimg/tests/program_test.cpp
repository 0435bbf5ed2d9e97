// The program run on files with known content; its pictures compared, sample for
// sample, with direct library calls on the same data.
#include <gtest/gtest.h>

#include <signal.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <tiffio.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include "files.h"
#include "io/png.h"
#include "korvimg.h"
#include "lib.h"
#include "support.h"

namespace {

using kvtest::Picture;
using kvtest::Samples;

::testing::AssertionResult same(const Picture &got, const Picture &want) {
    if (got.width != want.width || got.height != want.height || got.channels != want.channels || got.bits != want.bits)
        return ::testing::AssertionFailure() << "shape " << got.width << "x" << got.height << "x" << got.channels << " @"
                                             << got.bits << ", expected " << want.width << "x" << want.height << "x"
                                             << want.channels << " @" << want.bits;
    for (size_t i = 0; i < want.samples.size(); ++i)
        if (got.samples[i] != want.samples[i])
            return ::testing::AssertionFailure() << "sample " << i << " is " << got.samples[i] << ", expected "
                                                 << want.samples[i];
    return ::testing::AssertionSuccess();
}

std::vector<uint8_t> bytes_of(const Samples &s) { return std::vector<uint8_t>(s.begin(), s.end()); }
Samples samples_of(const std::vector<uint8_t> &b) { return Samples(b.begin(), b.end()); }

// A random frame of values up to maxval, written as the PGM file `name` of that maxval.
Samples random_pgm(const kvtest::TempDir &d, const std::string &name, int32_t w, int32_t h, int maxval,
                   std::mt19937 &rng, const std::string &comment = "") {
    Samples f = kvtest::random_frame(w, h, static_cast<uint32_t>(maxval), rng);
    kvtest::write_file(d.path(name), kvtest::pgm_bytes(w, h, maxval, f, comment));
    return f;
}

// Expected picture of demosaicing one frame with the library, as the program writes it.
Picture expected(int method, int pattern, const Samples &frame, int32_t w, int32_t h, int bits, int out_bits,
                 bool alpha = false) {
    const int format = out_bits == 8 ? (alpha ? 32 : 24) : (alpha ? 64 : 48);
    const auto lib = kvtest::library_demosaic(method, format, pattern, frame, w, h);
    return kvtest::expected_picture(lib, kvcli::output_width(method, w), kvcli::output_height(method, h),
                                    alpha ? 4 : 3, out_bits, out_bits == 8 ? 8 : bits, method == 0);
}

#define RUN_OK(...)                                              \
    do {                                                         \
        const auto r_ = kvtest::run_program({__VA_ARGS__});      \
        ASSERT_EQ(r_.status, 0) << r_.err;                       \
    } while (0)

// A short option's value may be written onto it (-oOUT), short flags may be grouped
// (-qj1, -qo OUT), and --frames N is frame N.
TEST(Program, AttachedShortValuesAndOneFrame) {
    kvtest::TempDir d;
    std::mt19937 rng(15);
    const int32_t w = 6, h = 4;
    std::vector<Samples> frames{kvtest::random_frame(w, h, 255, rng), kvtest::random_frame(w, h, 255, rng)};
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h), frames));
    RUN_OK("demosaic", d.path("in.ser"), "-o" + d.path("out.png"), "-mnearest", "-j1", "--frames", "1");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.png")), expected(KORVIMG_NEAREST, KORVIMG_RGGB, frames[1], w, h, 8, 8)));
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"in.ser", "out.png"}));
    // Grouped: quiet, one thread, the method written onto the group; quiet and the output.
    const auto r = kvtest::run_program({"demosaic", d.path("in.ser"), "-qj1", "-qmsimple", "-qo", d.path("g.png")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("g-0000.png")), expected(KORVIMG_SIMPLE, KORVIMG_RGGB, frames[0], w, h, 8, 8)));
    EXPECT_TRUE(same(kvtest::read_picture(d.path("g-0001.png")), expected(KORVIMG_SIMPLE, KORVIMG_RGGB, frames[1], w, h, 8, 8)));
}

TEST(Program, Ser8BitColourIdGivesThePatternAndFramesSelectOne) {
    kvtest::TempDir d;
    std::mt19937 rng(1);
    const int32_t w = 20, h = 14;
    std::vector<Samples> frames{kvtest::random_frame(w, h, 255, rng), kvtest::random_frame(w, h, 255, rng),
                                kvtest::random_frame(w, h, 255, rng)};
    for (int id = 8; id <= 11; ++id) {
        kvtest::SerSpec spec = kvtest::ser_spec(id, w, h);
        spec.timestamps = id == 9;
        kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(spec, frames));
        RUN_OK("demosaic", d.path("in.ser"), "-o", d.path("out.png"), "--method", "nearest", "--frames", "1:2");
        EXPECT_TRUE(same(kvtest::read_picture(d.path("out.png")), expected(KORVIMG_NEAREST, id - 8, frames[1], w, h, 8, 8)))
            << "colour id " << id;
    }
}

// A capture cut short (the program that wrote it stopped mid-frame): --frames reads
// its whole frames, each as from the whole file, with a warning; info reports them.
TEST(Program, CaptureCutShortIsReadWithFrames) {
    kvtest::TempDir d;
    std::mt19937 rng(32);
    const int32_t w = 10, h = 8;
    const std::vector<Samples> frames = kvtest::random_frames(4, w, h, 4095, rng);
    const auto whole = kvtest::ser_bytes(kvtest::ser_spec(9, w, h, 12), frames);
    auto cut = whole;
    cut.resize(cut.size() - 2 * w * h - 33);  // the last frame is missing, the one before it cut
    kvtest::write_file(d.path("cut.ser"), cut);
    kvtest::write_file(d.path("whole.ser"), whole);
    const std::string promise = "truncated: the header promises 4 frames of 10 x 8 samples (818 bytes in all), the file "
                                "has 625 bytes, 2 whole frames, which alone are read";
    const auto r = kvtest::run_program({"demosaic", d.path("cut.ser"), "-o", d.path("cut.png"), "-m", "bilinear",
                                        "--frames", "0:", "-q"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "") << "-q keeps the warning back, as it does the others";
    RUN_OK("demosaic", d.path("whole.ser"), "-o", d.path("whole.png"), "-m", "bilinear", "--frames", "0:2");
    for (int i = 0; i < 2; ++i) {
        const std::string name = "-000" + std::to_string(i) + ".png";
        const Picture got = kvtest::read_picture(d.path("cut" + name));
        EXPECT_TRUE(same(got, kvtest::read_picture(d.path("whole" + name)))) << i;
        EXPECT_TRUE(same(got, expected(KORVIMG_BILINEAR, KORVIMG_GRBG, frames[static_cast<size_t>(i)], w, h, 12, 16)))
            << i;
    }
    const auto one = kvtest::run_program({"demosaic", d.path("cut.ser"), "-o", d.path("one.png"), "--frames", "1"});
    ASSERT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.err, "korvimg: " + d.path("cut.ser") + ": " + promise + "\n");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("one.png")), kvtest::read_picture(d.path("whole-0001.png"))));
    const auto info = kvtest::run_program({"info", d.path("cut.ser")});
    ASSERT_EQ(info.status, 0) << info.err;
    EXPECT_NE(info.out.find("frames:     2 whole (truncated, see below)\n"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("warning:    " + promise + "\n"), std::string::npos) << info.out;
    const auto past = kvtest::run_program({"info", d.path("cut.ser"), "--frame", "2"});
    EXPECT_EQ(past.status, 2);
    EXPECT_EQ(past.err.rfind("korvimg: " + d.path("cut.ser") + ": --frame 2: the file has 2 whole frames", 0), 0u)
        << past.err;
}

TEST(Program, Ser16BitBigEndianAt16BitOutput) {
    kvtest::TempDir d;
    std::mt19937 rng(2);
    const int32_t w = 16, h = 10;
    std::vector<Samples> frames{kvtest::random_frame(w, h, 4095, rng)};
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(11, w, h, 12, true), frames));
    RUN_OK("demosaic", d.path("in.ser"), "-o", d.path("out.png"), "-m", "simple");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.png")), expected(KORVIMG_SIMPLE, KORVIMG_BGGR, frames[0], w, h, 12, 16)));
    RUN_OK("demosaic", d.path("in.ser"), "-o", d.path("out.tif"), "-m", "preview");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.tif")), expected(KORVIMG_PREVIEW, KORVIMG_BGGR, frames[0], w, h, 12, 16)));
    // The byte order can be overridden: read little-endian, the words are swapped.
    RUN_OK("demosaic", d.path("in.ser"), "-o", d.path("swapped.png"), "-m", "bayer", "--endian", "little", "--bits", "16");
    Samples swapped = frames[0];
    for (auto &v : swapped) v = static_cast<uint16_t>(v << 8 | v >> 8);
    EXPECT_TRUE(same(kvtest::read_picture(d.path("swapped.png")), expected(KORVIMG_BAYER, KORVIMG_BGGR, swapped, w, h, 16, 16)));
}

// A 16-bit SER whose byte-order flag is the wrong way round reads as noise; the
// program still follows the flag, but says that the samples look byte-swapped. Files
// written the right way draw no such warning, 8-bit samples in the high byte included
// (read either way they differ only in scale).
TEST(Program, ByteSwappedLookingSerIsPointedOut) {
    kvtest::TempDir d;
    std::mt19937 rng(16);
    const int32_t w = 64, h = 48;
    auto frame = [&](auto value) {
        Samples f(static_cast<size_t>(w * h));
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x) f[static_cast<size_t>(y * w + x)] = static_cast<uint16_t>(value(x, y));
        return f;
    };
    const std::vector<Samples> frames{
        frame([&](int32_t x, int32_t y) { return 20000 + 37 * x + 11 * y + static_cast<int32_t>(rng() % 4); }),
        frame([](int32_t x, int32_t y) { return (x + y) * 65535 / 112; }),
        frame([](int32_t x, int32_t y) { return (x + y) * 255 / 112 << 8; }),
        frame([](int32_t x, int32_t) { return 256 * (x / 8); }),
        frame([&](int32_t, int32_t) { return static_cast<int32_t>(rng() % 65536); }),
    };
    const bool looks_swapped_when_flag_wrong[] = {true, true, false, false, false};
    for (size_t i = 0; i < frames.size(); ++i) {
        for (const bool big_data : {false, true}) {
            for (const bool flag_right : {false, true}) {
                kvtest::SerSpec spec = kvtest::ser_spec(8, w, h, 16);
                spec.big_endian_data = big_data;
                spec.little_endian_flag = big_data == flag_right ? 0 : 1;
                kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(spec, {frames[i]}));
                const std::string other = big_data == flag_right ? "little" : "big";
                const std::string warning = "the samples look byte-swapped: far smoother read " + other +
                                            "-endian than as the header flag says (try --endian " + other + ")";
                const bool expected = !flag_right && looks_swapped_when_flag_wrong[i];
                const std::string which = "frame " + std::to_string(i) + (big_data ? ", big" : ", little") +
                                          "-endian data, flag " + (flag_right ? "right" : "wrong");
                auto r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("a.png"), "-m", "simple"});
                ASSERT_EQ(r.status, 0) << r.err;
                EXPECT_EQ(r.err.find(warning) != std::string::npos, expected) << which << ": " << r.err;
                r = kvtest::run_program({"info", d.path("in.ser")});
                ASSERT_EQ(r.status, 0) << r.err;
                EXPECT_EQ(r.out.find("warning:    " + warning) != std::string::npos, expected) << which << ": " << r.out;
                // Told the byte order, the program does not second-guess it.
                r = kvtest::run_program({"info", d.path("in.ser"), "--endian", big_data == flag_right ? "big" : "little"});
                EXPECT_EQ(r.out.find("warning:"), std::string::npos) << which << ": " << r.out;
            }
        }
    }
}

// A file that names no pattern is read as rggb, with a warning that says so; --pattern
// or -q leave the warning out.
TEST(Program, AMissingPatternIsTakenAsRggbAndSaidSo) {
    kvtest::TempDir d;
    std::mt19937 rng(19);
    const Samples f = random_pgm(d, "in.pgm", 6, 4, 255, rng);
    auto r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-m", "simple"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "korvimg: " + d.path("in.pgm") + ": no Bayer pattern in the file, took rggb (see --pattern)\n");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")), expected(KORVIMG_SIMPLE, KORVIMG_RGGB, f, 6, 4, 8, 8)));
    for (const char *quiet : {"-q", "--pattern=rggb"}) {
        r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("b.png"), "-m", "simple", quiet});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "") << quiet;
    }
    r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("c.png"), "-m", "mono"});
    EXPECT_EQ(r.err, "") << "mono needs no pattern";
}

TEST(Program, MonochromeSerDefaultsToMono) {
    kvtest::TempDir d;
    std::mt19937 rng(3);
    const int32_t w = 9, h = 7;  // odd: mono takes any size
    std::vector<Samples> frames{kvtest::random_frame(w, h, 255, rng)};
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(0, w, h), frames));
    RUN_OK("demosaic", d.path("in.ser"), "-o", d.path("out.pgm"));
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.pgm")), expected(KORVIMG_MONO, 0, frames[0], w, h, 8, 8)));
}

// Mono pictures with alpha are grey and alpha: a PNG of colour type grey+alpha, a TIFF
// of one grey sample and one alpha sample, a PAM of tuple type GRAYSCALE_ALPHA. A PPM
// has no alpha; a PGM neither.
TEST(Program, MonoWithAlphaIsGreyAndAlpha) {
    kvtest::TempDir d;
    std::mt19937 rng(33);
    const int32_t w = 9, h = 7;
    const Samples f = random_pgm(d, "in.pgm", w, h, 4095, rng);
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-m", "mono", "--alpha");
    const Picture png = kvtest::read_picture(d.path("a.png"));
    EXPECT_EQ(png.channels, 2);
    EXPECT_TRUE(same(png, expected(KORVIMG_MONO, 0, f, w, h, 12, 16, true)));
    const Samples f8 = random_pgm(d, "in8.pgm", w, h, 255, rng);
    RUN_OK("demosaic", d.path("in8.pgm"), "-o", d.path("a8.png"), "-m", "mono", "--alpha");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a8.png")), expected(KORVIMG_MONO, 0, f8, w, h, 8, 8, true)));
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("b.tif"), "-m", "mono", "--alpha");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("b.tif")), expected(KORVIMG_MONO, 0, f, w, h, 12, 16, true)));
    TIFF *t = TIFFOpen(d.path("b.tif").c_str(), "r");
    ASSERT_NE(t, nullptr);
    uint16_t photometric = 0, extra_count = 0;
    uint16_t *extra = nullptr;
    TIFFGetField(t, TIFFTAG_PHOTOMETRIC, &photometric);
    TIFFGetField(t, TIFFTAG_EXTRASAMPLES, &extra_count, &extra);
    EXPECT_EQ(photometric, PHOTOMETRIC_MINISBLACK);
    ASSERT_EQ(extra_count, 1);
    EXPECT_EQ(extra[0], EXTRASAMPLE_UNASSALPHA);
    TIFFClose(t);
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("c.pam"), "-m", "mono", "--alpha");
    const auto pam = kvtest::read_file(d.path("c.pam"));
    EXPECT_NE(std::string(pam.begin(), pam.end()).find("\nDEPTH 2\nMAXVAL 65535\nTUPLTYPE GRAYSCALE_ALPHA\n"),
              std::string::npos);
    EXPECT_TRUE(same(kvtest::read_picture(d.path("c.pam")), expected(KORVIMG_MONO, 0, f, w, h, 12, 16, true)));
    const auto ppm = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("d.ppm"), "-m", "mono", "--alpha"});
    EXPECT_EQ(ppm.status, 2);
    EXPECT_NE(ppm.err.find("d.ppm: a PPM file has no alpha channel"), std::string::npos) << ppm.err;
    EXPECT_FALSE(kvtest::exists(d.path("d.ppm")));
}

TEST(Program, EveryMethodAndPatternOnPgm) {
    kvtest::TempDir d;
    std::mt19937 rng(4);
    const int32_t w = 12, h = 8;
    const Samples f8 = random_pgm(d, "in8.pgm", w, h, 255, rng, "eight bits");
    const Samples f10 = random_pgm(d, "in10.pgm", w, h, 1023, rng);
    for (int m = 0; m < kvcli::kMethods; ++m) {
        for (int p = 0; p < 4; ++p) {
            const std::string method = kvcli::kMethodNames[m], pattern = kvcli::kPatternNames[p];
            RUN_OK("demosaic", d.path("in8.pgm"), "-o", d.path("a.png"), "-m", method, "-p", pattern);
            EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")), expected(m, p, f8, w, h, 8, 8))) << method << pattern;
            RUN_OK("demosaic", d.path("in10.pgm"), "-o", d.path("b.pam"), "-m", method, "-p", pattern, "--alpha");
            EXPECT_TRUE(same(kvtest::read_picture(d.path("b.pam")), expected(m, p, f10, w, h, 10, 16, true)))
                << method << pattern;
        }
        RUN_OK("demosaic", d.path("in8.pgm"), "-o", d.path("c.ppm"), "-m", kvcli::kMethodNames[m], "-p", "gbrg",
               "--out-depth", "16");
        Picture want = expected(m, 2, f8, w, h, 8, 16);
        if (want.channels == 1) {  // a PPM repeats grey in three channels
            Picture rgb = want;
            rgb.channels = 3;
            rgb.samples.clear();
            for (uint32_t v : want.samples) rgb.samples.insert(rgb.samples.end(), {v, v, v});
            want = rgb;
        }
        EXPECT_TRUE(same(kvtest::read_picture(d.path("c.ppm")), want)) << kvcli::kMethodNames[m];
    }
}

// The frame's samples from (x, y), w x h of them.
Samples cropped(const Samples &f, int32_t width, int32_t x, int32_t y, int32_t w, int32_t h) {
    Samples out;
    for (int32_t r = 0; r < h; ++r)
        for (int32_t c = 0; c < w; ++c) out.push_back(f[static_cast<size_t>((y + r) * width + x + c)]);
    return out;
}

// --crop takes a region of each frame; the pattern is the one at the region's first
// photosite. An odd frame is refused with the crop that takes its even part.
TEST(Program, CropTakesARegionAndShiftsThePattern) {
    kvtest::TempDir d;
    std::mt19937 rng(34);
    const int32_t w = 13, h = 11;
    const Samples f = random_pgm(d, "in.pgm", w, h, 255, rng);
    // GRBG from the file's first photosite: column 3 of row 1 is green, then blue; the
    // row below starts with red. So the crop's pattern is GBRG.
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-p", "grbg", "--crop", "3,1,6,8", "-m", "bilinear");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")),
                     expected(KORVIMG_BILINEAR, KORVIMG_GBRG, cropped(f, w, 3, 1, 6, 8), 6, 8, 8, 8)));
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("b.png"), "-p", "grbg", "--crop", "2,2,10,8", "-m", "laplacian");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("b.png")),
                     expected(KORVIMG_LAPLACIAN, KORVIMG_GRBG, cropped(f, w, 2, 2, 10, 8), 10, 8, 8, 8)));
    // The whole odd frame is refused, pointing to the crop of its even part.
    auto r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("c.png")});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("the 13 x 11 frame is too small or odd for bilinear (it needs even sizes of at least 4); "
                         "--crop 0,0,12,10 takes the even part"),
              std::string::npos)
        << r.err;
    r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("c.png"), "--crop", "0,0,3,10"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("the 3 x 10 crop is too small or odd for bilinear (it needs even sizes of at least 4)\n"),
              std::string::npos)
        << r.err;
    for (const char *bad : {"1,1,13,2", "0,11,2,1", "1,2,3", "1,2,3,4,5", "-1,0,2,2", "0,0,0,2", "a,0,2,2"}) {
        r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("c.png"), "--crop", bad});
        EXPECT_EQ(r.status, 2) << bad << ": " << r.err;
        EXPECT_NE(r.err.find("--crop"), std::string::npos) << r.err;
    }
    EXPECT_NE(kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("c.png"), "--crop", "1,1,13,2"})
                  .err.find(d.path("in.pgm") + ": --crop 1,1,13,2 reaches past its 13 x 11 frames"),
              std::string::npos);
    EXPECT_FALSE(kvtest::exists(d.path("c.png")));

    // A SER's pattern (RGGB) seen from (1, 1) is BGGR; frames are cropped before they
    // are stacked, and white balance measures the crop.
    const std::vector<Samples> frames = kvtest::random_frames(3, w, h, 4095, rng);
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h, 12), frames));
    RUN_OK("demosaic", d.path("in.ser"), "-o", d.path("s.tif"), "-m", "simple", "--crop", "1,1,8,6", "--stack", "-q");
    std::vector<uint32_t> acc(48, 0);
    for (const auto &frame : frames) frame_add16(acc.data(), cropped(frame, w, 1, 1, 8, 6).data(), 48);
    Samples avg(48);
    frame_avg16(avg.data(), acc.data(), 48, 3);
    EXPECT_TRUE(same(kvtest::read_picture(d.path("s.tif")), expected(KORVIMG_SIMPLE, KORVIMG_BGGR, avg, 8, 6, 12, 16)));
}

// Samples above the file's depth are clamped, and counted, in the crop only; the count
// names the file's own depth.
TEST(Program, ClampedSamplesAreCountedInTheCrop) {
    kvtest::TempDir d;
    std::mt19937 rng(35);
    Samples f = kvtest::random_frame(6, 4, 2047, rng);
    f[0] = 2048;   // outside the crop
    f[8] = 4095;   // row 1, column 2: inside
    f[15] = 2049;  // row 2, column 3: inside
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 6, 4, 11), {f}));
    auto r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("a.png"), "-m", "mono", "--crop", "2,1,2,2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "korvimg: " + d.path("in.ser") +
                         ": 2 samples above 11 bits were taken as the largest 11-bit value, 2047\n");
    r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("b.png"), "-m", "mono", "--crop", "0,0,2,2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "korvimg: " + d.path("in.ser") + ": 1 sample above 11 bits was taken as the largest 11-bit value, 2047\n");
    r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("c.png"), "-m", "mono", "--crop", "4,2,2,2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
}

TEST(Program, FitsUnsignedWithBayerOffsets) {
    kvtest::TempDir d;
    std::mt19937 rng(5);
    const int32_t w = 10, h = 6;
    std::vector<Samples> frames{kvtest::random_frame(w, h, 65535, rng)};
    kvtest::write_fits(d.path("in.fits"), 20, w, h, frames, "RGGB", 1, 0);  // seen from column 1: GRBG
    RUN_OK("demosaic", d.path("in.fits"), "-o", d.path("out.tif"), "-m", "simple");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.tif")), expected(KORVIMG_SIMPLE, KORVIMG_GRBG, frames[0], w, h, 16, 16)));
    kvtest::write_fits(d.path("in8.fits"), 8, w, h, {kvtest::random_frame(w, h, 255, rng)}, "BGGR", 1,
                       1);  // shifted by one row and one column: RGGB
    const auto r = kvtest::run_program({"info", d.path("in8.fits")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("pattern:    rggb (FITS BAYERPAT 'BGGR' with XBAYROFF 1, YBAYROFF 1)"), std::string::npos) << r.out;
    // Files that name no pattern say why.
    kvtest::write_fits(d.path("none.fits"), 8, w, h, {kvtest::random_frame(w, h, 255, rng)});
    kvtest::write_fits(d.path("cmyg.fits"), 8, w, h, {kvtest::random_frame(w, h, 255, rng)}, "CMYG");
    kvtest::write_file(d.path("mono.ser"),
                       kvtest::ser_bytes(kvtest::ser_spec(0, w, h), {kvtest::random_frame(w, h, 255, rng)}));
    for (auto [file, line] : {std::pair{"none.fits", "pattern:    none (no BAYERPAT in the file)\n"},
                              {"cmyg.fits", "pattern:    none (BAYERPAT 'CMYG' is not a Bayer pattern)\n"},
                              {"mono.ser", "pattern:    none (SER colour ID 0 (monochrome))\n"}}) {
        const auto i = kvtest::run_program({"info", d.path(file)});
        ASSERT_EQ(i.status, 0) << i.err;
        EXPECT_NE(i.out.find(line), std::string::npos) << i.out;
    }
}

TEST(Program, PngWithSignificantBitsIsReadAtThatDepth) {
    kvtest::TempDir d;
    std::mt19937 rng(6);
    const int32_t w = 8, h = 8;
    const Samples f12 = kvtest::random_frame(w, h, 4095, rng);
    Samples stored = f12;
    for (auto &v : stored) v = static_cast<uint16_t>(v << 4);
    kvtest::write_grey_png(d.path("in.png"), w, h, 16, 12, stored);
    RUN_OK("demosaic", d.path("in.png"), "-o", d.path("out.png"), "-m", "nearest", "-p", "grbg");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.png")), expected(KORVIMG_NEAREST, KORVIMG_GRBG, f12, w, h, 12, 16)));
    const auto r = kvtest::run_program({"info", d.path("in.png")});
    EXPECT_NE(r.out.find("bit depth:  12"), std::string::npos) << r.out;
}

TEST(Program, RawSequenceIsNumberedAndMatchesEachFrame) {
    kvtest::TempDir d;
    std::mt19937 rng(7);
    const int32_t w = 6, h = 4;
    const std::vector<Samples> frames = kvtest::random_frames(5, w, h, 1023, rng);
    auto bytes = kvtest::raw_bytes(frames, 2, true);
    bytes.insert(bytes.begin(), 16, 0xee);  // a header to skip
    kvtest::write_file(d.path("in.raw"), bytes);
    RUN_OK("demosaic", d.path("in.raw"), "--width", "6", "--height", "4", "--bits", "10", "--offset", "16", "--endian",
           "big", "-o", d.path("seq.png"), "-m", "simple", "-p", "bggr", "--frames", "1:", "-j", "3", "-q");
    for (int i = 1; i < 5; ++i) {
        const std::string name = d.path("seq-000" + std::to_string(i) + ".png");
        EXPECT_TRUE(same(kvtest::read_picture(name), expected(KORVIMG_SIMPLE, KORVIMG_BGGR, frames[static_cast<size_t>(i)], w, h, 10, 16)))
            << name;
    }
    EXPECT_FALSE(kvtest::exists(d.path("seq-0000.png")));
}

// The PNG level changes how hard the file is compressed, never what it holds: every
// level gives the same samples, single pictures and sequences alike; level 0 stores the
// rows as they are, so its file holds at least every sample's bytes.
// On a terminal a run of several frames shows its progress on one line, redrawn in
// place and ended once; -q, a single frame, or standard error that is not a terminal
// show none.
TEST(Program, ProgressOnATerminal) {
    kvtest::TempDir d;
    std::mt19937 rng(71);
    const std::vector<Samples> frames = kvtest::random_frames(3, 8, 6, 255, rng);
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes(frames, 1, false));
    const std::vector<std::string> args{"demosaic", d.path("in.raw"), "--width", "8", "--height", "6", "--bits", "8",
                                        "-p", "rggb", "-m", "simple", "-o", d.path("seq.png")};
    for (const char *workers : {"1", "2"}) {
        SCOPED_TRACE(workers);
        auto with = args;
        with.insert(with.end(), {"-j", workers});
        const auto r = kvtest::run_program_on_terminal(with);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err.rfind("\rframes ", 0), 0u) << r.err;
        const size_t last = r.err.rfind("\rframes 3/3  ");
        ASSERT_NE(last, std::string::npos) << r.err;
        const std::string tail = r.err.substr(last);
        EXPECT_NE(tail.find(" frames/s  ETA 0:00   \r\n"), std::string::npos) << r.err;
        EXPECT_EQ(tail.size(), tail.find("\r\n") + 2) << r.err;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        for (int i = 0; i < 3; ++i)
            EXPECT_TRUE(same(kvtest::read_picture(d.path("seq-000" + std::to_string(i) + ".png")),
                             expected(KORVIMG_SIMPLE, KORVIMG_RGGB, frames[static_cast<size_t>(i)], 8, 6, 8, 8)));
    }
    auto quiet = args;
    quiet.push_back("-q");
    auto r = kvtest::run_program_on_terminal(quiet);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    auto one = args;
    one.insert(one.end(), {"--frames", "1"});
    r = kvtest::run_program_on_terminal(one);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    r = kvtest::run_program(args);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
}

TEST(Program, PngLevelChangesTheFileSizeOnly) {
    kvtest::TempDir d;
    std::mt19937 rng(31);
    const int32_t w = 64, h = 48;
    std::vector<Samples> frames;
    for (int i = 0; i < 3; ++i) {
        Samples f(static_cast<size_t>(w) * static_cast<size_t>(h));
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 0; x < w; ++x)  // a smooth slope with a little noise: it compresses
                f[static_cast<size_t>(y * w + x)] = static_cast<uint16_t>(8 * x + 5 * y + 40 * i + rng() % 4);
        frames.push_back(f);
    }
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes(frames, 2, false));
    const auto size_of = [](const std::string &path) { return kvtest::read_file(path).size(); };
    std::vector<size_t> sizes;
    for (const char *level : {"0", "1", "9"}) {
        const std::string one = d.path(std::string("one") + level + ".png");
        RUN_OK("demosaic", d.path("in.raw"), "--width", "64", "--height", "48", "--bits", "12", "--endian", "little",
               "-o", one, "-m", "bilinear", "--frames", "0:1", "--png-level", level);
        EXPECT_TRUE(same(kvtest::read_picture(one), expected(KORVIMG_BILINEAR, 0, frames[0], w, h, 12, 16))) << level;
        EXPECT_EQ(kvtest::read_picture(one).significant, 12) << "the sBIT chunk says how many bits count";
        sizes.push_back(size_of(one));
        const std::string seq = d.path(std::string("seq") + level + ".png");
        RUN_OK("demosaic", d.path("in.raw"), "--width", "64", "--height", "48", "--bits", "12", "--endian", "little",
               "-o", seq, "-m", "bilinear", "-d", "8", "--png-level", level, "-q");
        for (int i = 0; i < 3; ++i) {
            const std::string name = d.path(std::string("seq") + level + "-000" + std::to_string(i) + ".png");
            std::vector<uint8_t> reduced(frames[0].size());
            convert_frame12to8(frames[static_cast<size_t>(i)].data(), w * h, reduced.data());
            EXPECT_TRUE(same(kvtest::read_picture(name), expected(KORVIMG_BILINEAR, 0, samples_of(reduced), w, h, 8, 8)))
                << name;
        }
    }
    const size_t stored = static_cast<size_t>(kvcli::output_width(KORVIMG_BILINEAR, w)) *
                          static_cast<size_t>(kvcli::output_height(KORVIMG_BILINEAR, h)) * 3 * 2;
    EXPECT_GE(sizes[0], stored);
    EXPECT_GT(sizes[0], sizes[1]);
    EXPECT_GE(sizes[1], sizes[2]);
    EXPECT_LT(sizes[2], stored / 2);
    // Without --png-level, level 6.
    for (const char *level : {"", "6"}) {
        std::vector<std::string> args{"demosaic", d.path("in.raw"), "--width", "64", "--height", "48", "--bits", "12",
                                      "--endian", "little", "-o", d.path(std::string("l") + level + ".png"),
                                      "-m", "bilinear", "--frames", "0"};
        if (*level != '\0') args.insert(args.end(), {"--png-level", level});
        ASSERT_EQ(kvtest::run_program(args).status, 0);
    }
    EXPECT_EQ(kvtest::read_file(d.path("l.png")), kvtest::read_file(d.path("l6.png")));
    EXPECT_LT(size_of(d.path("l.png")), sizes[0]);
}

// One worker goes through a whole sequence with the same buffers. Every frame of the
// sequence must come out as it does when it is the only frame of a run, whatever the
// frames before it left in those buffers: frames of very different content, through
// every step that has a buffer of its own.
TEST(Program, EveryFrameOfASequenceIsAsItsOwnRunMakesIt) {
    kvtest::TempDir d;
    std::mt19937 rng(23);
    const int32_t w = 18, h = 12;
    std::vector<Samples> frames;
    for (uint32_t top : {4095u, 0u, 40u, 4095u, 1u}) frames.push_back(kvtest::random_frame(w, h, top, rng));
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h, 12), frames));
    const std::vector<std::vector<std::string>> settings = {
        {"-m", "laplacian"},
        {"-m", "preview", "-d", "8", "--reduce", "best"},
        {"-m", "adaptive", "-d", "8", "--bcg", "10,-20,5", "--alpha"},
        {"-m", "simple", "--bcg", "-5,5,30"},
        {"-m", "bilinear", "-d", "8", "--wb", "1.5,0.75", "--hsl", "30,1.3,0.9,0.05"},
        {"-m", "nearest", "-d", "8", "--median", "adjacent", "--matrix", "0.9,0.1,0,0,1,0,0.1,0,0.9,3,-2,1"},
        {"-m", "mono", "--alpha"},
    };
    for (const auto &extra : settings) {
        std::string label;
        for (const auto &a : extra) label += a + " ";
        std::vector<std::string> args = {"demosaic", d.path("in.ser"), "-o", d.path("seq.png"), "-j", "1", "-q"};
        args.insert(args.end(), extra.begin(), extra.end());
        const auto r = kvtest::run_program(args);
        ASSERT_EQ(r.status, 0) << label << r.err;
        for (size_t i = 0; i < frames.size(); ++i) {
            const std::string one = d.path("one.png");
            std::vector<std::string> single = {"demosaic", d.path("in.ser"), "-o", one, "-q",
                                               "--frames", std::to_string(i) + ":" + std::to_string(i + 1)};
            single.insert(single.end(), extra.begin(), extra.end());
            const auto r1 = kvtest::run_program(single);
            ASSERT_EQ(r1.status, 0) << label << r1.err;
            const std::string name = d.path("seq-000" + std::to_string(i) + ".png");
            EXPECT_TRUE(same(kvtest::read_picture(name), kvtest::read_picture(one))) << label << "frame " << i;
        }
    }
}

// ---- stacking, tone, white balance, spike filter, colour correction ----------------------------

TEST(Program, StackAveragesWithTheLibrarysSums) {
    kvtest::TempDir d;
    std::mt19937 rng(8);
    const int32_t w = 8, h = 6;
    std::vector<Samples> f8, f16;
    for (int i = 0; i < 7; ++i) {
        f8.push_back(kvtest::random_frame(w, h, 255, rng));
        f16.push_back(kvtest::random_frame(w, h, 65535, rng));
    }
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes(f8, 1, false));
    RUN_OK("demosaic", d.path("in.raw"), "--width", "8", "--height", "6", "--bits", "8", "-o", d.path("s.png"),
           "-m", "nearest", "--stack", "--frames", "2:7");
    std::vector<uint32_t> acc(48, 0);
    for (int i = 2; i < 7; ++i) frame_add8(acc.data(), bytes_of(f8[static_cast<size_t>(i)]).data(), 48);
    std::vector<uint8_t> avg(48);
    frame_avg8(avg.data(), acc.data(), 48, 5);
    EXPECT_TRUE(same(kvtest::read_picture(d.path("s.png")),
                     expected(KORVIMG_NEAREST, 0, samples_of(avg), w, h, 8, 8)));

    kvtest::write_fits(d.path("in.fits"), 20, w, h, f16, "GBRG");
    RUN_OK("demosaic", d.path("in.fits"), "-o", d.path("t.tif"), "-m", "simple", "--stack", "-j", "2");
    std::fill(acc.begin(), acc.end(), 0u);
    for (const auto &f : f16) frame_add16(acc.data(), f.data(), 48);
    Samples avg16(48);
    frame_avg16(avg16.data(), acc.data(), 48, 7);
    EXPECT_TRUE(same(kvtest::read_picture(d.path("t.tif")), expected(KORVIMG_SIMPLE, KORVIMG_GBRG, avg16, w, h, 16, 16)));
}

TEST(Program, DepthReductionBestAndShift) {
    kvtest::TempDir d;
    std::mt19937 rng(9);
    const int32_t w = 16, h = 12;
    for (const int bits : {10, 12}) {
        SCOPED_TRACE(bits);
        const bool ten = bits == 10;
        const uint32_t top = (1u << bits) - 1;
        Samples f = kvtest::random_frame(w, h, top, rng);
        for (auto &v : f) v = static_cast<uint16_t>(v / 8 + top / 4);  // a narrow, uneven range
        kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(w, h, static_cast<int>(top), f));
        RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("best.png"), "-m", "simple", "--out-depth", "8",
               "--reduce", "best");
        std::vector<uint32_t> hist(top + 1);
        std::vector<uint8_t> table(top + 1), reduced(f.size());
        if (ten) {
            histogram10(f.data(), w * h, hist.data());
            ASSERT_EQ(best_lookup_table10to8(hist.data(), table.data()), 1u);
        } else {
            histogram12(f.data(), w * h, hist.data());
            ASSERT_EQ(best_lookup_table12to8(hist.data(), table.data()), 1u);
        }
        convert_frame12to8LUT(f.data(), w * h, table.data(), reduced.data());
        EXPECT_TRUE(same(kvtest::read_picture(d.path("best.png")),
                         expected(KORVIMG_SIMPLE, 0, samples_of(reduced), w, h, 8, 8)));
        // The best table spreads the narrow range over more of the 8-bit scale than the
        // shift does.
        const auto [lo, hi] = std::minmax_element(reduced.begin(), reduced.end());
        EXPECT_GT(*hi - *lo, int(top / 8) >> (bits - 8));

        RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("shift.png"), "-m", "simple", "--out-depth", "8");
        if (ten) convert_frame10to8(f.data(), w * h, reduced.data());
        else convert_frame12to8(f.data(), w * h, reduced.data());
        for (size_t i = 0; i < f.size(); ++i) ASSERT_EQ(reduced[i], f[i] >> (bits - 8)) << i;
        EXPECT_TRUE(same(kvtest::read_picture(d.path("shift.png")),
                         expected(KORVIMG_SIMPLE, 0, samples_of(reduced), w, h, 8, 8)));
    }
}

TEST(Program, BrightnessContrastGammaTables) {
    kvtest::TempDir d;
    std::mt19937 rng(10);
    const int32_t w = 8, h = 8;
    const Samples f8 = random_pgm(d, "in8.pgm", w, h, 255, rng), f10 = random_pgm(d, "in10.pgm", w, h, 1023, rng);
    RUN_OK("demosaic", d.path("in8.pgm"), "-o", d.path("a.png"), "-m", "nearest", "--bcg", "10,-20,30");
    std::vector<uint8_t> table(1024), out(64);
    ASSERT_EQ(create_BCG_LUT8(10, -20, 30, table.data()), 1);
    convert_frame8to8LUT(bytes_of(f8).data(), 64, table.data(), out.data());
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")), expected(KORVIMG_NEAREST, 0, samples_of(out), w, h, 8, 8)));
    RUN_OK("demosaic", d.path("in10.pgm"), "-o", d.path("b.png"), "-m", "nearest", "--bcg", "0,64,-5", "-d", "8");
    ASSERT_EQ(create_BCG_LUT10_8(0, 64, -5, table.data()), 1);
    convert_frame10to8LUT(f10.data(), 64, table.data(), out.data());
    EXPECT_TRUE(same(kvtest::read_picture(d.path("b.png")), expected(KORVIMG_NEAREST, 0, samples_of(out), w, h, 8, 8)));
}

TEST(Program, WhiteBalanceAndMedianFilter) {
    kvtest::TempDir d;
    std::mt19937 rng(11);
    const int32_t w = 12, h = 8;
    const Samples f = kvtest::random_frame(w, h, 200, rng);
    kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(w, h, 255, f));
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-m", "simple", "-p", "grbg", "--wb", "auto",
           "--median", "mosaic", "-q");
    std::vector<uint8_t> raw = bytes_of(f);
    median_filter8(raw.data(), w, h, 1);
    double red = 0, blue = 0;
    white_balance8grbg(raw.data(), w, h, &red, &blue);
    ASSERT_GT(red, 0);
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const bool is_red = y % 2 == 0 && x % 2 == 1, is_blue = y % 2 == 1 && x % 2 == 0;  // grbg
            if (!is_red && !is_blue) continue;
            uint8_t &v = raw[static_cast<size_t>(y * w + x)];
            const double s = std::floor(v * (is_red ? red : blue) + 0.5);
            v = static_cast<uint8_t>(s > 255 ? 255 : s);
        }
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")),
                     expected(KORVIMG_SIMPLE, KORVIMG_GRBG, samples_of(raw), w, h, 8, 8)));
}

// The spike filter's rule over every sample of every row, of any depth: a sample is
// limited to the range of its neighbours at distance d and of the two extrapolations,
// unless that range is a single value; the first and last 2d columns are kept. Each
// row is filtered from its own unfiltered values.
Samples spike_limited(const Samples &frame, int32_t w, int32_t h, int32_t d) {
    Samples out = frame;
    for (int32_t y = 0; y < h; ++y) {
        auto at = [&](int32_t x) { return int64_t{frame[static_cast<size_t>(y * w + x)]}; };
        for (int32_t x = 2 * d; x <= w - 1 - 2 * d; ++x) {
            const int64_t a = at(x - d), b = at(x + d), el = 2 * a - at(x - 2 * d), er = 2 * b - at(x + 2 * d);
            const int64_t lo = std::min({a, b, el, er}), hi = std::max({a, b, el, er}), c = at(x);
            if (lo != hi) out[static_cast<size_t>(y * w + x)] = static_cast<uint16_t>(std::clamp(c, lo, hi));
        }
    }
    return out;
}

// Hot and dead samples anywhere in a row are limited, in 8-bit frames by median_filter8
// and in deeper ones by median_filter16, which writes back half of a row at a time:
// the program filters the whole row all the same, at odd widths too (where the
// library's write-back splits the middle sample).
TEST(Program, MedianFilterTakesWholeRowsAtEveryDepth) {
    kvtest::TempDir d;
    std::mt19937 rng(17);
    for (int32_t w : {1, 4, 9, 10, 17, 33, 64}) {
        const int32_t h = 3;
        for (int maxval : {255, 4095}) {
            Samples f = kvtest::random_frame(w, h, static_cast<uint32_t>(maxval / 2), rng);
            // Hot samples at the middle, near both ends and in between.
            for (int32_t y = 0; y < h; ++y)
                for (int32_t x : {w / 2, 5, w - 6, (3 * w) / 4})
                    if (x >= 0 && x < w) f[static_cast<size_t>(y * w + x)] = static_cast<uint16_t>(maxval - y);
            kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(w, h, maxval, f));
            for (int32_t distance : {1, 2}) {
                const Samples filtered = spike_limited(f, w, h, distance);
                if (maxval == 255) {
                    // The rule above is the library's 8-bit filter.
                    std::vector<uint8_t> raw = bytes_of(f);
                    median_filter8(raw.data(), w, h, distance == 2 ? 1u : 0u);
                    ASSERT_EQ(samples_of(raw), filtered) << w;
                }
                if (w >= 12) {
                    EXPECT_NE(filtered, f) << w;
                }
                RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("out.png"), "-m", "mono", "--median",
                       distance == 2 ? "mosaic" : "adjacent");
                const int bits = maxval == 255 ? 8 : 12;
                EXPECT_TRUE(same(kvtest::read_picture(d.path("out.png")),
                                 expected(KORVIMG_MONO, 0, filtered, w, h, bits, bits == 8 ? 8 : 16)))
                    << w << " x " << h << ", " << bits << " bits, d = " << distance;
            }
        }
    }
}

// Rows far wider than 8192 samples go through the spike filter like any other.
TEST(Program, MedianFilterOnVeryWideRows) {
    kvtest::TempDir d;
    std::mt19937 rng(13);
    const int32_t w = 16388, h = 4;
    const Samples f8 = random_pgm(d, "in8.pgm", w, h, 255, rng), f10 = random_pgm(d, "in10.pgm", w, h, 1023, rng);
    // Some sample beyond column 8192 is changed by the filter.
    auto changed_far_right = [&](const Samples &before, const Samples &after, int32_t end) {
        for (int32_t y = 0; y < h; ++y)
            for (int32_t x = 8192; x < end; ++x)
                if (before[static_cast<size_t>(y * w + x)] != after[static_cast<size_t>(y * w + x)]) return true;
        return false;
    };

    RUN_OK("demosaic", d.path("in8.pgm"), "-o", d.path("a.png"), "-m", "mono", "--median", "mosaic");
    std::vector<uint8_t> raw = bytes_of(f8);
    median_filter8(raw.data(), w, h, 1);
    const Samples filtered8 = samples_of(raw);
    EXPECT_TRUE(changed_far_right(f8, filtered8, w));
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")), expected(KORVIMG_MONO, 0, filtered8, w, h, 8, 8)));

    RUN_OK("demosaic", d.path("in10.pgm"), "-o", d.path("b.png"), "-m", "mono", "--median", "adjacent");
    const Samples filtered10 = spike_limited(f10, w, h, 1);
    EXPECT_TRUE(changed_far_right(f10, filtered10, w));
    EXPECT_TRUE(same(kvtest::read_picture(d.path("b.png")), expected(KORVIMG_MONO, 0, filtered10, w, h, 10, 16)));
}

TEST(Program, ColourCorrectionByHslAndMatrix) {
    kvtest::TempDir d;
    std::mt19937 rng(12);
    const int32_t w = 8, h = 6;
    const Samples f = random_pgm(d, "in.pgm", w, h, 255, rng);
    const auto lib = kvtest::library_demosaic(KORVIMG_SIMPLE, 24, 0, f, w, h);
    std::vector<uint8_t> img(lib.begin(), lib.end());
    std::vector<uint8_t> a = img, b = img;
    ColorCorrectionContext *ctx = color_correction_init();
    ASSERT_NE(ctx, nullptr);
    color_correction_sethsl(ctx, 30, 1.5, 0.9, 0.05);
    color_correction24(ctx, a.data(), w, h);
    const double m[12] = {1.2, 0, 0, 0.1, 1, 0, 0, 0, 0.8, 5, 0, -5};
    color_correction_setmatrix(ctx, m);
    color_correction_usematrix(ctx, 1);
    color_correction24(ctx, b.data(), w, h);
    // Mono pictures are grey, but colour correction colours them: they are then
    // written in colour, all three channels kept.
    const auto mono = kvtest::library_demosaic(KORVIMG_MONO, 24, 0, f, w, h);
    std::vector<uint8_t> c(mono.begin(), mono.end());
    color_correction24(ctx, c.data(), w, h);
    color_correction_done(ctx);
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-m", "simple", "--hsl", "30,1.5,0.9,0.05", "-q");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")),
                     kvtest::expected_picture(std::vector<uint32_t>(a.begin(), a.end()), w, h, 3, 8, 8, false)));
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("b.png"), "-m", "simple", "--matrix",
           "1.2,0,0,0.1,1,0,0,0,0.8,5,0,-5", "-q");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("b.png")),
                     kvtest::expected_picture(std::vector<uint32_t>(b.begin(), b.end()), w, h, 3, 8, 8, false)));
    const Picture coloured = kvtest::expected_picture(std::vector<uint32_t>(c.begin(), c.end()), w, h, 3, 8, 8, false);
    for (const char *out : {"c.png", "c.ppm", "c.tif"}) {
        RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path(out), "-m", "mono", "--matrix",
               "1.2,0,0,0.1,1,0,0,0,0.8,5,0,-5", "-q");
        EXPECT_TRUE(same(kvtest::read_picture(d.path(out)), coloured)) << out;
    }
}

// ---- conventions --------------------------------------------------------------------------

// The library's grey-world sums are 32-bit and wrap on a large frame of deep samples;
// the program's gains are still those of the frame.
TEST(Program, WhiteBalanceOfAFrameWhoseSumsPass32Bits) {
    kvtest::TempDir d;
    const int32_t w = 800, h = 800;
    Samples f(static_cast<size_t>(w * h));
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x)  // rggb: red 20000, green 40000, blue 30000
            f[static_cast<size_t>(y * w + x)] = y % 2 == 0 ? (x % 2 == 0 ? 20000 : 40000) : (x % 2 == 0 ? 40000 : 30000);
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h, 16), {f}));
    double red = 0, blue = 0;
    white_balance12rggb(f.data(), w, h, &red, &blue);
    ASSERT_NE(red, 2.0);  // the library's sums wrapped on this frame
    const auto r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("a.ppm"), "-m", "nearest", "-d", "8",
                                        "--wb", "auto"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("white balance gains: red 2.0000, blue 1.3333"), std::string::npos) << r.out;
}

// --wb auto measures one frame and says which: the first of a sequence serves all of
// it. A gain it cannot measure (no signal at its sites) is 1, with a warning.
TEST(Program, AutomaticWhiteBalanceSaysWhatItMeasured) {
    kvtest::TempDir d;
    const int32_t w = 4, h = 4;
    Samples dark_red(16), bright(16);
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {  // rggb: red 0 or 50, green 100, blue 25
            const bool red = y % 2 == 0 && x % 2 == 0, blue = y % 2 == 1 && x % 2 == 1;
            dark_red[static_cast<size_t>(y * w + x)] = red ? 0 : blue ? 25 : 100;
            bright[static_cast<size_t>(y * w + x)] = red ? 50 : blue ? 25 : 100;
        }
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h), {dark_red, bright, bright}));
    auto r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("a.png"), "-m", "nearest", "--wb", "auto"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("white balance gains (measured on frame 0, used for all 3 frames): red 1.0000, blue 4.0000"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.err, "korvimg: " + d.path("in.ser") + ": --wb auto: no red signal in frame 0, its gain left at 1\n");
    r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("b.png"), "-m", "nearest", "--wb", "auto",
                             "--frames", "1:3"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("white balance gains (measured on frame 1, used for all 2 frames): red 2.0000, blue 4.0000"),
              std::string::npos)
        << r.out;
    EXPECT_EQ(r.err, "");
    r = kvtest::run_program({"demosaic", d.path("in.ser"), "-o", d.path("c.png"), "-m", "nearest", "--wb", "auto",
                             "--frames", "1:3", "--stack"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("white balance gains (measured on the stacked frame): red 2.0000, blue 4.0000"),
              std::string::npos)
        << r.out;
    // Without green signal no gain can be measured (the library's would be 0).
    Samples no_green = bright;
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x)
            if ((x + y) % 2 == 1) no_green[static_cast<size_t>(y * w + x)] = 0;
    kvtest::write_file(d.path("g.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h), {no_green}));
    r = kvtest::run_program({"demosaic", d.path("g.ser"), "-o", d.path("g.png"), "-m", "nearest", "--wb", "auto"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "white balance gains: red 1.0000, blue 1.0000\n");
    EXPECT_EQ(r.err, "korvimg: " + d.path("g.ser") + ": --wb auto: no green signal in the frame, both gains left at 1\n");
    EXPECT_TRUE(same(kvtest::read_picture(d.path("g.png")), expected(KORVIMG_NEAREST, KORVIMG_RGGB, no_green, w, h, 8, 8)));
}

// info's histogram summary: 16-bit samples at full resolution, and a colour frame of
// odd size without its last column and row (where the 2x2 walk would leave the grid).
TEST(Program, InfoSummariesAreExact) {
    kvtest::TempDir d;
    Samples f{1000, 40000, 1000, 40000, 40000, 65535, 40000, 7};  // rggb 4 x 2
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 2, 16), {f}));
    auto r = kvtest::run_program({"info", d.path("a.ser")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("red    min  1000  median  1000  mean   1000.00  max  1000"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("blue   min     7  median     7  mean  32771.00  max 65535"), std::string::npos) << r.out;
    Samples odd(35);
    for (int32_t y = 0; y < 5; ++y)
        for (int32_t x = 0; x < 7; ++x) odd[static_cast<size_t>(y * 7 + x)] = static_cast<uint16_t>(100 + 10 * y + x);
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 7, 5), {odd}));
    r = kvtest::run_program({"info", d.path("b.ser")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("odd size: the last column and row are not counted"), std::string::npos) << r.out;
    // Reds of the 6 x 4 part: 100, 102, 104, 120, 122, 124.
    EXPECT_NE(r.out.find("red    min   100  median   104  mean    112.00  max   124"), std::string::npos) << r.out;
}

// --pattern overrides the file's pattern in the summary; a colour frame one sample wide
// has no whole 2x2 cell to count; bytes after the last frame too few for time stamps
// are reported.
TEST(Program, InfoPatternOptionAndFramesWithoutCells) {
    kvtest::TempDir d;
    Samples f{1000, 40000, 1000, 40000, 40000, 65535, 40000, 7};  // 4 x 2
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 2, 16), {f}));
    auto r = kvtest::run_program({"info", d.path("a.ser"), "--pattern", "bggr"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("pattern:    bggr (--pattern)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("red    min     7  median     7  mean  32771.00  max 65535"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("blue   min  1000  median  1000  mean   1000.00  max  1000"), std::string::npos) << r.out;
    r = kvtest::run_program({"info", d.path("a.ser"), "--pattern", "rgbg"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "korvimg: --pattern: expected rggb|grbg|gbrg|bggr, got 'rgbg'\n");
    EXPECT_TRUE(r.out.empty()) << r.out;
    r = kvtest::run_program({"info", d.path("a.ser"), "-p", "rgbg"});
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "korvimg: -p: expected rggb|grbg|gbrg|bggr, got 'rgbg'\n");

    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 1, 3), {Samples{5, 6, 7}}));
    r = kvtest::run_program({"info", d.path("b.ser")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("odd size: the last column and row are not counted"), std::string::npos) << r.out;
    for (const char *channel : {"red", "green", "blue"})
        EXPECT_NE(r.out.find("  " + std::string(channel) + std::string(7 - std::string(channel).size(), ' ') +
                             "no samples\n"),
                  std::string::npos)
            << channel << " in " << r.out;
    // As a monochrome frame all three samples count.
    kvtest::write_file(d.path("c.ser"), kvtest::ser_bytes(kvtest::ser_spec(0, 1, 3), {Samples{5, 6, 7}}));
    r = kvtest::run_program({"info", d.path("c.ser")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.find("no samples"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("min     5  median     6  mean      6.00  max     7"), std::string::npos) << r.out;

    auto bytes = kvtest::ser_bytes(kvtest::ser_spec(8, 2, 2), {Samples(4, 9), Samples(4, 9)});
    bytes.insert(bytes.end(), {1, 2, 3});
    kvtest::write_file(d.path("d.ser"), bytes);
    r = kvtest::run_program({"info", d.path("d.ser")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("note:       3 bytes after the last frame (no complete time stamps)\n"), std::string::npos)
        << r.out;
    EXPECT_NE(r.out.find("frames:     2\n"), std::string::npos) << r.out;
}

// A sequence of 300 pictures started in d from in.raw, out-0000.png ...; returns its
// process once at least three pictures wait in its staging directory (0 if none
// appeared).
int start_sequence_and_wait_for_staging(const kvtest::TempDir &d) {
    const int pid = kvtest::start_program({"demosaic", d.path("in.raw"), "--width", "256", "--height", "256", "--bits",
                                           "8", "-m", "laplacian", "-j", "1", "-o", d.path("out.png")});
    if (pid <= 0) return 0;
    for (int tries = 0; tries < 20000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::string staging;
        for (const auto &e : d.entries())
            if (e.rfind(".korvimg-", 0) == 0) staging = d.path(e);
        if (staging.empty()) continue;
        size_t staged = 0;
        for (const auto &e : kvtest::list_directory(staging)) staged += e.find(".png") != std::string::npos;
        if (staged >= 3) return pid;
    }
    kill(pid, SIGKILL);
    kvtest::wait_program(pid);
    return 0;
}

// Sequences are put in place only once every picture is written: a run ended by a
// signal half-way leaves the files that were there as they were, and nothing else.
TEST(Program, InterruptedSequenceLeavesTheOldFilesAlone) {
    kvtest::TempDir d;
    const int32_t w = 256, h = 256;
    const uint32_t frames = 300;
    std::mt19937 rng(12);
    const Samples f = kvtest::random_frame(w, h, 255, rng);
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes(std::vector<Samples>(frames, f), 1, false));
    for (int i = 0; i < 3; ++i) kvtest::write_file(d.path("out-000" + std::to_string(i) + ".png"), {'o', 'l', 'd'});
    const auto before = d.entries();
    for (int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGALRM, SIGUSR1, SIGPWR, SIGIO, SIGRTMIN, SIGRTMAX}) {
        int pid = 0;
        {
            const kvtest::Disposition fatal(signal_number, SIG_DFL);  // as a shell would start it
            pid = start_sequence_and_wait_for_staging(d);
        }
        ASSERT_GT(pid, 0) << "no staging directory seen, signal " << signal_number;
        kill(pid, signal_number);
        EXPECT_EQ(kvtest::wait_program(pid), -signal_number);
        EXPECT_EQ(d.entries(), before) << "signal " << signal_number;
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(kvtest::read_file(d.path("out-000" + std::to_string(i) + ".png")),
                      (std::vector<uint8_t>{'o', 'l', 'd'}));
    }
}

// A signal that comes while a sequence's pictures are being moved in place ends the
// program once all of them are: the program is stopped at the first picture it puts
// in place (seen through inotify), sent SIGTERM and let go on. None of the old files
// may be left beside new ones, and no staging directory either.
TEST(Program, SignalWhileASequenceIsPutInPlaceWaitsForTheLast) {
    kvtest::TempDir d;
    const uint32_t frames = 3000;
    const Samples f{10, 20, 30, 40};
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes(std::vector<Samples>(frames, f), 1, false));
    auto name = [](uint32_t i) {
        char text[32];
        std::snprintf(text, sizeof text, "out-%04u.ppm", i);
        return std::string(text);
    };
    for (uint32_t i = 0; i < frames; ++i) kvtest::write_file(d.path(name(i)), {'o', 'l', 'd'});
    const int watch = inotify_init1(IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(inotify_add_watch(watch, d.dir().c_str(), IN_MOVED_TO), 0);
    int pid = 0;
    {
        const kvtest::Disposition fatal(SIGTERM, SIG_DFL);
        pid = kvtest::start_program({"demosaic", d.path("in.raw"), "--width", "2", "--height", "2", "--bits", "8",
                                     "-m", "simple", "-j", "1", "-q", "-o", d.path("out.ppm")});
    }
    ASSERT_GT(pid, 0);
    pollfd moved{watch, POLLIN, 0};
    const int seen = poll(&moved, 1, 60000);  // the first picture moved in
    kill(pid, SIGSTOP);
    close(watch);
    if (seen != 1) {
        kill(pid, SIGKILL);
        kvtest::wait_program(pid);
        FAIL() << "no picture was put in place";
    }
    size_t new_ones = 0;
    for (uint32_t i = 0; i < frames; ++i) new_ones += kvtest::read_file(d.path(name(i))).size() > 3;
    EXPECT_LT(new_ones, frames) << "stopped only after the last picture was in place";
    kill(pid, SIGTERM);
    kill(pid, SIGCONT);
    EXPECT_EQ(kvtest::wait_program(pid), -SIGTERM);
    size_t old_ones = 0;
    for (uint32_t i = 0; i < frames; ++i) old_ones += kvtest::read_file(d.path(name(i))).size() == 3;
    EXPECT_EQ(old_ones, 0u) << "of " << frames << " pictures, " << old_ones << " were left as they were";
    for (const auto &e : d.entries()) EXPECT_NE(e.rfind(".korvimg-", 0), 0u) << e << " left behind";
}

// A signal the program was started with ignored (a hangup under nohup) stays ignored:
// the run goes on to the end.
TEST(Program, IgnoredHangupStaysIgnored) {
    kvtest::TempDir d;
    std::mt19937 rng(14);
    const Samples f = kvtest::random_frame(256, 256, 255, rng);
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes(std::vector<Samples>(300, f), 1, false));
    int pid = 0;
    {
        const kvtest::Disposition ignored(SIGHUP, SIG_IGN);
        pid = start_sequence_and_wait_for_staging(d);
    }
    ASSERT_GT(pid, 0) << "no staging directory seen";
    kill(pid, SIGHUP);
    EXPECT_EQ(kvtest::wait_program(pid), 0);
    EXPECT_TRUE(kvtest::exists(d.path("out-0000.png")));
    EXPECT_TRUE(kvtest::exists(d.path("out-0299.png")));
}

TEST(Program, HelpVersionAndUsageErrors) {
    auto r = kvtest::run_program({"--version"});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("korvimg ", 0), 0u) << r.out;
    for (const char *cmd : {"demosaic", "info", "demo"}) {
        r = kvtest::run_program({cmd, "--help"});
        EXPECT_EQ(r.status, 0) << cmd;
        EXPECT_EQ(r.out.rfind(std::string("usage: korvimg ") + cmd, 0), 0u) << r.out;
        // Help wins over whatever else the command line holds.
        r = kvtest::run_program({cmd, "--no-such-option", "-h", "-o"});
        EXPECT_EQ(r.status, 0) << cmd << ": " << r.err;
        EXPECT_EQ(r.out.rfind(std::string("usage: korvimg ") + cmd, 0), 0u) << r.out;
        r = kvtest::run_program({cmd, "--no-such-option", "-hq"});  // -h first in a group
        EXPECT_EQ(r.status, 0) << cmd << ": " << r.err;
        EXPECT_EQ(r.out.rfind(std::string("usage: korvimg ") + cmd, 0), 0u) << r.out;
        if (std::string(cmd) == "demosaic") {  // -h as the value of -o is a file name, not a call for help
            for (const std::vector<std::string> &args : {std::vector<std::string>{cmd, "-o", "-h"},
                                                         std::vector<std::string>{cmd, "-qo", "-h"}}) {
                r = kvtest::run_program(args);
                EXPECT_NE(r.status, 0) << cmd;
                EXPECT_EQ(r.out, "") << cmd;
            }
        }
        r = kvtest::run_program({cmd, "-o", "-h", "-qh"});  // -h as -o's value is a file name
        EXPECT_EQ(r.status, 0) << cmd << ": " << r.err;
        EXPECT_EQ(r.out.rfind(std::string("usage: korvimg ") + cmd, 0), 0u) << r.out;
    }
    const std::vector<std::vector<std::string>> bad = {
        {},
        {"frobnicate"},
        {"demosaic", "x.ser"},
        {"demosaic", "-o", "y.png"},
        {"demosaic", "x.ser", "-o", "y.png", "--no-such-option"},
        {"demosaic", "x.ser", "-o", "y.png", "--method"},
        {"demosaic", "x.ser", "-o", "y.png", "-qx"},  // no option -x
        {"demosaic", "x.ser", "-o", "y.png", "-q-"},
        {"demosaic", "x.ser", "-o", "y.png", "-q\xc3\x84"},
        {"demosaic", "x.ser", "-o", ""},
        {"demosaic", "x.ser", "-o", "y.png", "-qj"},  // -j without its value
        {"demosaic", "x.ser", "-o", "y.png", "--", "--help"},
        {"demosaic", "x.ser", "-o", "y.xyz"},
        {"info"},
        {"demo", "extra"},
        {"demo", "-o", ""},
    };
    for (const auto &args : bad) {
        r = kvtest::run_program(args);
        EXPECT_EQ(r.status, 2) << (args.empty() ? "" : args[0]);
        EXPECT_FALSE(r.err.empty());
    }
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "-qx"}).err, "korvimg: unknown option -x in -qx\n");
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "-x"}).err, "korvimg: unknown option -x\n");
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "-q-"}).err,
              "korvimg: unknown option letter '-' in -q-\n");
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "-q\xc3\x84"}).err,
              "korvimg: unknown option -\xc3\x84 in -q\xc3\x84\n");
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", ""}).err, "korvimg: the output file name is empty\n");
    // A missing value is reported for the option as it was written.
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "-qj"}).err,
              "korvimg: -j (in -qj) needs a value (N)\n");
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "-j"}).err, "korvimg: -j needs a value (N)\n");
    EXPECT_EQ(kvtest::run_program({"demosaic", "x.ser", "-o", "y.png", "--threads"}).err,
              "korvimg: --threads needs a value (N)\n");
}

// preview makes one pixel of each 2 x 2 cell: a 12 x 8 frame gives a 6 x 4 picture.
TEST(Program, PreviewIsHalfTheFrameEachWay) {
    kvtest::TempDir d;
    std::mt19937 rng(61);
    const int32_t w = 12, h = 8;
    const Samples f = random_pgm(d, "in.pgm", w, h, 255, rng);
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("p.ppm"), "-m", "preview", "-p", "grbg");
    const Picture got = kvtest::read_picture(d.path("p.ppm"));
    EXPECT_EQ(got.width, 6);
    EXPECT_EQ(got.height, 4);
    ASSERT_EQ(got.samples.size(), 6u * 4u * 3u);
    std::vector<uint8_t> lib(6 * 4 * 3);
    debayer24(bytes_of(f).data(), w, h, KORVIMG_GRBG, KORVIMG_PREVIEW, lib.data());
    for (size_t i = 0; i < 6 * 4; ++i)  // the library's B, G, R; the file's R, G, B
        for (size_t c = 0; c < 3; ++c) EXPECT_EQ(got.samples[i * 3 + c], lib[i * 3 + 2 - c]) << i << " " << c;
}

// Frame numbers take four digits, and more when the last picture's number needs them,
// so that the names of a sequence sort in frame order.
TEST(Program, SequenceNumbersWidenPastFrame9999) {
    kvtest::TempDir d;
    std::vector<uint8_t> bytes;
    for (uint32_t i = 0; i < 10001; ++i)  // 2 x 2 frames, each of its own number's low byte
        bytes.insert(bytes.end(), 4, static_cast<uint8_t>(i));
    kvtest::write_file(d.path("in.raw"), bytes);
    const std::vector<std::string> raw{"demosaic", d.path("in.raw"), "--width", "2", "--height", "2", "--bits", "8",
                                       "-m", "mono", "-q", "-o"};
    auto with = raw;
    with.insert(with.end(), {d.path("a.pgm"), "--frames", "9998:10000"});  // last: 9999, four digits
    auto r = kvtest::run_program(with);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"a-9998.pgm", "a-9999.pgm", "in.raw"}));
    with = raw;
    with.insert(with.end(), {d.path("b.pgm"), "--frames", "9999:"});  // last: 10000, five digits
    r = kvtest::run_program(with);
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"a-9998.pgm", "a-9999.pgm", "b-09999.pgm", "b-10000.pgm", "in.raw"}));
    const Picture last = kvtest::read_picture(d.path("b-10000.pgm"));
    EXPECT_EQ(last.samples, (std::vector<uint32_t>(4, 10000 % 256)));
}

// Each command's help lists its options with --help last.
TEST(Program, HelpListsHelpLast) {
    for (const char *cmd : {"demosaic", "info", "demo"}) {
        const auto r = kvtest::run_program({cmd, "--help"});
        ASSERT_EQ(r.status, 0) << cmd;
        const size_t last_line = r.out.rfind('\n', r.out.size() - 2);
        ASSERT_NE(last_line, std::string::npos) << r.out;
        EXPECT_EQ(r.out.compare(last_line + 1, 14, "  -h, --help  "), 0) << cmd << ":\n" << r.out;
    }
}

// The program's own help comes by any of its three spellings, on standard output.
TEST(Program, EverySpellingOfHelpShowsTheCommands) {
    for (const char *help : {"--help", "-h", "help"}) {
        const auto r = kvtest::run_program({help});
        EXPECT_EQ(r.status, 0) << help << ": " << r.err;
        EXPECT_EQ(r.out.rfind("usage: korvimg COMMAND", 0), 0u) << help << ": " << r.out;
        EXPECT_EQ(r.err, "") << help;
    }
}

// The output format follows the extension in capitals as in small letters.
TEST(Program, ExtensionsInCapitals) {
    kvtest::TempDir d;
    std::mt19937 rng(62);
    const Samples f = random_pgm(d, "in.pgm", 6, 4, 255, rng);
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("a.PNG"), "-m", "simple");
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("b.Tif"), "-m", "simple");
    RUN_OK("demosaic", d.path("in.pgm"), "-o", d.path("c.PPM"), "-m", "simple");
    const auto png = kvtest::read_file(d.path("a.PNG"));
    ASSERT_GE(png.size(), 8u);
    EXPECT_EQ(std::vector<uint8_t>(png.begin(), png.begin() + 8),
              (std::vector<uint8_t>{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}));
    const auto tif = kvtest::read_file(d.path("b.Tif"));
    ASSERT_GE(tif.size(), 4u);
    const std::vector<uint8_t> head(tif.begin(), tif.begin() + 4);
    EXPECT_TRUE(head == (std::vector<uint8_t>{'I', 'I', 42, 0}) || head == (std::vector<uint8_t>{'M', 'M', 0, 42}));
    const auto ppm = kvtest::read_file(d.path("c.PPM"));
    ASSERT_GE(ppm.size(), 2u);
    EXPECT_EQ(std::string(ppm.begin(), ppm.begin() + 2), "P6");
}

// info gives the share of each channel's samples at the largest value of the depth.
TEST(Program, InfoCountsTheShareAtFullScale) {
    kvtest::TempDir d;
    // rggb 4 x 2: reds 65534 and 65535, greens 65535 three times of four, blues 0 and 65534.
    Samples f{65534, 65535, 65535, 65535, 65535, 0, 1, 65534};
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 2, 16), {f}));
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> runs = {
        {{},
         {"red    min 65534  median 65534  mean  65534.50  max 65535  at full scale 50.000%",
          "green  min     1  median 65535  mean  49151.50  max 65535  at full scale 75.000%",
          "blue   min     0  median     0  mean  32767.00  max 65534  at full scale  0.000%"}},
        // Read as grbg: reds at (1, 0) and (3, 0), blues at (0, 1) and (2, 1).
        {{"-p", "grbg"},
         {"red    min 65535  median 65535  mean  65535.00  max 65535  at full scale 100.000%",
          "green  min     0  median 65534  mean  49150.75  max 65535  at full scale 25.000%",
          "blue   min     1  median     1  mean  32768.00  max 65535  at full scale 50.000%"}}};
    for (const auto &[options, lines] : runs) {
        std::vector<std::string> args{"info", d.path("a.ser")};
        args.insert(args.end(), options.begin(), options.end());
        const auto r = kvtest::run_program(args);
        ASSERT_EQ(r.status, 0) << r.err;
        for (const auto &line : lines) EXPECT_NE(r.out.find(line), std::string::npos) << line << "\n" << r.out;
    }
}

// A new picture gets the permissions of any new file: 0666 less the umask.
TEST(Program, NewPicturesFollowTheUmask) {
    kvtest::TempDir d;
    std::mt19937 rng(63);
    random_pgm(d, "in.pgm", 4, 4, 255, rng);
    const mode_t old = umask(002);
    const auto r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-m", "simple"});
    const auto s = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("b.png"), "-m", "simple", "--frames", "0:1"});
    umask(old);
    ASSERT_EQ(r.status, 0) << r.err;
    ASSERT_EQ(s.status, 0) << s.err;
    struct stat st {};
    ASSERT_EQ(stat(d.path("a.png").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0664u);
    ASSERT_EQ(stat(d.path("b.png").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0664u);
}

// The demo makes every missing directory of a relative -o path, the first one
// included, however short its name.
TEST(Program, DemoMakesEveryMissingDirectoryOfARelativePath) {
    kvtest::TempDir d;
    const auto r = kvtest::run_program_in(d.dir(), {"demo", "-q", "-o", "a/b"});
    const auto s = kvtest::run_program_in(d.dir(), {"demo", "-q", "-o", "x/"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(s.status, 0) << s.err;
    EXPECT_TRUE(kvtest::exists(d.path("a/b/contact-sheet.png")));
    EXPECT_TRUE(kvtest::exists(d.path("x/contact-sheet.png")));
}

// A lone "-" is a file name like any other, not an option.
TEST(Program, ALoneDashIsAFileName) {
    kvtest::TempDir d;
    std::mt19937 rng(64);
    const Samples f = random_pgm(d, "-", 6, 4, 255, rng);
    const auto r = kvtest::run_program_in(d.dir(), {"demosaic", "-", "-o", "out.png", "-m", "simple", "-p", "gbrg"});
    const auto i = kvtest::run_program_in(d.dir(), {"info", "-"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(same(kvtest::read_picture(d.path("out.png")), expected(KORVIMG_SIMPLE, KORVIMG_GBRG, f, 6, 4, 8, 8)));
    EXPECT_EQ(i.status, 0) << i.err;
    EXPECT_EQ(i.out.rfind("file:       -\n", 0), 0u) << i.out;
}

// Runs the program (SIGTERM ending it by default) and sends it SIGTERM as soon as an
// entry whose name begins with `prefix` shows in `dir` (polled for up to 10 s): whether
// one showed, and the program's status.
struct Interrupted {
    bool seen = false;
    int status = 0;
};
Interrupted interrupt_when_seen(const std::vector<std::string> &args, const std::string &dir, const std::string &prefix) {
    int pid = 0;
    {
        const kvtest::Disposition fatal(SIGTERM, SIG_DFL);
        pid = kvtest::start_program(args);
    }
    Interrupted run;
    if (pid <= 0) return run;
    const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!run.seen && std::chrono::steady_clock::now() < give_up) {
        for (const auto &e : kvtest::list_directory(dir)) run.seen = run.seen || e.rfind(prefix, 0) == 0;
        if (!run.seen) std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    if (run.seen) kill(pid, SIGTERM);
    run.status = kvtest::wait_program(pid);
    return run;
}

// A single picture is written under a temporary name: a run ended by a signal while it
// writes leaves no temporary file behind, and the old picture as it was.
TEST(Program, InterruptedSinglePictureLeavesNoTemporary) {
    kvtest::TempDir d;
    std::mt19937 rng(65);
    const int32_t w = 1024, h = 1024;
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes({kvtest::random_frame(w, h, 255, rng)}, 1, false));
    kvtest::write_file(d.path("out.png"), {'o', 'l', 'd'});
    const Interrupted run = interrupt_when_seen({"demosaic", d.path("in.raw"), "--width", "1024", "--height", "1024",
                                                 "--bits", "8", "-m", "simple", "--out-depth", "16", "--png-level", "9",
                                                 "-o", d.path("out.png")},
                                                d.dir(), ".out.png.");
    ASSERT_TRUE(run.seen) << "no temporary file seen; status " << run.status;
    EXPECT_EQ(run.status, -SIGTERM);
    EXPECT_EQ(d.entries(), (std::vector<std::string>{"in.raw", "out.png"}));
    EXPECT_EQ(kvtest::read_file(d.path("out.png")), (std::vector<uint8_t>{'o', 'l', 'd'}));
}

// Without green signal no gain can be measured, whatever the red and blue photosites
// hold: both stay 1, and the picture is the frame's own.
TEST(Program, NoGreenSignalLeavesBothGains) {
    kvtest::TempDir d;
    // rggb 4 x 4 with only the blue photosites lit, and with only the green ones (then
    // neither red nor blue can be measured).
    Samples blue(16, 0), green(16, 0);
    for (size_t y = 0; y < 4; ++y)
        for (size_t x = 0; x < 4; ++x) {
            if (x % 2 == 1 && y % 2 == 1) blue[y * 4 + x] = 100;
            if ((x + y) % 2 == 1) green[y * 4 + x] = 100;
        }
    const std::vector<std::pair<Samples, std::string>> cases = {{blue, "no green signal in the frame"},
                                                                 {green, "no red or blue signal in the frame"}};
    for (const auto &[f, why] : cases) {
        kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(4, 4, 255, f));
        const auto r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-p", "rggb", "-m",
                                            "nearest", "--wb", "auto"});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.err, "korvimg: " + d.path("in.pgm") + ": --wb auto: " + why + ", both gains left at 1\n");
        EXPECT_EQ(r.out, "white balance gains: red 1.0000, blue 1.0000\n");
        EXPECT_TRUE(same(kvtest::read_picture(d.path("a.png")), expected(KORVIMG_NEAREST, KORVIMG_RGGB, f, 4, 4, 8, 8)))
            << why;
    }
}

// info names just the odd side of a colour frame it leaves out.
TEST(Program, InfoNamesTheOddSide) {
    kvtest::TempDir d;
    const std::vector<std::pair<std::pair<int32_t, int32_t>, std::string>> cases = {
        {{7, 4}, "the last column is not counted"}, {{6, 5}, "the last row is not counted"},
        {{7, 5}, "the last column and row are not counted"}};
    for (const auto &[size, text] : cases) {
        const auto [w, h] = size;
        kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, w, h), {Samples(static_cast<size_t>(w * h), 9)}));
        const auto r = kvtest::run_program({"info", d.path("a.ser")});
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_NE(r.out.find("note:       odd size: " + text + "\n"), std::string::npos) << r.out;
    }
}

// An interrupted demo leaves nothing: neither its pictures nor the directories it made
// for them.
TEST(Program, InterruptedDemoRemovesTheDirectoriesItMade) {
    kvtest::TempDir d;
    const Interrupted run = interrupt_when_seen({"demo", "-q", "-o", d.path("new/sub")}, d.path("new/sub"), ".korvimg-");
    ASSERT_TRUE(run.seen) << "no staging directory seen; status " << run.status;
    EXPECT_EQ(run.status, -SIGTERM);
    EXPECT_EQ(d.entries(), std::vector<std::string>{});
}

// A 16-bit PNG of deeper samples says with its sBIT chunk how many bits count, alpha
// channel or not.
TEST(Program, SignificantBitsAreSaidWithAlphaToo) {
    kvtest::TempDir d;
    std::mt19937 rng(67);
    random_pgm(d, "in.pgm", 4, 4, 1023, rng);
    for (const char *method : {"simple", "mono"}) {
        for (bool alpha : {false, true}) {
            std::vector<std::string> args{"demosaic", d.path("in.pgm"), "-o", d.path("a.png"), "-p", "rggb", "-m", method};
            if (alpha) args.push_back("--alpha");
            const auto r = kvtest::run_program(args);
            ASSERT_EQ(r.status, 0) << r.err;
            const auto px = kvtest::read_picture(d.path("a.png"));
            EXPECT_EQ(px.bits, 16) << method << alpha;
            EXPECT_EQ(px.channels, (std::string(method) == "mono" ? 1 : 3) + (alpha ? 1 : 0)) << method << alpha;
            EXPECT_EQ(px.significant, 10) << method << alpha;
        }
    }
}

}  // namespace
