// korvimg info: what a capture file holds.
#include <cstdio>
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

Summary summarise(const std::vector<uint32_t> &histogram, uint32_t scale) {
    Summary s;
    for (uint32_t v : histogram) s.count += v;
    if (s.count == 0) return s;
    bool seen = false;
    uint64_t running = 0;
    bool median_found = false;
    for (size_t i = 0; i < histogram.size(); ++i) {
        const uint64_t n = histogram[i];
        if (n == 0) continue;
        const uint32_t value = static_cast<uint32_t>(i) * scale;
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

// Per-channel histograms by the library: histogram8/10/12 with the pattern, or the
// single-channel ones for a monochrome frame. 16-bit samples are counted at 12-bit
// resolution (the library's deepest histogram).
void histogram_summary(const RawFrame &raw, int pattern) {
    RawFrame frame = raw;
    uint32_t scale = 1;
    int bits = frame.bits;
    if (bits == 16) {
        for (auto &v : frame.s16) v = static_cast<uint16_t>(v >> 4);
        scale = 16;
        bits = 12;
    }
    const size_t bins = bits == 8 ? 256 : bits == 10 ? 1024 : 4096;
    std::vector<uint32_t> red(bins), green(bins), blue(bins);
    const int32_t w = frame.width, h = frame.height;
    using Raw8 = void(KORVIMG_CALL *)(const uint8_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *);
    using Raw16 = void(KORVIMG_CALL *)(const uint16_t *, int32_t, int32_t, uint32_t *, uint32_t *, uint32_t *);
    static const Raw8 h8[4] = {histogram8rggb, histogram8grbg, histogram8gbrg, histogram8bggr};
    static const Raw16 h10[4] = {histogram10rggb, histogram10grbg, histogram10gbrg, histogram10bggr};
    static const Raw16 h12[4] = {histogram12rggb, histogram12grbg, histogram12gbrg, histogram12bggr};
    if (pattern < 0) {
        const int32_t n = static_cast<int32_t>(frame.count());
        if (bits == 8) histogram8(frame.s8.data(), n, green.data());
        else if (bits == 10) histogram10(frame.s16.data(), n, green.data());
        else histogram12(frame.s16.data(), n, green.data());
        print_summary("grey", summarise(green, scale));
        return;
    }
    if (bits == 8) h8[pattern](frame.s8.data(), w, h, red.data(), green.data(), blue.data());
    else if (bits == 10) h10[pattern](frame.s16.data(), w, h, red.data(), green.data(), blue.data());
    else h12[pattern](frame.s16.data(), w, h, red.data(), green.data(), blue.data());
    print_summary("red", summarise(red, scale));
    print_summary("green", summarise(green, scale));
    print_summary("blue", summarise(blue, scale));
}

}  // namespace

int run_info(const std::vector<std::string> &args) {
    const Arguments a = parse_arguments(args, kOptions);
    if (a.has("help")) {
        std::fputs(help_text("korvimg info IN [options]",
                             "Prints the frame size, sample depth, frame count and Bayer pattern of a capture\n"
                             "file (and where the pattern comes from), and a per-channel summary of one\n"
                             "frame's histogram.",
                             kOptions)
                       .c_str(),
                   stdout);
        return kOk;
    }
    if (a.positional().size() != 1) throw usage_error("info needs one input file (see korvimg info --help)");
    auto source = open_source(a.positional()[0], open_options(a));
    const SourceInfo &info = source->info();
    int pattern = info.pattern;
    std::string origin = info.pattern_origin;
    if (a.has("pattern")) {
        pattern = pattern_code(a.get("pattern"));
        if (pattern < 0) throw usage_error("--pattern: expected rggb|grbg|gbrg|bggr, got '" + a.get("pattern") + "'");
        origin = "--pattern";
    }
    const uint32_t frame_index =
        a.has("frame") ? static_cast<uint32_t>(parse_integer(a.get("frame"), "--frame", 0, 0xffffffffLL)) : 0;
    if (frame_index >= info.frames)
        throw usage_error("--frame " + std::to_string(frame_index) + ": the file has " + std::to_string(info.frames) +
                          " frame(s)");

    std::printf("file:       %s\n", info.path.c_str());
    std::printf("format:     %s\n", info.format.c_str());
    std::printf("size:       %d x %d\n", info.width, info.height);
    std::printf("bit depth:  %d (%s)\n", info.bits, info.stored_bits == 8 ? "one byte per sample" : "16-bit words");
    std::printf("frames:     %u\n", info.frames);
    std::printf("pattern:    %s (%s)\n", pattern >= 0 ? kPatternNames[pattern] : "none", origin.c_str());
    for (const auto &note : info.notes) std::printf("note:       %s\n", note.c_str());
    RawFrame frame;
    source->read(frame_index, frame);
    std::printf("histogram of frame %u:\n", frame_index);
    histogram_summary(frame, pattern);
    if (source->clamped() != 0)
        std::printf("note:       %llu samples above %d bits were taken as the largest value\n",
                    static_cast<unsigned long long>(source->clamped()), info.bits);
    return kOk;
}

}  // namespace kvcli
