// korvimg demo: renders a test chart, mosaics it for each pattern, runs every demosaic
// method, prints PSNR against the chart and time per frame, and writes the pictures
// and a labelled contact sheet.
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands.h"
#include "demo_chart.h"
#include "failure.h"
#include "font.h"
#include "io/output.h"
#include "lib.h"
#include "options.h"

namespace kvcli {

namespace {

const std::vector<OptionSpec> kDemoOptions = {
    {"output", 'o', "DIR", "directory for the pictures (default demo-output)"},
    {"quiet", 'q', nullptr, "print nothing but errors"},
    {"help", 'h', nullptr, "show this help"},
};

constexpr int kLabel = 22;  // label bar above each tile of the contact sheet
constexpr int kGap = 4;

// The picture of a tile: the method's output converted to file order, a preview
// enlarged 2 x so that every tile has the chart's size.
FilePixels tile_of(const ColourImage &image, int32_t width, int32_t height) {
    FilePixels px = to_file_pixels(image);
    if (px.width == width && px.height == height && px.channels == 3) return px;
    FilePixels out;
    out.width = width;
    out.height = height;
    out.channels = 3;
    out.p8.assign(static_cast<size_t>(width) * static_cast<size_t>(height) * 3, 0);
    const int fx = width / px.width, fy = height / px.height;
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) {
                const size_t s = (static_cast<size_t>(y / fy) * static_cast<size_t>(px.width) +
                                  static_cast<size_t>(x / fx)) * static_cast<size_t>(px.channels) +
                                 static_cast<size_t>(px.channels == 1 ? 0 : c);
                out.p8[(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) * 3 +
                       static_cast<size_t>(c)] = px.p8[s];
            }
    return out;
}

void paste(FilePixels &sheet, const FilePixels &tile, int left, int top) {
    for (int32_t y = 0; y < tile.height; ++y)
        std::memcpy(&sheet.p8[(static_cast<size_t>(top + y) * static_cast<size_t>(sheet.width) +
                               static_cast<size_t>(left)) * 3],
                    &tile.p8[static_cast<size_t>(y) * static_cast<size_t>(tile.width) * 3],
                    static_cast<size_t>(tile.width) * 3);
}

struct Result {
    std::array<double, 4> psnr{};  // by pattern code
    double patches = 0;            // PSNR over the colour patches, rggb
    double ms = 0;                 // per frame, mean over the patterns of the best of the runs
    ColourImage image;             // of the rggb mosaic
};

std::string fixed(double v, int decimals) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
}

}  // namespace

int run_demo(const std::vector<std::string> &args) {
    const Arguments a = parse_arguments(args, kDemoOptions);
    if (a.has("help")) {
        std::fputs(help_text("korvimg demo [-o DIR]",
                             "Renders a test chart (colour patches, a Siemens star, a zone plate, fine lines and\n"
                             "edges), mosaics it for each Bayer pattern, demosaics it with every method of the\n"
                             "library, and prints each method's PSNR against the chart and its time per frame.\n"
                             "Writes chart.png, the rggb mosaic as mosaic-rggb.pgm, one picture per method and\n"
                             "contact-sheet.png into DIR.",
                             kDemoOptions)
                       .c_str(),
                   stdout);
        return kOk;
    }
    if (!a.positional().empty()) throw usage_error("demo takes no input file: '" + a.positional()[0] + "'");
    const std::string dir = a.get("output", "demo-output");
    if (dir.empty()) throw usage_error("-o: an empty directory name");
    const bool quiet = a.has("quiet");

    const ColourImage chart = render_chart(kChartWidth, kChartHeight);
    const ColourImage reduced = reduce_chart(chart);
    std::array<RawFrame, 4> mosaics;
    for (int p = 0; p < 4; ++p) mosaics[static_cast<size_t>(p)] = mosaic_of(chart, p);

    std::vector<Result> results(kMethods);
    for (int m = 0; m < kMethods; ++m) {
        Result &r = results[static_cast<size_t>(m)];
        double total = 0;
        for (int p = 0; p < 4; ++p) {
            const RawFrame &raw = mosaics[static_cast<size_t>(p)];
            ColourImage out;
            out.allocate(output_width(m, raw.width), output_height(m, raw.height), 3, 8);
            out.grey = m == KORVIMG_MONO;
            double best = 1e30;
            for (int run = 0; run < 3; ++run) {
                const auto t0 = std::chrono::steady_clock::now();
                demosaic(m, 24, p, raw.s8.data(), raw.width, raw.height, out.p8.data());
                const auto t1 = std::chrono::steady_clock::now();
                best = std::min(best, std::chrono::duration<double, std::milli>(t1 - t0).count());
            }
            total += best;
            const ColourImage &reference = m == KORVIMG_PREVIEW ? reduced : chart;
            r.psnr[static_cast<size_t>(p)] = psnr(out, reference);
            if (p == 0) r.patches = psnr(out, reference, 0, 0, reference.width / 2, reference.height / 2);
            if (p == 0) r.image = std::move(out);
        }
        r.ms = total / 4;
    }

    // Pictures: the chart, the rggb mosaic, each method's result and the contact sheet.
    // They are staged and put in place together, so a run that fails leaves no part
    // of the set.
    std::vector<std::string> names = {"chart.png", "mosaic-rggb.pgm"};
    for (int m = 0; m < kMethods; ++m) names.push_back(std::string(kMethodNames[m]) + ".png");
    names.push_back("contact-sheet.png");
    std::vector<std::string> targets;
    for (const auto &name : names) targets.push_back(dir + "/" + name);
    // Directories made for the pictures go again with them if the run fails.
    StagedFiles staged(targets, make_directories(dir));
    size_t next = 0;
    auto save = [&](const std::string &name, const FilePixels &px) {
        if (names.at(next) != name) throw std::logic_error("demo pictures out of order");
        staged.write(next++, px);
    };
    save("chart.png", to_file_pixels(chart));
    {
        FilePixels raw;
        raw.width = mosaics[0].width;
        raw.height = mosaics[0].height;
        raw.channels = 1;
        raw.p8 = mosaics[0].s8;
        save("mosaic-rggb.pgm", raw);
    }
    for (int m = 0; m < kMethods; ++m)
        save(std::string(kMethodNames[m]) + ".png", to_file_pixels(results[static_cast<size_t>(m)].image));

    FilePixels sheet;
    sheet.width = 3 * kChartWidth + 4 * kGap;
    sheet.height = 3 * (kChartHeight + kLabel) + 4 * kGap;
    sheet.channels = 3;
    sheet.p8.assign(static_cast<size_t>(sheet.width) * static_cast<size_t>(sheet.height) * 3, 40);
    for (int t = 0; t < 9; ++t) {
        const int left = kGap + (t % 3) * (kChartWidth + kGap);
        const int top = kGap + (t / 3) * (kChartHeight + kLabel + kGap);
        std::string label;
        FilePixels tile;
        if (t == 0) {
            label = "chart " + std::to_string(kChartWidth) + "x" + std::to_string(kChartHeight);
            tile = to_file_pixels(chart);
        } else {
            const int m = t - 1;
            const Result &r = results[static_cast<size_t>(m)];
            label = std::string(kMethodNames[m]) + "  " + fixed(r.psnr[0], 1) + " dB";
            if (m == KORVIMG_PREVIEW) label += " (1/2)";
            tile = tile_of(r.image, kChartWidth, kChartHeight);
        }
        draw_text(sheet, left + 2, top + 4, label, 2, 235, 235, 235);
        paste(sheet, tile, left, top + kLabel);
    }
    save("contact-sheet.png", sheet);
    staged.commit();

    if (!quiet) {
        std::printf("korvimg demo: %dx%d test chart, mosaicked in each pattern, 8-bit samples, 24-bit output\n",
                    kChartWidth, kChartHeight);
        std::printf("PSNR in dB against the chart for each pattern, and over its colour patches (rggb);\n"
                    "preview is measured against the chart reduced 2x2. Time per frame, best of 3 runs.\n\n");
        std::printf("%-10s %7s %7s %7s %7s %8s %9s\n", "method", "rggb", "grbg", "gbrg", "bggr", "patches", "ms/frame");
        for (int m = 0; m < kMethods; ++m) {
            const Result &r = results[static_cast<size_t>(m)];
            std::printf("%-10s %7.2f %7.2f %7.2f %7.2f %8.2f %9.3f\n", kMethodNames[m], r.psnr[0], r.psnr[1],
                        r.psnr[2], r.psnr[3], r.patches, r.ms);
        }
        std::printf("\nwrote %zu pictures to %s/ (contact sheet: %s/contact-sheet.png)\n", staged.size(),
                    dir.c_str(), dir.c_str());
    }
    return kOk;
}

}  // namespace kvcli
