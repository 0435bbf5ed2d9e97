// Bad input makes the program say what is wrong in one line naming the file, exit
// with a non-zero status, and leave no output behind.
#include <gtest/gtest.h>

#include <fitsio.h>

#include "files.h"
#include "support.h"

namespace {

using kvtest::Samples;

// Runs `demosaic IN -o DIR/out.png` plus extra arguments and checks the refusal.
void expect_refused(const kvtest::TempDir &d, const std::string &input, const std::string &message,
                    std::vector<std::string> extra = {}, int status = 1, const std::string &out_name = "out.png") {
    const auto before = d.entries();
    std::vector<std::string> args{"demosaic", input, "-o", d.path(out_name)};
    args.insert(args.end(), extra.begin(), extra.end());
    const auto r = kvtest::run_program(args);
    EXPECT_EQ(r.status, status) << message << ": " << r.err;
    ASSERT_FALSE(r.err.empty()) << message;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << "more than one line: " << r.err;
    EXPECT_EQ(r.err.rfind("korvimg: ", 0), 0u) << r.err;
    EXPECT_NE(r.err.find(message), std::string::npos) << "expected '" << message << "' in " << r.err;
    EXPECT_EQ(d.entries(), before) << "output left behind after: " << r.err;
}

TEST(BadInput, WrongMagic) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("in.ser"), std::vector<uint8_t>(300, 'x'));
    expect_refused(d, d.path("in.ser"), d.path("in.ser") + ": unknown file format");
    kvtest::write_file(d.path("in.fits"), {'S', 'I', 'M', 'P', 'L', 'E', ' ', ' ', '=', ' ', 'F'});
    expect_refused(d, d.path("in.fits"), d.path("in.fits") + ": bad FITS file");
    kvtest::write_file(d.path("in.png"), {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0, 0, 0});
    expect_refused(d, d.path("in.png"), d.path("in.png") + ": bad PNG");
    kvtest::write_file(d.path("in.pgm"), kvtest::text_bytes("P5 x"));
    expect_refused(d, d.path("in.pgm"), d.path("in.pgm") + ": bad PGM header: no width");
}

TEST(BadInput, TruncatedData) {
    kvtest::TempDir d;
    auto bytes = kvtest::ser_bytes(kvtest::ser_spec(8, 8, 8), {Samples(64, 1), Samples(64, 2)});
    bytes.resize(bytes.size() - 1);
    kvtest::write_file(d.path("a.ser"), bytes);
    expect_refused(d, d.path("a.ser"), "truncated: the header promises 2 frames of 8 x 8 samples");
    expect_refused(d, d.path("a.ser"), ", 1 whole frame (--frames 0 reads it)");
    bytes.resize(60);
    kvtest::write_file(d.path("b.ser"), bytes);
    expect_refused(d, d.path("b.ser"), "truncated SER header (60 of 178 bytes)");
    auto pgm = kvtest::pgm_bytes(4, 4, 255, Samples(16, 9));
    pgm.resize(pgm.size() - 3);
    kvtest::write_file(d.path("c.pgm"), pgm);
    expect_refused(d, d.path("c.pgm"), "truncated PGM data");
    kvtest::write_grey_png(d.path("d.png"), 64, 64, 8, 8, Samples(64 * 64, 3));
    auto png = kvtest::read_file(d.path("d.png"));
    // Without its closing chunk (12 bytes), or without half its image data.
    for (size_t keep : {png.size() - 12, png.size() / 2}) {
        kvtest::write_file(d.path("d.png"), std::vector<uint8_t>(png.begin(), png.begin() + static_cast<long>(keep)));
        expect_refused(d, d.path("d.png"), "bad PNG: the file ends before its image does (cut short)");
    }
    kvtest::write_file(d.path("e.raw"), std::vector<uint8_t>(30, 1));
    expect_refused(d, d.path("e.raw"), "truncated", {"--width", "8", "--height", "8", "--bits", "8"});
}

// A stack cut short is not read as if it were whole: without --frames nothing is
// written, and the message says which frames are there to be read.
TEST(BadInput, TruncatedStackWithoutFramesLeavesNothing) {
    kvtest::TempDir d;
    std::vector<Samples> frames(6, Samples(100 * 100, 500));
    kvtest::write_fits(d.path("a.fits"), 20, 100, 100, frames, "RGGB");
    auto bytes = kvtest::read_file(d.path("a.fits"));
    bytes.resize(bytes.size() - 3 * 20000);  // the last frames are missing
    kvtest::write_file(d.path("a.fits"), bytes);
    const std::string message = d.path("a.fits") + ": truncated: the header promises 6 frames of 100 x 100 samples";
    expect_refused(d, d.path("a.fits"), message, {"-m", "simple", "-j", "1"});
    expect_refused(d, d.path("a.fits"), message, {"-m", "simple", "--stack"});
    expect_refused(d, d.path("a.fits"), ", 3 whole frames (--frames 0:3 reads them)", {"-m", "simple", "-j", "2"});
    expect_refused(d, d.path("a.fits"), "--frames 2:4 goes past the last frame (the file has whole frames 0 to 2)",
                   {"-m", "simple", "--frames", "2:4"}, 2);
}

TEST(BadInput, HeaderSizesThatLieOrOverflow) {
    kvtest::TempDir d;
    auto spec = kvtest::ser_spec(8, 0x40000000, 0x40000000);
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(spec, {Samples(16, 1)}));
    expect_refused(d, d.path("a.ser"), "implausible SER frame size 1073741824 x 1073741824");
    spec = kvtest::ser_spec(8, 4, 4);
    spec.frame_count = 0x7fffffff;
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(spec, {Samples(16, 1)}));
    expect_refused(d, d.path("b.ser"), "truncated: the header promises 2147483647 frames");
    kvtest::write_file(d.path("c.pgm"), kvtest::pgm_bytes(100000, 100000, 255, Samples(4, 1)));
    expect_refused(d, d.path("c.pgm"), "implausible PGM size 100000 x 100000");
    kvtest::write_file(d.path("d.pgm"), kvtest::text_bytes("P5 99999999999999999999 2 255\n"));
    expect_refused(d, d.path("d.pgm"), "width too large");
    kvtest::write_file(d.path("e.pgm"), kvtest::pgm_bytes(2, 2, 70000, Samples(4, 1)));
    expect_refused(d, d.path("e.pgm"), "bad PGM maximum value 70000");
}

TEST(BadInput, ZeroOrAbsurdDimensions) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 0, 4), {Samples()}));
    expect_refused(d, d.path("a.ser"), "implausible SER frame size 0 x 4");
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 100000, 1), {Samples(100000, 0)}));
    expect_refused(d, d.path("b.ser"), "implausible SER frame size 100000 x 1");
    kvtest::write_file(d.path("c.pgm"), kvtest::pgm_bytes(0, 3, 255, {}));
    expect_refused(d, d.path("c.pgm"), "implausible PGM size 0 x 3");
    kvtest::write_file(d.path("d.raw"), std::vector<uint8_t>(16, 1));
    expect_refused(d, d.path("d.raw"), "implausible frame size", {"--width", "70000", "--height", "1", "--bits", "8"}, 2);
    // A frame too small or odd for the method.
    kvtest::write_file(d.path("e.pgm"), kvtest::pgm_bytes(3, 4, 255, Samples(12, 1)));
    expect_refused(d, d.path("e.pgm"), "too small or odd for simple", {"-m", "simple"});
}

TEST(BadInput, UnknownColourIds) {
    kvtest::TempDir d;
    for (int id : {1, 12, 99, 102, -1}) {
        auto spec = kvtest::ser_spec(8, 2, 2);
        spec.colour_id = id;
        kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(spec, {Samples(4, 1)}));
        expect_refused(d, d.path("a.ser"), "unknown SER colour ID " + std::to_string(id));
    }
    auto spec = kvtest::ser_spec(8, 2, 2);
    spec.colour_id = 101;
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(spec, {Samples(4, 1)}));
    expect_refused(d, d.path("b.ser"), "unsupported SER colour ID 101 (BGR frames, already in colour)");
}

TEST(BadInput, UnsupportedFitsImages) {
    kvtest::TempDir d;
    fitsfile *f = nullptr;
    int status = 0;
    long naxes[2] = {4, 4};
    const std::string path = d.path("float.fits");
    fits_create_diskfile(&f, path.c_str(), &status);
    fits_create_img(f, FLOAT_IMG, 2, naxes, &status);
    std::vector<float> v(16, 1.5f);
    fits_write_img(f, TFLOAT, 1, 16, v.data(), &status);
    fits_close_file(f, &status);
    ASSERT_EQ(status, 0);
    expect_refused(d, path, "unsupported FITS BITPIX -32");
}

// A FITS image of `naxis` axes of 8-bit samples, all 1.
void write_fits_axes(const std::string &path, std::vector<long> naxes) {
    fitsfile *f = nullptr;
    int status = 0;
    fits_create_diskfile(&f, path.c_str(), &status);
    fits_create_img(f, BYTE_IMG, static_cast<int>(naxes.size()), naxes.data(), &status);
    long count = 1;
    for (long n : naxes) count *= n;
    std::vector<unsigned char> v(static_cast<size_t>(count), 1);
    if (count > 0) fits_write_img(f, TBYTE, 1, count, v.data(), &status);
    fits_close_file(f, &status);
    ASSERT_EQ(status, 0) << path;
}

TEST(BadInput, FitsImagesOfTheWrongShape) {
    kvtest::TempDir d;
    write_fits_axes(d.path("line.fits"), {16});
    expect_refused(d, d.path("line.fits"), d.path("line.fits") + ": FITS image has 1 axes (2, or 3 for a stack, expected)");
    write_fits_axes(d.path("cube.fits"), {2, 2, 2, 2});
    expect_refused(d, d.path("cube.fits"), d.path("cube.fits") + ": FITS image has 4 axes");
    write_fits_axes(d.path("wide.fits"), {70000, 1});
    expect_refused(d, d.path("wide.fits"), d.path("wide.fits") + ": implausible FITS image size 70000 x 1");
    write_fits_axes(d.path("empty.fits"), {4, 4, 0});
    expect_refused(d, d.path("empty.fits"), d.path("empty.fits") + ": FITS NAXIS3 gives 0 frames");
}

// --bits may change the depth within 16-bit words, never between bytes and words; each
// reader says what the file holds instead.
TEST(BadInput, BitsThatDoNotFitTheFile) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 2, 2), {Samples(4, 1)}));
    expect_refused(d, d.path("a.ser"), d.path("a.ser") + ": --bits 12 does not fit the file's 8-bit samples",
                   {"--bits", "12"});
    kvtest::write_file(d.path("b.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 2, 2, 10), {Samples(4, 1)}));
    expect_refused(d, d.path("b.ser"), d.path("b.ser") + ": --bits 8 does not fit the file's 10-bit samples",
                   {"--bits", "8"});
    kvtest::write_fits(d.path("c.fits"), 16, 2, 2, {Samples(4, 1)});
    expect_refused(d, d.path("c.fits"), d.path("c.fits") + ": --bits 8 does not fit BITPIX 16", {"--bits", "8"});
    kvtest::write_fits(d.path("d.fits"), 8, 2, 2, {Samples(4, 1)});
    expect_refused(d, d.path("d.fits"), d.path("d.fits") + ": --bits 16 does not fit BITPIX 8", {"--bits", "16"});
    kvtest::write_file(d.path("e.pgm"), kvtest::pgm_bytes(2, 2, 1023, Samples(4, 1)));
    expect_refused(d, d.path("e.pgm"), d.path("e.pgm") + ": --bits 8 does not fit the PGM maximum value 1023",
                   {"--bits", "8"});
    kvtest::write_file(d.path("f.pgm"), kvtest::pgm_bytes(2, 2, 255, Samples(4, 1)));
    expect_refused(d, d.path("f.pgm"), d.path("f.pgm") + ": --bits 10 does not fit the PGM maximum value 255",
                   {"--bits", "10"});
    kvtest::write_grey_png(d.path("g.png"), 2, 2, 8, 8, Samples(4, 1));
    expect_refused(d, d.path("g.png"), d.path("g.png") + ": --bits 12 does not fit an 8-bit PNG", {"--bits", "12"});
    // Within 16-bit words any of the three depths goes.
    for (const char *bits : {"10", "12", "16"}) {
        const auto r = kvtest::run_program(
            {"demosaic", d.path("b.ser"), "-o", d.path("out.png"), "--bits", bits, "-m", "nearest", "-q"});
        EXPECT_EQ(r.status, 0) << bits << ": " << r.err;
    }
}

TEST(BadInput, FormatAndDepthOptions) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 2, 2), {Samples(4, 1)}));
    for (const char *bits : {"9", "11", "15"})
        expect_refused(d, d.path("in.ser"), "korvimg: --bits: expected 8, 10, 12 or 16", {"--bits", bits}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: --bits: expected a whole number from 8 to 16, got '7'", {"--bits", "7"},
                   2);
    expect_refused(d, d.path("in.ser"), "korvimg: --format: expected auto, ser, fits, pgm, png or raw",
                   {"--format", "tiff"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: a headerless raw file needs --width, --height and --bits",
                   {"--format", "raw", "--width", "2", "--height", "2"}, 2);
    expect_refused(d, d.path("in.ser"), d.path("in.ser") + ": not a binary PGM file (no P5 magic)", {"--format", "pgm"});
    expect_refused(d, d.path("in.ser"), "korvimg: --endian: expected file|little|big, got 'middle'",
                   {"--endian", "middle"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: --out-depth: expected 8|16, got '12'", {"--out-depth", "12"}, 2);
    // A value given to a short option is named by the letter the user wrote.
    expect_refused(d, d.path("in.ser"), "korvimg: -d: expected 8|16, got '12'", {"-d", "12"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: -d: expected 8|16, got '7'", {"-qd7"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: -m: expected mono|bayer|nearest|simple|bilinear|adaptive|laplacian|"
                   "preview, got 'cubic'", {"-m", "cubic"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: --method: expected mono|bayer|nearest|simple|bilinear|adaptive|"
                   "laplacian|preview, got 'cubic'", {"--method=cubic"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: -p: expected rggb|grbg|gbrg|bggr|auto, got 'rgbg'", {"-p", "rgbg"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: -j: expected a whole number from 1 to 256, got '0'", {"-qj0"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: --threads: expected a whole number from 1 to 256, got '0'",
                   {"--threads", "0"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: --hsl and --matrix need --out-depth 8 (the library corrects 8-bit images only)",
                   {"-m", "simple", "-d", "16", "--hsl", "0,1,1,0"}, 2);
    expect_refused(d, d.path("in.ser"), "korvimg: --hsl: expected a number, got 'x'", {"-m", "simple", "--hsl", "0,x,1,0"},
                   2);
    expect_refused(d, d.path("in.ser"), "korvimg: --hsl: expected a number, got 'inf'",
                   {"-m", "simple", "--hsl", "0,inf,1,0"}, 2);
}

TEST(BadInput, UnwritableOutputPath) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(4, 4, 255, Samples(16, 1)));
    expect_refused(d, d.path("in.pgm"), "cannot write into", {"-m", "simple"}, 1, "no/such/dir/out.png");
    expect_refused(d, d.path("in.pgm"), "unknown output format", {"-m", "simple"}, 2, "out.jpg");
    expect_refused(d, d.path("in.pgm"), "a PPM file has no alpha channel", {"-m", "simple", "--alpha"}, 2, "out.ppm");
    expect_refused(d, d.path("in.pgm"), "out.pgm: --hsl and --matrix colour the picture, which a PGM file cannot hold",
                   {"-m", "mono", "--hsl", "30,1,1,0"}, 2, "out.pgm");
    // The output name is an existing directory: nothing may be left in it either.
    ASSERT_EQ(kvtest::run_program({"demo", "-o", d.path("taken")}).status, 0);
    const auto r = kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("taken"), "-m", "simple"});
    EXPECT_NE(r.status, 0);
}

// A file that takes no more bytes (a full disk, here a file size limit): the error
// gives the reason and names the picture asked for, also in a sequence, whose pictures
// wait under hidden names; nothing is left behind.
TEST(BadInput, OutputThatTakesNoMoreBytes) {
    kvtest::TempDir d;
    std::mt19937 rng(5);
    const Samples f = kvtest::random_frame(64, 64, 255, rng);  // noise: over 8 KB in any format
    kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(64, 64, 255, f));
    kvtest::write_file(d.path("in.raw"), kvtest::raw_bytes({f, f, f}, 1, false));
    const kvtest::Disposition no_signal(SIGXFSZ, SIG_IGN);
    const kvtest::FileSizeLimit limit(8192);
    for (const char *out : {"out.png", "out.tif", "out.ppm"})
        expect_refused(d, d.path("in.pgm"), d.path(out) + ": cannot write: File too large", {"-m", "bilinear"}, 1, out);
    expect_refused(d, d.path("in.raw"), d.path("out-0000.png") + ": cannot write: File too large",
                   {"--width", "64", "--height", "64", "--bits", "8", "-m", "bilinear", "-j", "1"}, 1, "out.png");
}

// Standard output that takes nothing (a full device, here /dev/full): what info, demo
// and the help print is lost, so the run fails and says so in one line.
TEST(BadInput, StandardOutputThatTakesNothing) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(4, 4, 255, Samples(16, 1)));
    const std::vector<std::vector<std::string>> runs = {
        {"info", d.path("in.pgm")}, {"--version"}, {"--help"}, {"demosaic", "--help"}, {"demo", "-o", d.path("demo")},
    };
    for (const auto &args : runs) {
        const auto r = kvtest::run_program(args, "/dev/full");
        EXPECT_EQ(r.status, 1) << args[0] << ": " << r.err;
        EXPECT_EQ(r.err, "korvimg: standard output: cannot write: No space left on device\n") << args[0];
    }
    // A run that fails for its own reasons keeps its status, and its message comes first.
    const auto r = kvtest::run_program({"info", d.path("missing.pgm")}, "/dev/full");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("korvimg: " + d.path("missing.pgm") + ": ", 0), 0u) << r.err;
    // Nothing printed, nothing to lose.
    EXPECT_EQ(kvtest::run_program({"demosaic", d.path("in.pgm"), "-o", d.path("out.png"), "-m", "mono", "-q"},
                                  "/dev/full")
                  .status,
              0);
}

// Options that the file's samples cannot take name the file and say what would do.
TEST(BadInput, OptionsTheSamplesCannotTake) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("in16.pgm"), kvtest::pgm_bytes(4, 4, 65535, Samples(16, 1000)));
    expect_refused(d, d.path("in16.pgm"),
                   d.path("in16.pgm") + ": --bcg needs 8, 10 or 12-bit samples, and this file's are 16-bit (--bits 10 or 12",
                   {"-m", "nearest", "-d", "8", "--bcg", "0,10,-20"}, 2);
    expect_refused(d, d.path("in16.pgm"), d.path("in16.pgm") + ": --reduce best needs 10 or 12-bit samples",
                   {"-m", "nearest", "-d", "8", "--reduce", "best"}, 2);
    // --bits 12 takes them: the same command then works.
    const auto r = kvtest::run_program({"demosaic", d.path("in16.pgm"), "-o", d.path("out.png"), "-m", "nearest", "-d",
                                        "8", "--bcg", "0,10,-20", "--bits", "12", "-q"});
    EXPECT_EQ(r.status, 0) << r.err;
}

// --stack: the library's 32-bit sums take 65537 frames of 16-bit samples, 1048832 of
// 12-bit ones; the limit follows the samples' depth.
TEST(BadInput, StackLimitFollowsTheDepth) {
    kvtest::TempDir d;
    const uint32_t frames = 65538;
    for (int depth : {16, 12}) {
        const uint16_t value = static_cast<uint16_t>((1u << depth) - 1);
        kvtest::write_file(d.path("in.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 2, 2, depth),
                                                               std::vector<Samples>(frames, Samples(4, value))));
        if (depth == 16) {
            expect_refused(d, d.path("in.ser"),
                           d.path("in.ser") + ": --stack of 65538 frames: at most 65537 frames of 16-bit samples fit",
                           {"-m", "mono", "--stack"}, 2, "out.pgm");
            continue;
        }
        // 65538 frames of the largest 12-bit sample sum to 268,386,270: their mean is that sample.
        const auto r = kvtest::run_program(
            {"demosaic", d.path("in.ser"), "-o", d.path("out.pgm"), "-m", "mono", "--stack", "-q"});
        ASSERT_EQ(r.status, 0) << r.err;
        const kvtest::Picture p = kvtest::read_picture(d.path("out.pgm"));
        EXPECT_EQ(p.samples, std::vector<uint32_t>(4, 65535));
    }
}

TEST(BadInput, MissingInputAndContradictingOptions) {
    kvtest::TempDir d;
    expect_refused(d, d.path("nothing.ser"), d.path("nothing.ser") + ": cannot open: No such file or directory");
    kvtest::write_file(d.path("in.pgm"), kvtest::pgm_bytes(4, 4, 255, Samples(16, 1)));
    expect_refused(d, d.path("in.pgm"), "--wb needs a colour method", {"-m", "mono", "--wb", "auto"}, 2);
    expect_refused(d, d.path("in.pgm"),
                   d.path("in.pgm") + ": --frames 3:9 goes past the last frame (the file has frame 0 alone)",
                   {"-m", "nearest", "--frames", "3:9"}, 2);
    for (const char *range : {"1:", "5:", "1", "0:2"})
        expect_refused(d, d.path("in.pgm"), std::string("--frames ") + range + " goes past the last frame (the file has frame 0 alone)",
                       {"-m", "nearest", "--frames", range}, 2);
    expect_refused(d, d.path("in.pgm"), "out.pgm: a PGM file has no alpha channel", {"-m", "mono", "--alpha"}, 2,
                   "out.pgm");
    for (const char *range : {"1:1", "2:1", "0:0"})
        expect_refused(d, d.path("in.pgm"), std::string("--frames ") + range + " selects no frames",
                       {"-m", "nearest", "--frames", range}, 2);
    for (const char *gains : {"0,1", "1,-2", "65,1"})
        expect_refused(d, d.path("in.pgm"), "--wb: gains above 0 and at most 64 expected", {"-m", "nearest", "--wb", gains},
                       2);
    kvtest::write_file(d.path("afile"), {'x'});
    expect_refused(d, d.path("in.pgm"), d.path("afile/out.png") + ": " + d.path("afile") + " is not a directory",
                   {"-m", "simple"}, 1, "afile/out.png");
    expect_refused(d, d.path("in.pgm"), "--reduce applies", {"-m", "nearest", "--reduce", "best"}, 2);
    expect_refused(d, d.path("in.pgm"), "-m: expected", {"-m", "fancy"}, 2);
    expect_refused(d, d.path("in.pgm"), "--bcg: expected 3", {"--bcg", "1,2"}, 2);
    expect_refused(d, d.path("in.pgm"), "--png-level", {"-m", "simple", "--png-level", "10"}, 2);
    expect_refused(d, d.path("in.pgm"), "--png-level applies to .png output", {"-m", "simple", "--png-level", "1"}, 2,
                   "out.tif");
    expect_refused(d, d.path("in.pgm"), "exclude each other", {"-m", "simple", "--hsl", "0,1,1,0", "--matrix", "1,0,0,0,1,0,0,0,1,0,0,0"}, 2);
}

// A height of 0 is as implausible as a width of 0, for demosaic and info alike.
TEST(BadInput, ZeroHeight) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.ser"), kvtest::ser_bytes(kvtest::ser_spec(8, 4, 0), {Samples()}));
    expect_refused(d, d.path("a.ser"), d.path("a.ser") + ": implausible SER frame size 4 x 0");
    kvtest::write_file(d.path("b.pgm"), kvtest::pgm_bytes(3, 0, 255, {}));
    expect_refused(d, d.path("b.pgm"), d.path("b.pgm") + ": implausible PGM size 3 x 0");
    const auto r = kvtest::run_program({"info", d.path("b.pgm")});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korvimg: " + d.path("b.pgm") + ": implausible PGM size 3 x 0\n");
    EXPECT_EQ(r.out, "");
}

// A PGM header number too long to be any size is refused as such, while merely a size
// beyond the program's limits is called implausible.
TEST(BadInput, PgmHeaderNumbers) {
    kvtest::TempDir d;
    kvtest::write_file(d.path("a.pgm"), kvtest::text_bytes("P5\n2000000 1\n255\n", 16));
    expect_refused(d, d.path("a.pgm"), d.path("a.pgm") + ": implausible PGM size 2000000 x 1");
    kvtest::write_file(d.path("b.pgm"), kvtest::text_bytes("P5\n4 2\n99999999999999\n"));
    expect_refused(d, d.path("b.pgm"), d.path("b.pgm") + ": bad PGM header: maximum value too large");
    kvtest::write_file(d.path("c.pgm"), kvtest::text_bytes("P5\n4 2\n2000000\n"));
    expect_refused(d, d.path("c.pgm"), d.path("c.pgm") + ": bad PGM maximum value 2000000");
    // The shortest file with a PGM's magic and its whitespace is a PGM without its header.
    kvtest::write_file(d.path("d.pgm"), kvtest::text_bytes("P5\n"));
    expect_refused(d, d.path("d.pgm"), d.path("d.pgm") + ": bad PGM header: no width");
    // A header that ends with the file, without the byte after the maximum value.
    kvtest::write_file(d.path("e.pgm"), kvtest::text_bytes("P5\n4 2\n255"));
    expect_refused(d, d.path("e.pgm"), d.path("e.pgm") + ": truncated PGM header");
    // A maximum value runs from 1 to 65535.
    kvtest::write_file(d.path("f.pgm"), kvtest::pgm_bytes(2, 2, 0, Samples(4, 0)));
    expect_refused(d, d.path("f.pgm"), d.path("f.pgm") + ": bad PGM maximum value 0");
    kvtest::write_file(d.path("g.pgm"), kvtest::text_bytes("P5\n2 2\n65536\n", 8));
    expect_refused(d, d.path("g.pgm"), d.path("g.pgm") + ": bad PGM maximum value 65536");
}

}  // namespace
