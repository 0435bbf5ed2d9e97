// The korvimg benchmark suite: every function of the library on a 3840x2160 frame,
// the memory floor (memcpy of the same traffic) and, when built with them, the peers.
// Functions are looked up by name in the library, so a benchmark runs only for
// what the library exports.
#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "bench.h"
#include "korvimg.h"

namespace bench {
namespace {

constexpr double N = static_cast<double>(kPixels);

// The library's function `name`, or null when the library does not export it.
template <class F>
F find(const char *name) {
    return reinterpret_cast<F>(dlsym(RTLD_DEFAULT, name));
}
#define KB_FIND(name) find<decltype(&name)>(#name)

// Registers `body` as `name` when fn is exported.
template <class F, class Body>
void add_if(const std::string &name, F fn, Body body, benchmark::TimeUnit unit = benchmark::kMillisecond) {
    if (fn != nullptr) add(name, body, unit);
}

const char *const kMethods[8] = {"mono", "bayer", "nearest", "simple", "bilinear", "adaptive", "laplacian", "preview"};

// ---- demosaic methods and dispatchers --------------------------------------------------

template <class S>
void demosaic(int method, int depth) {
    using Fn = uint32_t(KORVIMG_CALL *)(const S *, int32_t, int32_t, S *);
    const std::string name = std::string(kMethods[method]) + std::to_string(depth);
    const Fn fn = find<Fn>((name + "rggb").c_str());
    add_if("demosaic/" + name, fn, [fn, method, depth](benchmark::State &st) {
        const double out_pixels = method == 7 ? N / 4 : N;
        const int channels = depth == 24 || depth == 48 ? 3 : 4;
        const S *raw;
        if constexpr (sizeof(S) == 1) raw = scene().raw8.data();
        else raw = scene().raw16.data();
        auto out = buffer<S>(static_cast<size_t>(out_pixels) * channels);
        loop(st, sizeof(S) * (N + out_pixels * channels), [&] { fn(raw, kWidth, kHeight, out.data()); });
    });
}

template <class S>
void dispatcher(int depth) {
    using Fn = uint32_t(KORVIMG_CALL *)(const S *, int32_t, int32_t, uint32_t, uint32_t, S *);
    const std::string name = "debayer" + std::to_string(depth);
    const Fn fn = find<Fn>(name.c_str());
    add_if("dispatch/" + name + "/bilinear", fn, [fn, depth](benchmark::State &st) {
        const int channels = depth == 24 || depth == 48 ? 3 : 4;
        const S *raw;
        if constexpr (sizeof(S) == 1) raw = scene().raw8.data();
        else raw = scene().raw16.data();
        auto out = buffer<S>(kPixels * channels);
        loop(st, sizeof(S) * N * (1 + channels),
             [&] { fn(raw, kWidth, kHeight, KORVIMG_RGGB, KORVIMG_BILINEAR, out.data()); });
    });
}

// ---- the memory floor ---------------------------------------------------------------------

// memcpy of `bytes`, the bytes a method reads plus the bytes it writes.
void floor(const std::string &name, double bytes) {
    add("floor/" + name, [bytes](benchmark::State &st) {
        const size_t n = static_cast<size_t>(bytes);
        auto from = buffer<uint8_t>(n), to = buffer<uint8_t>(n);
        loop(st, bytes, [&] { std::memcpy(to.data(), from.data(), n); });
    });
}

// ---- colour ---------------------------------------------------------------------------------

ColorCorrectionContext *new_context() {
    ColorCorrectionContext *c = KB_FIND(color_correction_init)();
    KB_FIND(color_correction_set)(c, 1.1, 4, 1.0, 0, 0.9, -3, 12, 1.2, 0.95, 0.02);
    return c;
}

// A colour-image function of (image, pixel count, ...) over one of the scene's images.
template <class T>
double image_bytes(std::vector<T> Scene::*image) {
    return static_cast<double>((scene().*image).size() * sizeof(T));
}

template <class T, class Fn>
void white_balance_image(const std::string &name, Fn fn, std::vector<T> Scene::*image) {
    add_if(name, fn, [fn, image](benchmark::State &st) {
        double r, b;
        loop(st, image_bytes(image), [&] { fn((scene().*image).data(), kWidth * kHeight, &r, &b); });
    });
}

template <class T, class Fn>
void histogram_image(const std::string &name, Fn fn, std::vector<T> Scene::*image, size_t bins) {
    add_if(name, fn, [fn, image, bins](benchmark::State &st) {
        std::vector<uint32_t> r(bins), g(bins), b(bins);
        loop(st, image_bytes(image),
             [&] { fn((scene().*image).data(), kWidth * kHeight, r.data(), g.data(), b.data()); });
    });
}

void colour() {
    auto init = KB_FIND(color_correction_init);
    add_if("colour/context_init", init, [init](benchmark::State &st) {
        auto done = KB_FIND(color_correction_done);
        loop(st, 0, [&] { done(init()); });
    });
    for (int depth : {24, 32}) {
        using Fn = uint32_t(KORVIMG_CALL *)(ColorCorrectionContext *, uint8_t *, int32_t, int32_t);
        const std::string name = "color_correction" + std::to_string(depth);
        const Fn fn = find<Fn>(name.c_str());
        const bool have = init != nullptr && fn != nullptr && KB_FIND(color_correction_set) != nullptr &&
                          KB_FIND(color_correction_sethsl) != nullptr && KB_FIND(color_correction_done) != nullptr;
        // Warm: the cache holds every colour of the image before the timed calls.
        // Correction works in place, so every call gets a fresh copy of the scene's
        // image: correcting the previous call's output would meet colours the cache
        // has not seen.
        add_if("colour/" + name + "/warm", have ? fn : nullptr, [fn, depth](benchmark::State &st) {
            ColorCorrectionContext *c = new_context();
            const auto &original = depth == 24 ? scene().bgr24 : scene().bgrx32;
            auto image = original;
            fn(c, image.data(), kWidth, kHeight);
            in_place_loop(st, 2.0 * image.size(), original, image, [&] { fn(c, image.data(), kWidth, kHeight); });
            KB_FIND(color_correction_done)(c);
        });
        // Cold: a setter makes the cache stale before every call.
        add_if("colour/" + name + "/cold", have ? fn : nullptr, [fn, depth](benchmark::State &st) {
            ColorCorrectionContext *c = new_context();
            const auto &original = depth == 24 ? scene().bgr24 : scene().bgrx32;
            auto image = original;
            const auto sethsl = KB_FIND(color_correction_sethsl);
            double hue = 0;
            in_place_loop(st, 2.0 * image.size(), original, image, [&] {
                sethsl(c, hue += 0.5, 1.2, 0.95, 0.02);
                fn(c, image.data(), kWidth, kHeight);
            });
            KB_FIND(color_correction_done)(c);
        });
    }

    auto wb8 = KB_FIND(white_balance8rggb);
    add_if("white_balance/8rggb", wb8, [wb8](benchmark::State &st) {
        double r, b;
        loop(st, N, [&] { wb8(scene().raw8.data(), kWidth, kHeight, &r, &b); });
    });
    auto wb12 = KB_FIND(white_balance12rggb);
    add_if("white_balance/12rggb", wb12, [wb12](benchmark::State &st) {
        double r, b;
        loop(st, 2 * N, [&] { wb12(scene().raw16.data(), kWidth, kHeight, &r, &b); });
    });
    white_balance_image("white_balance/24", KB_FIND(white_balance24), &Scene::bgr24);
    white_balance_image("white_balance/32", KB_FIND(white_balance32), &Scene::bgrx32);
    white_balance_image("white_balance/48", KB_FIND(white_balance48), &Scene::bgr48);
    white_balance_image("white_balance/64", KB_FIND(white_balance64), &Scene::bgrx64);
}

// ---- tone tables and conversions -------------------------------------------------------------

template <class T, class Fn>
void bcg(const char *name, Fn fn, size_t entries) {
    add_if(std::string("tone/") + name, fn, [fn, entries](benchmark::State &st) {
        auto table = buffer<T>(entries);
        loop(st, 0, [&] { fn(20, -10, 30, table.data()); });
    }, benchmark::kMicrosecond);
}

void tone() {
    bcg<uint8_t>("create_BCG_LUT8", KB_FIND(create_BCG_LUT8), 256);
    bcg<uint16_t>("create_BCG_LUT10", KB_FIND(create_BCG_LUT10), 1025);
    bcg<uint8_t>("create_BCG_LUT10_8", KB_FIND(create_BCG_LUT10_8), 1025);
    bcg<uint16_t>("create_BCG_LUT12", KB_FIND(create_BCG_LUT12), 4097);
    bcg<uint8_t>("create_BCG_LUT12_8", KB_FIND(create_BCG_LUT12_8), 4097);

    // Tables big enough for any 16-bit index.
    static std::vector<uint8_t> table8(65536, 3);
    static std::vector<uint16_t> table16(65536, 3);
    auto apply = KB_FIND(apply_lut);
    add_if("convert/apply_lut", apply, [apply](benchmark::State &st) {
        auto out = buffer<uint8_t>(kPixels);
        loop(st, 3 * N, [&] { apply(scene().raw16.data(), kWidth * kHeight, table8.data(), out.data()); });
    });
    auto c88 = KB_FIND(convert_frame8to8LUT);
    add_if("convert/8to8LUT", c88, [c88](benchmark::State &st) {
        auto out = buffer<uint8_t>(kPixels);
        loop(st, 2 * N, [&] { c88(scene().raw8.data(), kWidth * kHeight, table8.data(), out.data()); });
    });
    auto c128 = KB_FIND(convert_frame12to8LUT);
    add_if("convert/12to8LUT", c128, [c128](benchmark::State &st) {
        auto out = buffer<uint8_t>(kPixels);
        loop(st, 3 * N, [&] { c128(scene().raw16.data(), kWidth * kHeight, table8.data(), out.data()); });
    });
    auto c1212 = KB_FIND(convert_frame12to12LUT);
    add_if("convert/12to12LUT", c1212, [c1212](benchmark::State &st) {
        auto out = buffer<uint16_t>(kPixels);
        loop(st, 4 * N, [&] { c1212(scene().raw16.data(), kWidth * kHeight, table16.data(), out.data()); });
    });
    auto c108 = KB_FIND(convert_frame10to8);
    add_if("convert/10to8", c108, [c108](benchmark::State &st) {
        auto out = buffer<uint8_t>(kPixels);
        loop(st, 3 * N, [&] { c108(scene().raw16.data(), kWidth * kHeight, out.data()); });
    });
    auto c128s = KB_FIND(convert_frame12to8);
    add_if("convert/12to8", c128s, [c128s](benchmark::State &st) {
        auto out = buffer<uint8_t>(kPixels);
        loop(st, 3 * N, [&] { c128s(scene().raw16.data(), kWidth * kHeight, out.data()); });
    });
    auto c810 = KB_FIND(convert_frame8to10);
    add_if("convert/8to10", c810, [c810](benchmark::State &st) {
        auto out = buffer<uint16_t>(kPixels);
        loop(st, 3 * N, [&] { c810(scene().raw8.data(), kWidth * kHeight, out.data()); });
    });
    auto c812 = KB_FIND(convert_frame8to12);
    add_if("convert/8to12", c812, [c812](benchmark::State &st) {
        auto out = buffer<uint16_t>(kPixels);
        loop(st, 3 * N, [&] { c812(scene().raw8.data(), kWidth * kHeight, out.data()); });
    });
    auto lt10 = KB_FIND(lookup_table10to8);
    add_if("convert/lookup_table10to8", lt10, [lt10](benchmark::State &st) {
        auto t = buffer<uint8_t>(1024);
        loop(st, 0, [&] { lt10(t.data()); });
    }, benchmark::kMicrosecond);
    auto lt12 = KB_FIND(lookup_table12to8);
    add_if("convert/lookup_table12to8", lt12, [lt12](benchmark::State &st) {
        auto t = buffer<uint8_t>(4096);
        loop(st, 0, [&] { lt12(t.data()); });
    }, benchmark::kMicrosecond);
}

// Best tables: (histogram, table) with the table's entry type from the signature.
template <class T>
void best(const char *name, uint32_t(KORVIMG_CALL *fn)(const uint32_t *, T *), int histogram_bits,
          size_t table_entries) {
    add_if(std::string("best/") + name, fn, [fn, histogram_bits, table_entries](benchmark::State &st) {
        std::vector<uint32_t> histogram(size_t(1) << histogram_bits, 0);
        for (uint16_t s : scene().raw16) ++histogram[s >> (12 - histogram_bits)];
        auto table = buffer<T>(table_entries);
        loop(st, 0, [&] { fn(histogram.data(), table.data()); });
    }, benchmark::kMicrosecond);
}

void best_tables() {
    best("best_lookup_table10to8", KB_FIND(best_lookup_table10to8), 10, 1024);
    best("best_lookup_table12to8", KB_FIND(best_lookup_table12to8), 12, 4096);
    best("best_lookup_table12to10", KB_FIND(best_lookup_table12to10), 12, 4096);
    best("best_lookup_table10from12", KB_FIND(best_lookup_table10from12), 10, 4096);
    best("best_lookup_table8from10", KB_FIND(best_lookup_table8from10), 8, 1024);
    best("best_lookup_table8from12", KB_FIND(best_lookup_table8from12), 8, 4096);
}

// ---- frame arithmetic, median filter, histograms -----------------------------------------------

void frames() {
    auto add8 = KB_FIND(frame_add8);
    add_if("frame/add8", add8, [add8](benchmark::State &st) {
        auto acc = buffer<uint32_t>(kPixels);
        loop(st, 9 * N, [&] { add8(acc.data(), scene().raw8.data(), kWidth * kHeight); });
    });
    auto add16 = KB_FIND(frame_add16);
    add_if("frame/add16", add16, [add16](benchmark::State &st) {
        auto acc = buffer<uint32_t>(kPixels);
        loop(st, 10 * N, [&] { add16(acc.data(), scene().raw16.data(), kWidth * kHeight); });
    });
    auto as8 = KB_FIND(frame_add_sub8);
    add_if("frame/add_sub8", as8, [as8](benchmark::State &st) {
        auto acc = buffer<uint32_t>(kPixels);
        auto other = scene().raw8;
        std::reverse(other.begin(), other.end());
        loop(st, 10 * N, [&] { as8(acc.data(), scene().raw8.data(), other.data(), kWidth * kHeight); });
    });
    auto as16 = KB_FIND(frame_add_sub16);
    add_if("frame/add_sub16", as16, [as16](benchmark::State &st) {
        auto acc = buffer<uint32_t>(kPixels);
        auto other = scene().raw16;
        std::reverse(other.begin(), other.end());
        loop(st, 12 * N, [&] { as16(acc.data(), scene().raw16.data(), other.data(), kWidth * kHeight); });
    });
    auto avg8 = KB_FIND(frame_avg8);
    add_if("frame/avg8", avg8, [avg8](benchmark::State &st) {
        auto acc = buffer<uint32_t>(kPixels);
        auto out = buffer<uint8_t>(kPixels);
        for (size_t k = 0; k < kPixels; ++k) acc[k] = scene().raw16[k] * 16u;
        loop(st, 5 * N, [&] { avg8(out.data(), acc.data(), kWidth * kHeight, 16); });
    });
    auto avg16 = KB_FIND(frame_avg16);
    add_if("frame/avg16", avg16, [avg16](benchmark::State &st) {
        auto acc = buffer<uint32_t>(kPixels);
        auto out = buffer<uint16_t>(kPixels);
        for (size_t k = 0; k < kPixels; ++k) acc[k] = scene().raw16[k] * 16u;
        loop(st, 6 * N, [&] { avg16(out.data(), acc.data(), kWidth * kHeight, 16); });
    });

    // The median filter works in place: every call gets a fresh copy of the frame,
    // made outside the timing.
    for (uint32_t mosaic : {1u, 0u}) {
        const std::string kind = mosaic ? "/mosaic" : "/adjacent";
        auto m8 = KB_FIND(median_filter8);
        add_if("median/filter8" + kind, m8, [m8, mosaic](benchmark::State &st) {
            auto frame = scene().raw8;
            in_place_loop(st, 2 * N, scene().raw8, frame, [&] { m8(frame.data(), kWidth, kHeight, mosaic); });
        });
        // The 16-bit filter reads the whole row and writes back its first half.
        auto m16 = KB_FIND(median_filter16);
        add_if("median/filter16" + kind, m16, [m16, mosaic](benchmark::State &st) {
            auto frame = scene().raw16;
            in_place_loop(st, 3 * N, scene().raw16, frame, [&] { m16(frame.data(), kWidth, kHeight, mosaic); });
        });
    }

    auto h8 = KB_FIND(histogram8);
    add_if("histogram/8", h8, [h8](benchmark::State &st) {
        std::vector<uint32_t> h(256);
        loop(st, N, [&] { h8(scene().raw8.data(), kWidth * kHeight, h.data()); });
    });
    auto h12 = KB_FIND(histogram12);
    add_if("histogram/12", h12, [h12](benchmark::State &st) {
        std::vector<uint32_t> h(4096);
        loop(st, 2 * N, [&] { h12(scene().raw16.data(), kWidth * kHeight, h.data()); });
    });
    histogram_image("histogram/8_24", KB_FIND(histogram8_24), &Scene::bgr24, 256);
    histogram_image("histogram/8_32", KB_FIND(histogram8_32), &Scene::bgrx32, 256);
    histogram_image("histogram/10_48", KB_FIND(histogram10_48), &Scene::bgr48, 1024);
    histogram_image("histogram/10_64", KB_FIND(histogram10_64), &Scene::bgrx64, 1024);
    histogram_image("histogram/12_48", KB_FIND(histogram12_48), &Scene::bgr48, 4096);
    histogram_image("histogram/12_64", KB_FIND(histogram12_64), &Scene::bgrx64, 4096);
    auto h8r = KB_FIND(histogram8rggb);
    add_if("histogram/8rggb", h8r, [h8r](benchmark::State &st) {
        std::vector<uint32_t> r(256), g(256), b(256);
        loop(st, N, [&] { h8r(scene().raw8.data(), kWidth, kHeight, r.data(), g.data(), b.data()); });
    });
    auto h12r = KB_FIND(histogram12rggb);
    add_if("histogram/12rggb", h12r, [h12r](benchmark::State &st) {
        std::vector<uint32_t> r(4096), g(4096), b(4096);
        loop(st, 2 * N, [&] { h12r(scene().raw16.data(), kWidth, kHeight, r.data(), g.data(), b.data()); });
    });
}

void register_all() {
    for (int method = 0; method < 8; ++method) {
        demosaic<uint8_t>(method, 24);
        demosaic<uint8_t>(method, 32);
        demosaic<uint16_t>(method, 48);
        demosaic<uint16_t>(method, 64);
    }
    dispatcher<uint8_t>(24);
    dispatcher<uint8_t>(32);
    dispatcher<uint16_t>(48);
    dispatcher<uint16_t>(64);
    // Floors: full-size demosaic (1 or 2 bytes in, 3/4/6/8 out per pixel), preview
    // (a quarter of the pixels out) and colour correction (in place: read and write).
    floor("demosaic24", N * (1 + 3));
    floor("demosaic32", N * (1 + 4));
    floor("demosaic48", N * (2 + 6));
    floor("demosaic64", N * (2 + 8));
    floor("preview24", N * (1 + 3.0 / 4));
    floor("preview32", N * (1 + 4.0 / 4));
    floor("preview48", N * (2 + 6.0 / 4));
    floor("preview64", N * (2 + 8.0 / 4));
    floor("colour24", N * (3 + 3));
    floor("colour32", N * (4 + 4));
    // Frame arithmetic, the median filter and the histograms: k bytes read plus
    // written per sample (histograms: read only).
    for (int k : {1, 2, 3, 4, 5, 6, 8, 9, 10, 12}) floor("traffic" + std::to_string(k) + "N", k * N);
    colour();
    tone();
    best_tables();
    frames();
    register_peers();
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    bench::register_all();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
