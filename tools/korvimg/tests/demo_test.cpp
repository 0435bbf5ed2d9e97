// korvimg demo: runs, writes its pictures, and its PSNR table ranks the methods sanely.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "demo_chart.h"
#include "files.h"
#include "lib.h"
#include "support.h"

namespace {

// Method name -> PSNR of the four patterns and of the colour patches, from the printed
// table.
std::map<std::string, std::vector<double>> psnr_table(const std::string &out) {
    std::map<std::string, std::vector<double>> table;
    std::istringstream lines(out);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        if (kvcli::method_code(name) < 0) continue;
        std::vector<double> v;
        double x;
        while (words >> x) v.push_back(x);
        if (v.size() == 6) table[name] = {v[0], v[1], v[2], v[3], v[4]};
    }
    return table;
}

TEST(Demo, WritesThePicturesAndASaneTable) {
    kvtest::TempDir dir;
    const auto r = kvtest::run_program({"demo", "-o", dir.path("out")});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(r.err.empty()) << r.err;
    const auto table = psnr_table(r.out);
    for (int m = 0; m < kvcli::kMethods; ++m) {
        const std::string name = kvcli::kMethodNames[m];
        EXPECT_EQ(table.count(name), 1u) << name;
        EXPECT_TRUE(kvtest::exists(dir.path("out/" + name + ".png"))) << name;
    }
    ASSERT_EQ(table.size(), static_cast<size_t>(kvcli::kMethods));
    // In colour, the tile methods beat the grey view and the bare mosaic.
    for (const char *tile : {"nearest", "simple"})
        for (const char *plain : {"mono", "bayer"}) EXPECT_GT(table.at(tile)[4], table.at(plain)[4] + 3) << tile;
    for (int p = 0; p < 4; ++p) {
        // Any demosaic beats the bare mosaic view, which leaves two channels black.
        EXPECT_GT(table.at("nearest")[p], table.at("bayer")[p] + 3);
        EXPECT_GT(table.at("simple")[p], table.at("bayer")[p] + 3);
        EXPECT_GT(table.at("simple")[p], table.at("nearest")[p]);
        for (const auto &[name, v] : table) EXPECT_TRUE(v[p] > 3 && v[p] < 60) << name << " " << v[p];
        // The interpolating methods beat the tile methods, laplacian by far the most.
        EXPECT_GT(table.at("bilinear")[p], table.at("simple")[p] + 1);
        EXPECT_GT(table.at("adaptive")[p], table.at("nearest")[p] + 1);
        EXPECT_GT(table.at("laplacian")[p], table.at("nearest")[p] + 3);
        EXPECT_GT(table.at("laplacian")[p], table.at("bilinear")[p] + 2);
        EXPECT_GT(table.at("laplacian")[p], table.at("adaptive")[p] + 2);
    }
    // On the colour patches too.
    for (const char *interpolating : {"bilinear", "adaptive", "laplacian"})
        for (const char *tile : {"nearest", "simple"})
            EXPECT_GT(table.at(interpolating)[4], table.at(tile)[4] + 2) << interpolating << " " << tile;
    const auto sheet = kvtest::read_picture(dir.path("out/contact-sheet.png"));
    EXPECT_EQ(sheet.channels, 3);
    EXPECT_GT(sheet.width, 3 * kvcli::kChartWidth);
    const auto chart = kvtest::read_picture(dir.path("out/chart.png"));
    EXPECT_EQ(chart.width, kvcli::kChartWidth);
    EXPECT_EQ(chart.height, kvcli::kChartHeight);
}

TEST(Demo, ChartMosaicKeepsTheSiteColour) {
    const auto chart = kvcli::render_chart(16, 8);
    const auto raw = kvcli::mosaic_of(chart, 3);  // bggr: blue at (0,0), red at (1,1)
    EXPECT_EQ(raw.s8[0], chart.p8[0]);
    EXPECT_EQ(raw.s8[1], chart.p8[1 * 3 + 1]);
    EXPECT_EQ(raw.s8[16 + 1], chart.p8[(16 + 1) * 3 + 2]);
    EXPECT_DOUBLE_EQ(kvcli::psnr(chart, chart), 99);
}

// A demo that cannot write one of its pictures writes none of them.
TEST(Demo, AFailedRunLeavesNoPartOfTheSet) {
    kvtest::TempDir dir;
    ASSERT_EQ(mkdir(dir.path("simple.png").c_str(), 0700), 0);
    const auto r = kvtest::run_program({"demo", "-o", dir.dir(), "-q"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korvimg: " + dir.path("simple.png") + ": is a directory\n");
    EXPECT_EQ(dir.entries(), (std::vector<std::string>{"simple.png"}));
}

// A picture that cannot be written is named as asked for, and the directories the run
// made for its pictures go again with them.
TEST(Demo, AFailedRunRemovesTheDirectoriesItMade) {
    kvtest::TempDir dir;
    {
        const kvtest::Disposition no_signal(SIGXFSZ, SIG_IGN);
        const kvtest::FileSizeLimit limit(8192);  // the chart alone is larger
        const auto r = kvtest::run_program({"demo", "-o", dir.path("a/b"), "-q"});
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, "korvimg: " + dir.path("a/b/chart.png") + ": cannot write: File too large\n");
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{});
    // A directory that was there already stays.
    ASSERT_EQ(mkdir(dir.path("a").c_str(), 0700), 0);
    {
        const kvtest::Disposition no_signal(SIGXFSZ, SIG_IGN);
        const kvtest::FileSizeLimit limit(8192);
        EXPECT_EQ(kvtest::run_program({"demo", "-o", dir.path("a/b"), "-q"}).status, 1);
    }
    EXPECT_EQ(dir.entries(), std::vector<std::string>{"a"});
    EXPECT_EQ(kvtest::list_directory(dir.path("a")), std::vector<std::string>{});
    // A run that succeeds keeps them.
    ASSERT_EQ(kvtest::run_program({"demo", "-o", dir.path("a/b/c"), "-q"}).status, 0);
    EXPECT_EQ(kvtest::list_directory(dir.path("a/b")), std::vector<std::string>{"c"});
}

// Whether the RGB picture `tile` (w x h) appears whole somewhere in the RGB `sheet`.
bool holds_tile(const kvtest::Picture &sheet, const std::vector<uint32_t> &tile, int32_t w, int32_t h) {
    for (int32_t top = 0; top + h <= sheet.height; ++top)
        for (int32_t left = 0; left + w <= sheet.width; ++left) {
            auto at = [&](int32_t y) { return sheet.samples.begin() + (std::ptrdiff_t{top + y} * sheet.width + left) * 3; };
            auto tile_row = [&](int32_t y) { return tile.begin() + std::ptrdiff_t{y} * w * 3; };
            int32_t y = 0;
            while (y < h && std::equal(tile_row(y), tile_row(y + 1), at(y))) ++y;
            if (y == h) return true;
        }
    return false;
}

// The contact sheet shows each method's picture whole: the mono one as grey in all
// three channels, the half-size preview enlarged 2 x to the chart's size.
TEST(Demo, ContactSheetShowsThePicturesWritten) {
    kvtest::TempDir dir;
    ASSERT_EQ(kvtest::run_program({"demo", "-o", dir.dir(), "-q"}).status, 0);
    const auto sheet = kvtest::read_picture(dir.path("contact-sheet.png"));
    ASSERT_EQ(sheet.channels, 3);
    ASSERT_EQ(sheet.bits, 8);
    const int32_t w = kvcli::kChartWidth, h = kvcli::kChartHeight;
    const auto mono = kvtest::read_picture(dir.path("mono.png"));
    ASSERT_EQ(mono.channels, 1);
    ASSERT_EQ(mono.width, w);
    ASSERT_EQ(mono.height, h);
    std::vector<uint32_t> tile;
    for (uint32_t v : mono.samples) tile.insert(tile.end(), {v, v, v});
    EXPECT_TRUE(holds_tile(sheet, tile, w, h)) << "mono";
    const auto preview = kvtest::read_picture(dir.path("preview.png"));
    ASSERT_EQ(preview.channels, 3);
    ASSERT_EQ(preview.width, w / 2);
    ASSERT_EQ(preview.height, h / 2);
    tile.clear();
    for (int32_t y = 0; y < h; ++y)
        for (int32_t x = 0; x < w; ++x) {
            const size_t at = (static_cast<size_t>(y / 2) * static_cast<size_t>(w / 2) + static_cast<size_t>(x / 2)) * 3;
            tile.insert(tile.end(), {preview.samples[at], preview.samples[at + 1], preview.samples[at + 2]});
        }
    EXPECT_TRUE(holds_tile(sheet, tile, w, h)) << "preview";
    const auto laplacian = kvtest::read_picture(dir.path("laplacian.png"));
    ASSERT_EQ(laplacian.channels, 3);
    EXPECT_TRUE(holds_tile(sheet, laplacian.samples, w, h)) << "laplacian";
}

// A directory that cannot be made is named, with the reason, and nothing is left.
TEST(Demo, ADirectoryThatCannotBeMadeIsNamed) {
    kvtest::TempDir dir;
    const std::string name = dir.path("a/" + std::string(300, 'b'));  // longer than any file name
    const auto r = kvtest::run_program({"demo", "-o", name, "-q"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "korvimg: " + name + ": cannot create directory: File name too long\n");
    EXPECT_EQ(dir.entries(), std::vector<std::string>{});
}

}  // namespace
