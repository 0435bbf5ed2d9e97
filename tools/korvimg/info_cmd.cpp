// korvimg info: what a capture file holds.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "commands.h"
#include "failure.h"
#include "io/source.h"
#include "lib.h"
#include "options.h"

namespace kvcli {

namespace {

const std::vector<OptionSpec> kOptions = with_input_options({
    {"frame", 0, "N", "frame whose histogram is summarised (default 0)"},
    {"pattern", 'p', "PATTERN", "rggb|grbg|gbrg|bggr: read the mosaic with this pattern"},
    {"help", 'h', nullptr, "show this help"},
});

struct Summary {
    uint64_t count = 0, sum = 0;
    uint32_t min = 0, max = 0, median = 0;
    uint64_t at_max = 0;  // samples at the largest value of the depth
};

Summary summarise(const std::vector<uint32_t> &histogram) {
    Summary s;
    for (uint32_t v : histogram) s.count += v;
    if (s.count == 0) return s;
    bool seen = false;
    uint64_t running = 0;
    bool median_found = false;
    for (size_t i = 0; i < histogram.size(); ++i) {
        const uint64_t n = histogram[i];
        if (n == 0) continue;
        const uint32_t value = static_cast<uint32_t>(i);
        if (!seen) s.min = value;
        seen = true;
        s.max = value;
        s.sum += n * value;
        running += n;
        if (!median_found && running * 2 >= s.count) {
            s.median = value;
            median_found = true;
        }
    }
    s.at_max = histogram.back();
    return s;
}

void print_summary(const char *name, const Summary &s) {
    if (s.count == 0) {
        std::printf("  %-6s no samples\n", name);
        return;
    }
    std::printf("  %-6s min %5u  median %5u  mean %9.2f  max %5u  at full scale %6.3f%%\n", name, s.min, s.median,
                double(s.sum) / double(s.count), s.max, 100.0 * double(s.at_max) / double(s.count));
}

// The top-left w x h samples of a frame, as a frame of their own.
RawFrame top_left(const RawFrame &frame, int32_t w, int32_t h) {
    RawFrame out;
    out.allocate(w, h, frame.bits);
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const size_t from = static_cast<size_t>(y) * static_cast<size_t>(frame.width) + static_cast<size_t>(x);
            const size_t to = static_cast<size_t>(y) * static_cast<size_t>(w) + static_cast<size_t>(x);
            if (out.wide()) out.s16[to] = frame.s16[from];
            else out.s8[to] = frame.s8[from];
        }
    return out;
}

// 16-bit samples, which the library's histograms (4096 bins at most) cannot tell
// apart, counted here at full resolution over the top-left w x h samples: by the
// colour of each sample's place in the 2x2 tile, or into `green` alone for a
// monochrome frame (pattern < 0).
void histograms16(const RawFrame &frame, int32_t w, int32_t h, int pattern, std::vector<uint32_t> &red,
                  std::vector<uint32_t> &green, std::vector<uint32_t> &blue) {
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const uint16_t v = frame.s16[static_cast<size_t>(y) * static_cast<size_t>(frame.width) +
                                         static_cast<size_t>(x)];
            const int site = (y & 1) * 2 + (x & 1);
            std::vector<uint32_t> &bins = pattern < 0                  ? green
                                          : site == red_site(pattern)  ? red
                                          : site == blue_site(pattern) ? blue
                                                                       : green;
            ++bins[v];
        }
}

// Per-channel histograms: the library's histogram8/10/12 with the pattern, or the
// single-channel ones for a monochrome frame; 16-bit samples as histograms16 counts
// them. The library's raw histograms walk 2x2 cells, and with an odd width the walk
// drifts across the colour grid, so a colour frame of odd size is summarised without
// its last column or row.
void histogram_summary(const RawFrame &raw, int pattern) {
    const bool colour = pattern >= 0;
    const int32_t w = colour ? raw.width & ~1 : raw.width, h = colour ? raw.height & ~1 : raw.height;
    if (w != raw.width || h != raw.height)
        std::printf("note:       odd size: the last %s not counted\n",
                    w != raw.width && h != raw.height ? "column and row are"
                    : w != raw.width                  ? "column is"
                                                      : "row is");
    // The library reads rows of `w` samples one after another: only a narrower width
    // needs a copy of the frame (a lower height is the first h rows as they stand).
    const int bits = raw.bits;
    RawFrame narrowed;
    if (bits != 16 && w != raw.width) narrowed = top_left(raw, w, h);
    const RawFrame &frame = bits != 16 && w != raw.width ? narrowed : raw;
    const size_t bins = bits == 8 ? 256 : bits == 10 ? 1024 : bits == 12 ? 4096 : 65536;
    std::vector<uint32_t> red(bins), green(bins), blue(bins);
    const int32_t n = static_cast<int32_t>(frame.count());
    using Raw8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *);
    using Raw16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *);
    static const Raw8 h8[4] = {histogram8rggb, histogram8grbg, histogram8gbrg, histogram8bggr};
    static const Raw16 h10[4] = {histogram10rggb, histogram10grbg, histogram10gbrg, histogram10bggr};
    static const Raw16 h12[4] = {histogram12rggb, histogram12grbg, histogram12gbrg, histogram12bggr};
    if (bits == 16) histograms16(frame, w, h, pattern, red, green, blue);
    else if (!colour && bits == 8) histogram8(frame.s8.data(), n, green.data());
    else if (!colour && bits == 10) histogram10(frame.s16.data(), n, green.data());
    else if (!colour) histogram12(frame.s16.data(), n, green.data());
    else if (bits == 8) h8[pattern](frame.s8.data(), w, h, red.data(), green.data(), blue.data());
    else if (bits == 10) h10[pattern](frame.s16.data(), w, h, red.data(), green.data(), blue.data());
    else h12[pattern](frame.s16.data(), w, h, red.data(), green.data(), blue.data());
    if (!colour) {
        print_summary("grey", summarise(green));
        return;
    }
    print_summary("red", summarise(red));
    print_summary("green", summarise(green));
    print_summary("blue", summarise(blue));
}

}  // namespace

int run_info(const std::vector<std::string> &args) {
    const Arguments a = parse_arguments(args, kOptions);
    if (a.has("help")) {
        std::fputs(help_text("korvimg info IN [options]",
                             "Prints the frame size, sample depth, frame count and Bayer pattern of a capture\n"
                             "file (and where the pattern comes from), and a per-channel summary of one\n"
                             "frame's histogram: least, median (of an even count, the lower of the middle\n"
                             "two), mean and largest sample, and the share of samples at full scale.",
                             kOptions)
                       .c_str(),
                   stdout);
        return kOk;
    }
    if (a.positional().size() != 1) throw usage_error("info needs one input file (see korvimg info --help)");
    // Frames too large for this machine's memory are a problem of this file.
    try {
        auto source = open_source(a.positional()[0], open_options(a));
        const SourceInfo &info = source->info();
        int pattern = info.pattern;
        std::string origin = info.pattern_origin;
        if (a.has("pattern")) {
            pattern = pattern_code(a.get("pattern"));
            if (pattern < 0)
                throw usage_error(a.written("pattern") + ": expected rggb|grbg|gbrg|bggr, got '" + a.get("pattern") + "'");
            origin = "--pattern";
        }
        const uint32_t frame_index =
            a.has("frame") ? static_cast<uint32_t>(parse_integer(a.get("frame"), "--frame", 0, 0xffffffffLL)) : 0;
        if (frame_index >= info.frames)
            throw usage_error(info.path, "--frame " + std::to_string(frame_index) + ": the file has " +
                              count_of(info.frames, info.truncated.empty() ? "frame" : "whole frame"));

        // The frame first: a file that fails there prints no half report.
        RawFrame frame;
        source->read(frame_index, frame);
        std::printf("file:       %s\n", info.path.c_str());
        std::printf("format:     %s\n", info.format.c_str());
        std::printf("size:       %d x %d\n", info.width, info.height);
        std::printf("bit depth:  %d (%s)\n", info.bits, info.stored_bits == 8 ? "one byte per sample" : "16-bit words");
        std::printf("frames:     %u%s\n", info.frames, info.truncated.empty() ? "" : " whole (truncated, see below)");
        std::printf("pattern:    %s (%s)\n", pattern >= 0 ? kPatternNames[pattern] : "none", origin.c_str());
        for (const auto &note : info.notes) std::printf("note:       %s\n", note.c_str());
        for (const auto &w : info.warnings) std::printf("warning:    %s\n", w.c_str());
        std::printf("histogram of frame %u:\n", frame_index);
        histogram_summary(frame, pattern);
        if (source->clamped() != 0) std::printf("note:       %s\n", source->clamped_text().c_str());
        return kOk;
    } catch (const std::bad_alloc &) {
        throw file_error(a.positional()[0], "not enough memory for its frames");
    }
}

}  // namespace kvcli
