// korvimg demosaic: raw frames from a capture file to pictures.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "io/output.h"
#include "io/source.h"
#include "lib.h"
#include "options.h"
#include "parallel.h"
#include "process.h"

namespace kvcli {

namespace {

const std::vector<OptionSpec> kOptions = with_input_options({
    {"output", 'o', "OUT", "output picture: .png (8/16-bit), .tif (8/16-bit), .ppm, .pgm or .pam;\n"
                           "for several frames without --stack, OUT-0000.png, OUT-0001.png, ..."},
    {"method", 'm', "METHOD", "mono|bayer|nearest|simple|bilinear|adaptive|laplacian|preview\n"
                              "(default bilinear; mono for a monochrome SER file)"},
    {"pattern", 'p', "PATTERN", "rggb|grbg|gbrg|bggr|auto (default auto: from the file, else rggb);\n"
                                "the pattern at the file's first photosite, whatever --crop takes"},
    {"out-depth", 'd', "DEPTH", "bits per output channel: 8|16 (default 8 for 8-bit samples, else 16)"},
    {"alpha", 0, nullptr, "add an opaque alpha channel (grey and alpha for mono): the library's\n"
                            "32/64-bit formats"},
    {"wb", 0, "auto|R,B", "white balance: gains measured by the library (grey world) or given;\n"
                          "applied to the red and blue photosites before demosaicing"},
    {"bcg", 0, "B,C,G", "brightness, contrast, gamma (-127..127 each) as a library tone table"},
    {"hsl", 0, "H,S,LG,LO", "hue shift (degrees), saturation gain, lightness gain and offset\n"
                            "(lightness runs from 0 to 1: 0.1 brightens by a tenth of full\n"
                            "scale; 8-bit output only)"},
    {"matrix", 0, "M0,...,M11", "4x3 colour matrix (rows: input R, G, B, offset; columns: output\n"
                                "R, G, B; 8-bit output only)"},
    {"median", 0, "mosaic|adjacent", "row spike filter over same-colour (mosaic) or adjacent samples"},
    {"reduce", 0, "best|shift", "deeper samples to 8-bit output: a table fitted to the frame's\n"
                                "histogram, or dropping the low bits (default shift)"},
    {"png-level", 0, "N", "PNG compression, 0 (fastest, largest files) to 9 (smallest; default 6)"},
    {"frames", 0, "A:B|N", "frames A to B-1 of the file, counted from 0 (either may be left\n"
                           "out), or frame N alone; a file cut short (truncated, or a SER\n"
                           "header left at 0 frames) is read only with --frames, which then\n"
                           "counts its whole frames"},
    {"crop", 0, "X,Y,W,H", "only the W x H photosites from column X and row Y of each frame\n"
                           "(counted from 0 at the top left; an odd X or Y shifts the pattern)"},
    {"stack", 0, nullptr, "average the frames (truncating) into one picture before processing"},
    {"threads", 'j', "N", "worker threads for multi-frame work (default: one per core)"},
    {"quiet", 'q', nullptr, "no progress display, no warnings and no white balance report"},
    {"help", 'h', nullptr, "show this help"},
});

const char kDescription[] =
    "Demosaics the raw frames of a SER video, a FITS image or stack, a PGM or grey PNG, or a\n"
    "headerless raw file. The steps, in order: spike filter, stacking, white balance, tone\n"
    "table and depth reduction, demosaicing, colour correction.";

// The frame range [first, end) of --frames A:B.
// A truncated file's frames are its whole ones.
void frame_range(const Arguments &a, const SourceInfo &info, uint32_t &first, uint32_t &end) {
    const uint32_t frames = info.frames;
    first = 0;
    end = frames;
    if (!a.has("frames")) return;
    const std::string text = a.get("frames");
    const size_t colon = text.find(':');
    if (colon == std::string::npos) {  // N: frame N alone
        first = static_cast<uint32_t>(parse_integer(text, "--frames", 0, 0xfffffffeLL));
        end = first + 1;
    } else {
        const std::string lo = text.substr(0, colon), hi = text.substr(colon + 1);
        if (!lo.empty()) first = static_cast<uint32_t>(parse_integer(lo, "--frames", 0, 0xffffffffLL));
        if (!hi.empty()) end = static_cast<uint32_t>(parse_integer(hi, "--frames", 0, 0xffffffffLL));
    }
    // A:B with A not below B selects nothing, whatever the file; A: or N beyond the
    // file's last frame is a frame it does not have.
    if (first >= end && colon != std::string::npos && colon + 1 < text.size())
        throw usage_error("--frames " + text + " selects no frames (A:B is frames A to B - 1, so A must be below B)");
    if (end > frames || first >= frames) {
        const std::string whole = info.truncated.empty() ? "" : "whole ";
        throw usage_error(info.path, "--frames " + text + " goes past the last frame (the file has " +
                          (frames == 1 ? whole + "frame 0 alone)" : whole + "frames 0 to " + std::to_string(frames - 1) + ")"));
    }
}

// OUT with "-0007" (the frame number) before its extension.
std::string numbered(const std::string &path, uint32_t index, uint32_t last) {
    int digits = 4;
    for (uint32_t v = last; v >= 10000; v /= 10) ++digits;
    char number[16];
    std::snprintf(number, sizeof number, "-%0*u", digits, index);
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return path + number;
    return path.substr(0, dot) + number + path.substr(dot);
}

void check_output_directory(const std::string &path) {
    const size_t slash = path.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    struct stat st {};
    if (stat(dir.c_str(), &st) == 0 && !S_ISDIR(st.st_mode)) throw file_error(path, dir + " is not a directory");
    if (access(dir.c_str(), W_OK | X_OK) != 0)
        throw file_error(path, "cannot write into " + dir + ": " + std::strerror(errno));
}

Settings settings_from(const Arguments &a, const SourceInfo &info) {
    Settings s;
    if (a.has("method")) {
        s.method = method_code(a.get("method"));
        if (s.method < 0)
            throw usage_error(a.written("method") +
                              ": expected mono|bayer|nearest|simple|bilinear|adaptive|laplacian|preview, got '" +
                              a.get("method") + "'");
    } else if (info.monochrome) {
        s.method = KORVIMG_MONO;
    }
    const std::string pattern = a.get("pattern", "auto");
    if (pattern == "auto") {
        s.pattern = info.pattern >= 0 ? info.pattern : KORVIMG_RGGB;
        s.pattern_guessed = info.pattern < 0 && s.method != KORVIMG_MONO;
    } else {
        s.pattern = pattern_code(pattern);
        if (s.pattern < 0)
            throw usage_error(a.written("pattern") + ": expected rggb|grbg|gbrg|bggr|auto, got '" + pattern + "'");
    }
    s.out_bits = info.bits == 8 ? 8 : 16;
    if (a.has("out-depth"))
        s.out_bits = parse_choice(a.get("out-depth"), a.written("out-depth"), {"8", "16"}) == 0 ? 8 : 16;
    s.alpha = a.has("alpha");
    if (a.has("median")) s.median = parse_choice(a.get("median"), "--median", {"adjacent", "mosaic"});
    if (a.has("wb")) {
        if (s.method == KORVIMG_MONO) throw usage_error("--wb needs a colour method, not mono");
        s.white_balance = true;
        if (a.get("wb") == "auto") {
            s.white_balance_auto = true;
        } else {
            const auto g = parse_numbers(a.get("wb"), "--wb", 2);
            if (!(g[0] > 0 && g[1] > 0 && g[0] <= 64 && g[1] <= 64))
                throw usage_error("--wb: gains above 0 and at most 64 expected");
            s.red_gain = g[0];
            s.blue_gain = g[1];
        }
    }
    if (a.has("bcg")) {
        if (info.bits == 16)
            throw usage_error(info.path + ": --bcg needs 8, 10 or 12-bit samples, and this file's are 16-bit " +
                              "(--bits 10 or 12 takes them at that depth; the library has no 16-bit tables)");
        const auto v = parse_numbers(a.get("bcg"), "--bcg", 3);
        for (double x : v)
            if (x != std::floor(x) || x < -127 || x > 127) throw usage_error("--bcg: whole numbers from -127 to 127");
        s.bcg = true;
        s.brightness = static_cast<int>(v[0]);
        s.contrast = static_cast<int>(v[1]);
        s.gamma = static_cast<int>(v[2]);
    }
    if (a.has("reduce")) {
        s.reduce_best = parse_choice(a.get("reduce"), "--reduce", {"shift", "best"}) == 1;
        if (info.bits == 8 || s.out_bits != 8)
            throw usage_error("--reduce applies to 10, 12 or 16-bit samples written with --out-depth 8");
        if (s.reduce_best && info.bits == 16)
            throw usage_error(info.path + ": --reduce best needs 10 or 12-bit samples, and this file's are 16-bit " +
                              "(--bits 10 or 12 takes them at that depth; the library's tables stop at 12 bits)");
    }
    if (a.has("hsl") && a.has("matrix")) throw usage_error("--hsl and --matrix exclude each other");
    if (a.has("hsl")) {
        const auto v = parse_numbers(a.get("hsl"), "--hsl", 4);
        for (size_t i = 0; i < 4; ++i) s.hsl_values[i] = v[i];
        s.hsl = true;
    }
    if (a.has("matrix")) {
        const auto v = parse_numbers(a.get("matrix"), "--matrix", 12);
        for (size_t i = 0; i < 12; ++i) s.matrix_values[i] = v[i];
        s.matrix = true;
    }
    if (s.colour_correction() && s.out_bits != 8)
        throw usage_error("--hsl and --matrix need --out-depth 8 (the library corrects 8-bit images only)");
    return s;
}

// A region of the file's frames (--crop).
struct Crop : Region {
    bool on = false;
};

Crop crop_from(const Arguments &a, const SourceInfo &info) {
    Crop c;
    if (!a.has("crop")) return c;
    const std::string text = a.get("crop");
    const std::vector<long long> v = parse_integers(text, "--crop", 4, 0, 0x7fffffff);
    if (v[2] == 0 || v[3] == 0) throw usage_error("--crop: expected a whole number from 1 to 2147483647, got '0'");
    if (v[0] + v[2] > info.width || v[1] + v[3] > info.height)
        throw usage_error(info.path + ": --crop " + text + " reaches past its " + std::to_string(info.width) + " x " +
                          std::to_string(info.height) + " frames");
    c.on = true;
    c.x = static_cast<int32_t>(v[0]);
    c.y = static_cast<int32_t>(v[1]);
    c.width = static_cast<int32_t>(v[2]);
    c.height = static_cast<int32_t>(v[3]);
    return c;
}

void check_frame_size(const SourceInfo &info, int method, bool cropped) {
    const int32_t w = info.width, h = info.height, least = minimum_size(method);
    const bool even = method == KORVIMG_MONO || (w % 2 == 0 && h % 2 == 0);
    if (!even || w < least || h < least) {
        std::string hint;
        if (w >= least && h >= least && !cropped)  // odd only: the even part can be taken
            hint = "; --crop 0,0," + std::to_string(w & ~1) + "," + std::to_string(h & ~1) + " takes the even part";
        throw file_error(info.path, "the " + std::to_string(w) + " x " + std::to_string(h) +
                                        (cropped ? " crop" : " frame") + " is too small or odd for " +
                                        kMethodNames[method] + " (it needs even sizes of at least " +
                                        std::to_string(least) + ")" + hint);
    }
}

}  // namespace

int run_demosaic(const std::vector<std::string> &args) {
    const Arguments a = parse_arguments(args, kOptions);
    if (a.has("help")) {
        std::fputs(help_text("korvimg demosaic IN -o OUT [options]", kDescription, kOptions).c_str(), stdout);
        return kOk;
    }
    if (a.positional().size() != 1) throw usage_error("demosaic needs one input file (see korvimg demosaic --help)");
    if (!a.has("output")) throw usage_error("demosaic needs an output file: -o OUT");
    const std::string in = a.positional()[0];
    const std::string out = a.get("output");
    const bool quiet = a.has("quiet");
    const unsigned threads =
        a.has("threads") ? static_cast<unsigned>(parse_integer(a.get("threads"), a.written("threads"), 1, 256)) : 0;
    const FileFormat format = format_for(out);
    PictureOptions picture;
    if (a.has("png-level")) {
        if (format != FileFormat::png) throw usage_error("--png-level applies to .png output, not " + out);
        picture.png_level = static_cast<int>(parse_integer(a.get("png-level"), "--png-level", 0, 9));
    }
    const OpenOptions oo = open_options(a);

    // Frames too large for this machine's memory are a problem of this file.
    try {
        std::unique_ptr<Source> source = open_source(in, oo);
        // The frames as the later steps see them: the crop's size when cropping.
        SourceInfo info = source->info();
        const Crop crop = crop_from(a, info);
        Settings s = settings_from(a, info);
        if (crop.on) {
            info.width = crop.width;
            info.height = crop.height;
            s.pattern = shifted_pattern(s.pattern, crop.x, crop.y);
        }
        // (With alpha as well, check_format names the alpha, which comes first.)
        if (format == FileFormat::pgm && s.method == KORVIMG_MONO && s.colour_correction() && !s.alpha)
            throw usage_error(out + ": --hsl and --matrix colour the picture, which a PGM file cannot hold (use .png, .tif, .ppm or .pam)");
        check_format(format, out, s.file_channels(), s.out_bits);
        check_frame_size(info, s.method, crop.on);
        check_output_directory(out);
        // A capture cut short is read only when --frames says which of its whole frames
        // to take: a run over "all" of its frames would not make what was asked for.
        if (!info.truncated.empty() && !a.has("frames"))
            throw file_error(in, info.truncated + (info.frames == 1 ? " (--frames 0 reads it)"
                                                                    : " (--frames 0:" + std::to_string(info.frames) +
                                                                          " reads them)"));
        uint32_t first = 0, end = 0;
        frame_range(a, info, first, end);
        const uint32_t count = end - first;
        const bool stack = a.has("stack");
        // The library's sums are 32-bit. Samples read are at most the largest of their
        // depth, so 65537 frames of 16-bit samples fit, 1048832 of 12-bit ones, and so on.
        if (stack) {
            const uint32_t largest = (1u << info.bits) - 1u;
            const uint32_t most = 0xffffffffu / largest;
            if (count > most)
                throw usage_error(in + ": --stack of " + std::to_string(count) + " frames: at most " +
                                  std::to_string(most) + " frames of " + std::to_string(info.bits) +
                                  "-bit samples fit the library's 32-bit sums (see --frames)");
        }

        // A frame as the later steps take it: read, then spike-filtered when asked.
        auto read_frame = [&](uint32_t index, RawFrame &frame) {
            source->read(index, frame, crop.on ? &crop : nullptr);
            if (s.median >= 0) median_filter(frame, s.median);
        };
        // --wb auto: the gains of one frame (the stacked one, or the first of a
        // sequence) serve every picture.
        std::string measured_on, unmeasured;
        auto measure = [&](const RawFrame &frame, const std::string &which) {
            unmeasured = measure_white_balance(frame, s.pattern, s.red_gain, s.blue_gain);
            measured_on = which;
        };
        Progress progress(count, !quiet && count > 1);
        try {
            if (stack || count == 1) {
                Workspace work;
                RawFrame &frame = work.frame;
                if (stack && count > 1) {
                    // Each worker sums its share of the frames; the sums are then added
                    // (32-bit sums wrap alike in any order).
                    const unsigned workers = worker_count(threads, count);
                    std::vector<std::vector<uint32_t>> sums(workers);
                    std::vector<RawFrame> scratch(workers);
                    parallel_for(count, workers, [&](uint32_t job, unsigned w) {
                        read_frame(first + job, scratch[w]);
                        if (sums[w].empty()) sums[w].assign(scratch[w].count(), 0);
                        accumulate(sums[w], scratch[w]);
                        progress.advance();
                    });
                    std::vector<uint32_t> total(static_cast<size_t>(info.width) * static_cast<size_t>(info.height), 0);
                    for (const auto &part : sums)
                        for (size_t i = 0; i < part.size(); ++i) total[i] += part[i];
                    frame.allocate(info.width, info.height, info.bits);
                    average(total, count, frame);
                } else {
                    read_frame(first, frame);
                    progress.advance();
                }
                progress.finish();
                if (s.white_balance_auto)
                    measure(frame, count > 1           ? "the stacked frame"
                                   : info.frames > 1 ? "frame " + std::to_string(first)
                                                     : "the frame");
                std::unique_ptr<Correction> correction;
                if (s.colour_correction()) correction = std::make_unique<Correction>(s);
                process_frame(work, s, correction.get());
                write_picture(out, work.pixels, picture);
            } else {
                if (s.white_balance_auto) {
                    // One measurement, from the first frame, serves the sequence.
                    RawFrame frame;
                    read_frame(first, frame);
                    measure(frame, "frame " + std::to_string(first));
                }
                // The pictures are staged and put in place together once all are written:
                // a run that fails leaves no part of the sequence behind, and replaces
                // none of the files that were there.
                std::vector<std::string> targets;
                targets.reserve(count);
                for (uint32_t job = 0; job < count; ++job) targets.push_back(numbered(out, first + job, end - 1));
                StagedFiles staged(std::move(targets));
                const unsigned workers = worker_count(threads, count);
                std::vector<std::unique_ptr<Correction>> corrections(workers);
                std::vector<Workspace> works(workers);
                parallel_for(count, workers, [&](uint32_t job, unsigned w) {
                    Workspace &work = works[w];
                    read_frame(first + job, work.frame);
                    if (s.colour_correction() && !corrections[w]) corrections[w] = std::make_unique<Correction>(s);
                    process_frame(work, s, corrections[w].get());
                    staged.write(job, work.pixels, picture);
                    progress.advance();
                });
                progress.finish();
                staged.commit();
            }
        } catch (...) {
            progress.finish();
            throw;
        }
        if (!quiet)
            for (const auto &w : info.warnings) std::fprintf(stderr, "korvimg: %s: %s\n", in.c_str(), w.c_str());
        if (s.pattern_guessed && !quiet)
            std::fprintf(stderr, "korvimg: %s: no Bayer pattern in the file, took rggb (see --pattern)\n", in.c_str());
        if (source->clamped() != 0 && !quiet)
            std::fprintf(stderr, "korvimg: %s: %s\n", in.c_str(), source->clamped_text().c_str());
        if (s.white_balance_auto && !quiet) {
            if (!unmeasured.empty())
                std::fprintf(stderr, "korvimg: %s: --wb auto: no %s signal in %s, %s left at 1\n", in.c_str(),
                             unmeasured == "red and blue" ? "red or blue" : unmeasured.c_str(), measured_on.c_str(),
                             unmeasured == "red" || unmeasured == "blue" ? "its gain" : "both gains");
            std::string where;  // which frame, where the file has more than one
            if (info.frames > 1) where = " (measured on " + measured_on + ")";
            if (!stack && count > 1)
                where = " (measured on " + measured_on + ", used for all " + std::to_string(count) + " frames)";
            std::printf("white balance gains%s: red %.4f, blue %.4f\n", where.c_str(), s.red_gain, s.blue_gain);
        }
        return kOk;
    } catch (const std::bad_alloc &) {
        throw file_error(in, "not enough memory for its frames");
    }
}

}  // namespace kvcli
