#include "hardening/contracts.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

namespace kh {

// ---- spaces -------------------------------------------------------------------------

void fill(void *p, size_t bytes, size_t element, uint32_t limit, Rng &rng) {
    auto *b = static_cast<uint8_t *>(p);
    const size_t n = bytes / element;
    switch (element) {
        case 1:
            for (size_t i = 0; i < n; ++i) {
                const uint32_t v = static_cast<uint32_t>(rng.next() >> 24);
                b[i] = static_cast<uint8_t>(limit ? v % limit : v);
            }
            break;
        case 2:
            for (size_t i = 0; i < n; ++i) {
                const uint32_t v = static_cast<uint32_t>(rng.next() >> 24);
                const uint16_t s = static_cast<uint16_t>(limit ? v % limit : v);
                std::memcpy(b + 2 * i, &s, 2);
            }
            break;
        case 4:
            for (size_t i = 0; i < n; ++i) {
                const uint32_t v = static_cast<uint32_t>(rng.next() >> 16);
                const uint32_t s = limit ? v % limit : v;
                std::memcpy(b + 4 * i, &s, 4);
            }
            break;
        default:  // doubles: ordinary parameter values
            for (size_t i = 0; i < n; ++i) {
                const double d = static_cast<double>(static_cast<int64_t>(rng.next() % 1601) - 800) / 200.0;
                std::memcpy(b + 8 * i, &d, 8);
            }
            break;
    }
}

uint16_t *Space::every16() {
    uint16_t *p = out<uint16_t>(65536);
    // Every value once, in an order that is not sorted (a multiplicative walk).
    for (uint32_t i = 0; i < 65536; ++i) {
        const uint16_t v = static_cast<uint16_t>(i * 40503u + 17u);
        std::memcpy(p + i, &v, 2);
    }
    return p;
}

ColorCorrectionContext *Space::context() {
    if (!context_) {
        if (const kt::Export *init = kt::find_export("color_correction_init"))
            context_ = reinterpret_cast<decltype(&color_correction_init)>(init->address)();
    }
    return context_;
}

void Space::release_context() {
    if (context_) {
        if (const kt::Export *done = kt::find_export("color_correction_done"))
            reinterpret_cast<decltype(&color_correction_done)>(done->address)(context_);
        context_ = nullptr;
    }
}

std::string describe(const std::string &name, const Args &a) {
    std::ostringstream s;
    s << name << "(w " << a.w << ", h " << a.h << ", a " << a.a << ", b " << a.b << ", c " << a.c
      << ", variant " << a.variant << ")";
    return s.str();
}

std::vector<const kt::Export *> functions() {
    std::vector<const kt::Export *> out;
    for (const auto &e : kt::exports())
        if (std::strcmp(e.name, e.target) == 0) out.push_back(&e);
    return out;
}

namespace {

// ---- helpers ------------------------------------------------------------------------

template <class F> F fn(const kt::Export &e) { return reinterpret_cast<F>(e.address); }

bool starts(const std::string &s, const char *prefix) { return s.rfind(prefix, 0) == 0; }
bool one_of(const std::string &s, std::initializer_list<const char *> names) {
    for (const char *n : names)
        if (s == n) return true;
    return false;
}

int32_t wrapped_product(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
size_t positive(int64_t n) { return n > 0 ? static_cast<size_t>(n) : 0; }
// Samples of a w x h frame (nothing for a zero or negative size).
size_t frame_samples(int32_t w, int32_t h) { return w > 0 && h > 0 ? size_t(w) * size_t(h) : 0; }

// The grid of frame sizes every frame family is tried on.
std::vector<Args> frame_grid(Sweep sweep, int step_h = 1) {
    std::vector<Args> out;
    if (sweep == Sweep::one) {
        for (auto [w, h] : {std::pair{64, 48}, {30, 22}, {6, 66}}) out.push_back({w, h});
        return out;
    }
    for (int32_t h = -4; h <= 66; h += step_h)
        for (int32_t w = -4; w <= 66; ++w) out.push_back({w, h});
    return out;
}
// The counts every flat operation is tried on; with every16, a further call whose
// 16-bit input holds every 16-bit value.
std::vector<Args> count_grid(Sweep sweep, bool every16 = false) {
    std::vector<Args> out;
    if (sweep == Sweep::one) {
        out.push_back({300});
        out.push_back({77});
    } else {
        for (int32_t n = -2; n <= 300; ++n) out.push_back({n});
    }
    if (every16) out.push_back({65536, 0, 0, 0, 0, 1});
    return out;
}

int bits_in(const std::string &name, size_t at) {  // the depth digits at a position
    return std::stoi(name.substr(at, 2));
}

// ---- demosaic -----------------------------------------------------------------------

// Samples read and pixels written by a demosaic method for a w x h frame.
size_t demosaic_samples(int method, int32_t w, int32_t h) {
    if (method == kt::kMono) return positive(wrapped_product(w, h));  // rows play no part
    return frame_samples(w, h);
}
size_t demosaic_pixels(int method, int32_t w, int32_t h) {
    if (method == kt::kPreview) return w > 0 && h > 0 ? size_t(w / 2) * size_t(h / 2) : 0;
    return demosaic_samples(method, w, h);
}

// A member's call, or with a dispatcher given, the dispatcher's call with the codes
// pattern and method (the member's sizes when the codes are valid, else none).
template <class S>
void demosaic_call(const kt::Member &m, int32_t w, int32_t h, bool codes_valid, Space &space,
                   const kt::Export *dispatcher = nullptr, uint32_t pattern = 0, uint32_t method_code = 0) {
    const int method = m.method;
    const size_t n = codes_valid ? demosaic_samples(method, w, h) : 0;
    const size_t px = codes_valid ? demosaic_pixels(method, w, h) : 0;
    const S *src = space.in<S>(n);
    S *dst = space.out<S>(px * static_cast<size_t>(m.channels()));
    if (!dispatcher) {
        m.call(src, w, h, dst);
        return;
    }
    using D = uint32_t(KORVIMG_CALL *)(const S *, int32_t, int32_t, uint32_t, uint32_t, S *);
    reinterpret_cast<D>(dispatcher->address)(src, w, h, pattern, method_code, dst);
}

bool is_member(const std::string &name) {
    for (const auto &m : kt::demosaic_members())
        if (m.name == name) return true;
    return false;
}

const Family kMembers = {
    "demosaic methods", true, is_member,
    [](const std::string &, Sweep sweep) { return frame_grid(sweep); },
    [](const kt::Export &e, const Args &a, Space &space) {
        const kt::Member &m = kt::member(e.name);
        if (m.sample_bytes() == 1)
            demosaic_call<uint8_t>(m, a.w, a.h, true, space);
        else
            demosaic_call<uint16_t>(m, a.w, a.h, true, space);
    }};

const Family kDispatchers = {
    "dispatchers", true,
    [](const std::string &n) { return one_of(n, {"debayer24", "debayer32", "debayer48", "debayer64"}); },
    [](const std::string &, Sweep sweep) {
        // The dispatchers hand their arguments on unchanged, so a smaller grid than
        // the members' does: every size up to 18 and the largest ones.
        std::vector<Args> grid;
        for (const Args &g : frame_grid(sweep))
            if (sweep == Sweep::one || (g.w <= 18 && g.h <= 18) || g.w >= 64 || g.h >= 64) grid.push_back(g);
        std::vector<Args> out;
        for (const Args &g : grid)
            for (uint32_t method = 0; method < 8; ++method)
                out.push_back({g.w, g.h, static_cast<uint32_t>(g.w * 3 + g.h + int32_t(method)) & 3u, method});
        // Refused codes: nothing may be read or written.
        for (auto [p, m] : {std::pair<uint32_t, uint32_t>{4, 0}, {0, 8}, {~0u, 1}, {1, ~0u}, {4, 8}})
            for (int32_t s : {-2, 0, 4, 10}) out.push_back({s, s + 2, p, m});
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const int depth = bits_in(e.name, 7);
        const bool valid = a.a <= 3 && a.b <= 7;
        const int method = valid ? static_cast<int>(a.b) : 0;
        // The member the dispatcher forwards to, for its buffer sizes.
        const kt::Member &m = kt::member(std::string(valid ? kt::kMethodNames[method] : "mono") +
                                         std::to_string(depth) + kt::kPatternNames[valid ? a.a : 0]);
        if (m.sample_bytes() == 1)
            demosaic_call<uint8_t>(m, a.w, a.h, valid, space, &e, a.a, a.b);
        else
            demosaic_call<uint16_t>(m, a.w, a.h, valid, space, &e, a.a, a.b);
    }};

// ---- colour correction --------------------------------------------------------------

// Parameter sets a call may install before applying: 0 none, 1 gains/offsets and
// HSL, 2 a matrix, 3 back to the HSL model with other values, 4 and 5 values no
// caller should pass but none may make a call hang or misbehave (huge and infinite
// hue shifts, NaN and infinite gains).
void install(ColorCorrectionContext *ctx, uint32_t set) {
    if (!ctx || set == 0) return;
    if (set >= 4) {
        const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
        if (auto *e = kt::find_export("color_correction_usematrix"))
            fn<decltype(&color_correction_usematrix)>(*e)(ctx, 0);
        if (auto *e = kt::find_export("color_correction_set")) {
            if (set == 4)
                fn<decltype(&color_correction_set)>(*e)(ctx, nan, 0, inf, -inf, 1e308, 1, 1e300, 1, 1, 0);
            else
                fn<decltype(&color_correction_set)>(*e)(ctx, 1, 0, 1, 0, 1, 0, -inf, nan, inf, nan);
        }
        return;
    }
    if (set == 1 || set == 3) {
        if (auto *e = kt::find_export("color_correction_usematrix"))
            fn<decltype(&color_correction_usematrix)>(*e)(ctx, 0);
        if (auto *e = kt::find_export("color_correction_set")) {
            if (set == 1)
                fn<decltype(&color_correction_set)>(*e)(ctx, 1.2, 10, 0.9, -5, 1.1, 3, 40, 1.3, 0.9, 0.05);
            else
                fn<decltype(&color_correction_set)>(*e)(ctx, 3.5, -300, 0.1, 400, 1, 0, -725, 7, -2, 1.5);
        }
    } else {
        static const double matrix[12] = {2, 0.1, -0.2, 0.3, 1.1, 0, -0.5, 0.25, 0.9, -300, 12.5, 400};
        if (auto *e = kt::find_export("color_correction_setmatrix"))
            fn<decltype(&color_correction_setmatrix)>(*e)(ctx, matrix);
        if (auto *e = kt::find_export("color_correction_usematrix"))
            fn<decltype(&color_correction_usematrix)>(*e)(ctx, 1);
    }
}

// Stores known values through the setter a getter belongs to; true to go on.
bool install_for_getter(ColorCorrectionContext *ctx, const char *setter) {
    const kt::Export *e = kt::find_export(setter);
    if (!ctx || !e) return true;
    const std::string n = setter;
    static const double matrix[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    if (n == "color_correction_sethsl") fn<decltype(&color_correction_sethsl)>(*e)(ctx, 11, 1.5, 0.75, 0.125);
    else if (n == "color_correction_setrgb") fn<decltype(&color_correction_setrgb)>(*e)(ctx, 1, 2, 3, 4, 5, 6);
    else fn<decltype(&color_correction_setmatrix)>(*e)(ctx, matrix);
    return true;
}

const Family kColourApply = {
    "colour correction", false,
    [](const std::string &n) { return one_of(n, {"color_correction24", "color_correction32"}); },
    [](const std::string &, Sweep sweep) {
        std::vector<Args> out;
        for (Args g : frame_grid(sweep, 5)) {
            // Now and then new parameters; in the ordinary calls always, so that their
            // result does not depend on the calls before them.
            if (sweep == Sweep::one) g.a = 1 + static_cast<uint32_t>(out.size() % 3);
            else if ((g.w & 15) == 0) g.a = static_cast<uint32_t>(g.h & 3);
            out.push_back(g);
        }
        for (uint32_t set = 1; set < 6; ++set) out.push_back({16, 16, set});
        out.push_back({8, 8, 0, 0, 0, 1});  // null context: nothing touched
        if (sweep == Sweep::full) out.push_back({-65536, -65535, 0});  // product wraps to 65536
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        ColorCorrectionContext *ctx = a.variant == 1 ? nullptr : space.context();
        install(ctx, a.a);
        const size_t channels = e.name[16] == '2' ? 3 : 4;
        const size_t pixels = ctx ? positive(wrapped_product(a.w, a.h)) : 0;
        uint8_t *image = space.in<uint8_t>(pixels * channels);
        fn<decltype(&color_correction24)>(e)(ctx, image, a.w, a.h);
    }};

const Family kColourWide = {
    "colour correction of 16-bit images (does nothing)", false,
    [](const std::string &n) { return one_of(n, {"color_correction48", "color_correction64"}); },
    [](const std::string &, Sweep) { return std::vector<Args>{{4, 4}, {0, 0}, {-2, -2}, {64, 48, 0, 0, 0, 1}}; },
    [](const kt::Export &e, const Args &a, Space &space) {
        ColorCorrectionContext *ctx = a.variant == 1 ? nullptr : space.context();
        uint16_t *image = space.in<uint16_t>(0);  // nothing may be read or written
        fn<decltype(&color_correction48)>(e)(ctx, image, a.w, a.h);
    }};

// A context of the call's own, made (its 2^24 cache entries filled) and released,
// or a null one released.
const Family kColourLifetime = {
    "colour-correction context lifetime", false,
    [](const std::string &n) { return one_of(n, {"color_correction_init", "color_correction_done"}); },
    [](const std::string &, Sweep) { return std::vector<Args>{{0}, {0, 0, 0, 0, 0, 1}}; },
    [](const kt::Export &, const Args &a, Space &) {
        ColorCorrectionContext *ctx = nullptr;
        if (a.variant == 0)
            if (auto *init = kt::find_export("color_correction_init"))
                ctx = fn<decltype(&color_correction_init)>(*init)();
        if (auto *done = kt::find_export("color_correction_done"))
            fn<decltype(&color_correction_done)>(*done)(ctx);
    },
    true, false};

const Family kColourContext = {
    "colour-correction parameters", false,
    [](const std::string &n) {
        return one_of(n, {"color_correction_set", "color_correction_sethsl", "color_correction_gethsl",
                          "color_correction_setrgb", "color_correction_getrgb", "color_correction_setmatrix",
                          "color_correction_getmatrix", "color_correction_usematrix"});
    },
    [](const std::string &, Sweep) { return std::vector<Args>{{0}, {0, 0, 0, 0, 0, 1}, {0, 0, 1}}; },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        ColorCorrectionContext *ctx = a.variant == 1 ? nullptr : space.context();
        const size_t k = ctx ? 1 : 0;  // a null context touches no pointer
        const double v = a.a ? -1e3 : 1.25;
        if (n == "color_correction_set")
            fn<decltype(&color_correction_set)>(e)(ctx, v, 2, 3, 4, 5, 6, v, 8, 9, 10);
        else if (n == "color_correction_sethsl")
            fn<decltype(&color_correction_sethsl)>(e)(ctx, v, 2, 3, 4);
        else if (n == "color_correction_setrgb")
            fn<decltype(&color_correction_setrgb)>(e)(ctx, v, 2, 3, 4, 5, 6);
        else if (n == "color_correction_usematrix")
            fn<decltype(&color_correction_usematrix)>(e)(ctx, a.a);
        // A getter reads back what its setter stored just before, so that its
        // result does not depend on earlier calls.
        else if (n == "color_correction_gethsl" && install_for_getter(ctx, "color_correction_sethsl"))
            fn<decltype(&color_correction_gethsl)>(e)(ctx, space.out<double>(k), space.out<double>(k),
                                                      space.out<double>(k), space.out<double>(k));
        else if (n == "color_correction_getrgb" && install_for_getter(ctx, "color_correction_setrgb"))
            fn<decltype(&color_correction_getrgb)>(e)(ctx, space.out<double>(k), space.out<double>(k),
                                                      space.out<double>(k), space.out<double>(k),
                                                      space.out<double>(k), space.out<double>(k));
        else if (n == "color_correction_setmatrix")
            fn<decltype(&color_correction_setmatrix)>(e)(ctx, space.in<double>(12 * k));
        else if (install_for_getter(ctx, "color_correction_setmatrix"))
            fn<decltype(&color_correction_getmatrix)>(e)(ctx, space.out<double>(12 * k));
    }};

// ---- white balance ------------------------------------------------------------------

const Family kWhiteBalanceRaw = {
    "white balance of raw frames", false,
    [](const std::string &n) {
        return starts(n, "white_balance") && n.size() > 17 && kt::pattern_code(n.substr(n.size() - 4)) >= 0;
    },
    [](const std::string &, Sweep sweep) { return frame_grid(sweep); },
    [](const kt::Export &e, const Args &a, Space &space) {
        const size_t n = frame_samples(a.w, a.h);
        if (e.name[13] == '8')
            fn<decltype(&white_balance8bggr)>(e)(space.in<uint8_t>(n), a.w, a.h, space.out<double>(1),
                                                 space.out<double>(1));
        else
            fn<decltype(&white_balance10bggr)>(e)(space.in<uint16_t>(n), a.w, a.h, space.out<double>(1),
                                                  space.out<double>(1));
    }};

const Family kWhiteBalanceImage = {
    "white balance of colour images", false,
    [](const std::string &n) {
        return one_of(n, {"white_balance24", "white_balance32", "white_balance48", "white_balance64"});
    },
    [](const std::string &, Sweep sweep) { return count_grid(sweep); },
    [](const kt::Export &e, const Args &a, Space &space) {
        const int depth = bits_in(e.name, 13);
        const size_t values = positive(a.w) * (depth == 24 || depth == 48 ? 3 : 4);
        if (depth <= 32)
            fn<decltype(&white_balance24)>(e)(space.in<uint8_t>(values), a.w, space.out<double>(1),
                                              space.out<double>(1));
        else
            fn<decltype(&white_balance48)>(e)(space.in<uint16_t>(values), a.w, space.out<double>(1),
                                              space.out<double>(1));
    }};

// ---- tone tables and conversions ----------------------------------------------------

const Family kBcgTables = {
    "brightness, contrast and gamma tables", false, [](const std::string &n) { return starts(n, "create_BCG_LUT"); },
    [](const std::string &, Sweep sweep) {
        std::vector<Args> out;
        const std::vector<int32_t> settings =
            sweep == Sweep::one ? std::vector<int32_t>{-40, 90}
                                : std::vector<int32_t>{INT32_MIN, -500, -127, -64, 0, 1, 64, 127, INT32_MAX};
        for (int32_t b : settings)
            for (int32_t c : settings)
                for (int32_t g : settings) out.push_back({0, 0, uint32_t(b), uint32_t(c), g});
        out.push_back({0, 0, 0, 0, 0, 1});  // null table
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        const size_t entries = n == "create_BCG_LUT8" ? 256 : starts(n, "create_BCG_LUT10") ? 1024 : 4096;
        const bool wide = n == "create_BCG_LUT10" || n == "create_BCG_LUT12";
        const size_t k = a.variant == 1 ? 0 : 1;
        const auto b = static_cast<int32_t>(a.a), c = static_cast<int32_t>(a.b);
        if (wide)
            fn<decltype(&create_BCG_LUT10)>(e)(b, c, a.c, k ? space.out<uint16_t>(entries) : nullptr);
        else
            fn<decltype(&create_BCG_LUT8)>(e)(b, c, a.c, k ? space.out<uint8_t>(entries) : nullptr);
    }};

// Table-driven conversions: variant 0 indexes a 4096-entry table with samples below
// 4096, variant 1 a 65536-entry table with every 16-bit value.
const Family kTableLookups = {
    "lookup-table conversions", false,
    [](const std::string &n) {
        return one_of(n, {"apply_lut", "convert_frame8to8LUT", "convert_frame10to8LUT", "convert_frame12to8LUT",
                          "convert_frame10to10LUT", "convert_frame12to10LUT", "convert_frame12to12LUT"});
    },
    [](const std::string &, Sweep sweep) { return count_grid(sweep, true); },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        const size_t count = positive(a.w);
        if (n == "convert_frame8to8LUT") {
            fn<decltype(&convert_frame8to8LUT)>(e)(space.in<uint8_t>(count), a.w, space.in<uint8_t>(256),
                                                   space.out<uint8_t>(count));
            return;
        }
        const size_t entries = a.variant == 1 ? 65536 : 4096;
        const uint16_t *src = a.variant == 1 ? space.every16() : space.in<uint16_t>(count, 4096);
        if (n == "convert_frame10to10LUT")
            fn<decltype(&convert_frame10to10LUT)>(e)(src, a.w, space.in<uint16_t>(entries), space.out<uint16_t>(count));
        else if (n == "apply_lut")
            fn<decltype(&apply_lut)>(e)(src, a.w, space.in<uint8_t>(entries), space.out<uint8_t>(count));
        else
            fn<decltype(&convert_frame10to8LUT)>(e)(src, a.w, space.in<uint8_t>(entries), space.out<uint8_t>(count));
    }};

// The fixed reductions and widenings. variant 1: every 16-bit value as input (what
// happens to samples above 1023 or 4095 is ours to choose, but no access may leave
// the buffers); variant 2: null buffers, which the widenings test.
const Family kConversions = {
    "bit-depth conversions", false,
    [](const std::string &n) {
        return one_of(n, {"convert_frame10to8", "convert_frame12to8", "convert_frame8to10", "convert_frame8to12"});
    },
    [](const std::string &, Sweep sweep) {
        auto out = count_grid(sweep, true);
        out.push_back({5, 0, 0, 0, 0, 2});
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        const size_t count = positive(a.w);
        if (n == "convert_frame8to10" || n == "convert_frame8to12") {
            const auto widen = fn<decltype(&convert_frame8to10)>(e);
            if (a.variant == 1) return;  // an 8-bit input has no out-of-range samples
            if (a.variant == 2) {        // a null buffer: refused before anything is touched
                widen(nullptr, a.w, space.out<uint16_t>(0));
                widen(space.in<uint8_t>(0), a.w, nullptr);
                return;
            }
            widen(space.in<uint8_t>(count), a.w, space.out<uint16_t>(count));
            return;
        }
        if (a.variant == 2) return;
        const uint32_t limit = n == "convert_frame10to8" ? 1024 : 4096;
        const uint16_t *src = a.variant == 1 ? space.every16() : space.in<uint16_t>(count, limit);
        fn<decltype(&convert_frame10to8)>(e)(src, a.w, space.out<uint8_t>(count));
    }};

const Family kFixedTables = {
    "fixed reduction tables", false,
    [](const std::string &n) { return one_of(n, {"lookup_table10to8", "lookup_table12to8"}); },
    [](const std::string &, Sweep) { return std::vector<Args>{{0}, {0, 0, 0, 0, 0, 1}}; },
    [](const kt::Export &e, const Args &a, Space &space) {
        const size_t entries = std::string(e.name) == "lookup_table10to8" ? 1024 : 4096;
        fn<decltype(&lookup_table10to8)>(e)(a.variant == 1 ? nullptr : space.out<uint8_t>(entries));
    }};

// Histogram contents for the best tables: 0 random, 1 all zero, 2 all equal,
// 3 one spike, 4 counts near 2^32 (sums wrap).
const Family kBestTables = {
    "best lookup tables", false, [](const std::string &n) { return starts(n, "best_lookup_table"); },
    [](const std::string &, Sweep sweep) {
        std::vector<Args> out;
        for (int v = 0; v < (sweep == Sweep::one ? 1 : 5); ++v) out.push_back({0, 0, 0, 0, 0, v});
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        // best_lookup_tableAtoB / AfromB: histogram bins and table entries.
        const size_t bins = n == "best_lookup_table10to8" ? 1024
                            : starts(n, "best_lookup_table12") ? 4096
                            : starts(n, "best_lookup_table10from") ? 1024 : 256;
        const size_t entries = (n == "best_lookup_table10to8" || n == "best_lookup_table8from10") ? 1024 : 4096;
        const bool wide = n == "best_lookup_table12to10" || n == "best_lookup_table10from12";
        uint32_t *hist = space.in<uint32_t>(bins);
        for (size_t i = 0; i < bins; ++i) {
            switch (a.variant) {
                case 1: hist[i] = 0; break;
                case 2: hist[i] = 7; break;
                case 3: hist[i] = i == bins / 2 ? 1000 : 0; break;
                case 4: hist[i] = 0xFFFFFFF0u + static_cast<uint32_t>(i & 15); break;
                default: break;
            }
        }
        if (wide)
            fn<decltype(&best_lookup_table12to10)>(e)(hist, space.out<uint16_t>(entries));
        else
            fn<decltype(&best_lookup_table12to8)>(e)(hist, space.out<uint8_t>(entries));
    },
    true};

// ---- frame arithmetic and the row filter --------------------------------------------

const Family kFrameArithmetic = {
    "frame arithmetic", false, [](const std::string &n) { return starts(n, "frame_"); },
    [](const std::string &, Sweep sweep) {
        auto out = count_grid(sweep);
        const uint32_t divisors[] = {1, 2, 3, 256, 0xFFFFFFFFu};
        for (size_t i = 0; i < out.size(); ++i) out[i].a = divisors[i % 5];
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        const size_t count = positive(a.w);
        const bool wide = n.back() == '6';
        uint32_t *acc = space.in<uint32_t>(count);  // read by every operation
        if (starts(n, "frame_add_sub")) {
            if (wide) fn<decltype(&frame_add_sub16)>(e)(acc, space.in<uint16_t>(count), space.in<uint16_t>(count), a.w);
            else fn<decltype(&frame_add_sub8)>(e)(acc, space.in<uint8_t>(count), space.in<uint8_t>(count), a.w);
        } else if (starts(n, "frame_add")) {
            if (wide) fn<decltype(&frame_add16)>(e)(acc, space.in<uint16_t>(count), a.w);
            else fn<decltype(&frame_add8)>(e)(acc, space.in<uint8_t>(count), a.w);
        } else {
            if (wide) fn<decltype(&frame_avg16)>(e)(space.out<uint16_t>(count), acc, a.w, a.a);
            else fn<decltype(&frame_avg8)>(e)(space.out<uint8_t>(count), acc, a.w, a.a);
        }
    }};

// Widths 0..66 by heights -4..66 on adjacent and on mosaic neighbours, and rows
// wider than the filter's row store (8192 samples), whose handling is ours to choose.
const Family kMedian = {
    "row spike filter", false, [](const std::string &n) { return one_of(n, {"median_filter8", "median_filter16"}); },
    [](const std::string &, Sweep sweep) {
        std::vector<Args> out;
        const uint32_t flags[] = {0, 1, 0x80000000u};
        for (Args g : frame_grid(sweep)) {
            if (g.w < 0) continue;  // a negative width is the caller's fault
            g.a = flags[static_cast<uint32_t>(g.w + g.h) % 3];
            out.push_back(g);
        }
        for (int32_t w : {8191, 8192, 8193, 8197, 12000, 16384, 16385, 40000})
            for (uint32_t flag : {0u, 1u}) out.push_back({w, sweep == Sweep::one ? 1 : 3, flag});
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const size_t n = a.h > 0 ? size_t(a.w) * size_t(a.h) : 0;
        if (std::string(e.name) == "median_filter8")
            fn<decltype(&median_filter8)>(e)(space.in<uint8_t>(n), a.w, a.h, a.a);
        else
            fn<decltype(&median_filter16)>(e)(space.in<uint16_t>(n), a.w, a.h, a.a);
    }};

// ---- histograms ---------------------------------------------------------------------

uint32_t histogram_bins(const std::string &n) { return n[9] == '8' ? 256 : n[10] == '0' ? 1024 : 4096; }

// variant 1: every 16-bit value as samples (ours to guard); variant 2: one array
// passed as two of the three histograms.
const Family kHistogramRuns = {
    "histograms of sample runs and colour images", false,
    [](const std::string &n) {
        return one_of(n, {"histogram8", "histogram10", "histogram12", "histogram8_24", "histogram8_32",
                          "histogram10_48", "histogram10_64", "histogram12_48", "histogram12_64"});
    },
    [](const std::string &n, Sweep sweep) {
        auto out = count_grid(sweep, n != "histogram8" && n != "histogram8_24" && n != "histogram8_32");
        out.push_back({40, 0, 0, 0, 0, 2});
        // Large enough for the 8-bit paths that count by pairs, with every remainder.
        if (sweep == Sweep::full)
            for (int32_t n8 : {262144, 262145, 262147, 262151, 87382, 87383, 65536, 65537}) out.push_back({n8});
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        const uint32_t bins = histogram_bins(n);
        const size_t count = positive(a.w);
        if (n.size() <= 11) {  // one run of samples
            if (a.variant == 2) return;
            if (bins == 256)
                fn<decltype(&histogram8)>(e)(space.in<uint8_t>(count), a.w, space.out<uint32_t>(bins));
            else
                fn<decltype(&histogram10)>(e)(a.variant == 1 ? space.every16() : space.in<uint16_t>(count, bins),
                                              a.w, space.out<uint32_t>(bins));
            return;
        }
        const size_t channels = (n.back() == '4' && n[n.size() - 2] == '2') || n.back() == '8' ? 3 : 4;
        const size_t values = a.variant == 1 ? 65536 : count * channels;
        const int32_t pixels = a.variant == 1 ? int32_t(65536 / channels) : a.w;
        uint32_t *red = space.out<uint32_t>(bins), *green = space.out<uint32_t>(bins);
        uint32_t *blue = a.variant == 2 ? red : space.out<uint32_t>(bins);
        if (bins == 256)
            fn<decltype(&histogram8_24)>(e)(space.in<uint8_t>(values), pixels, red, green, blue);
        else
            fn<decltype(&histogram10_48)>(e)(a.variant == 1 ? space.every16() : space.in<uint16_t>(values, bins),
                                             pixels, red, green, blue);
    }};

const Family kHistogramRaw = {
    "histograms of raw frames", false,
    [](const std::string &n) { return starts(n, "histogram") && kt::pattern_code(n.size() > 4 ? n.substr(n.size() - 4) : "") >= 0; },
    [](const std::string &, Sweep sweep) {
        auto out = frame_grid(sweep);
        out.push_back({256, 256, 0, 0, 0, 1});  // every 16-bit value
        // Large enough for the 8-bit path that counts by pairs: even and odd widths,
        // odd cell counts, odd heights.
        if (sweep == Sweep::full)
            for (auto [w, h] : {std::pair{514, 513}, {512, 512}, {515, 512}, {1001, 263}, {1003, 262}})
                out.push_back({w, h});
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const uint32_t bins = histogram_bins(e.name);
        const size_t n = frame_samples(a.w, a.h);
        uint32_t *red = space.out<uint32_t>(bins), *green = space.out<uint32_t>(bins), *blue = space.out<uint32_t>(bins);
        if (bins == 256) {
            if (a.variant == 1) return;
            fn<decltype(&histogram8bggr)>(e)(space.in<uint8_t>(n), a.w, a.h, red, green, blue);
        } else {
            fn<decltype(&histogram10bggr)>(e)(a.variant == 1 ? space.every16() : space.in<uint16_t>(n, bins), a.w, a.h,
                                              red, green, blue);
        }
    }};

// ---- memory services ----------------------------------------------------------------

const Family kMemory = {
    "memory services", false,
    [](const std::string &n) { return one_of(n, {"memory_alloc", "memory_free", "memory_copy", "memory_zero"}); },
    [](const std::string &, Sweep sweep) {
        std::vector<Args> out;
        for (Args g : count_grid(sweep)) {
            if (g.w < 0) continue;  // the counts are unsigned
            g.a = static_cast<uint32_t>(g.w % 7);  // overlap distance for memory_copy
            out.push_back(g);
        }
        return out;
    },
    [](const kt::Export &e, const Args &a, Space &space) {
        const std::string n = e.name;
        if (a.w < 0) return;  // the counts are unsigned; a negative one is a huge block
        const auto count = static_cast<uint32_t>(a.w);
        if (n == "memory_zero") {
            fn<decltype(&memory_zero)>(e)(space.out<uint8_t>(count), count);
        } else if (n == "memory_copy") {
            fn<decltype(&memory_copy)>(e)(space.out<uint8_t>(count), space.in<uint8_t>(count), count);
            // Overlapping: the destination a bytes above the source inside one block.
            uint8_t *block = space.out<uint8_t>(count + a.a);
            fn<decltype(&memory_copy)>(e)(block + a.a, block, count);
        } else if (count <= space.largest_block()) {
            auto *alloc = kt::find_export("memory_alloc");
            auto *release = kt::find_export("memory_free");
            void *p = fn<decltype(&memory_alloc)>(*alloc)(count);
            if (p && count) std::memset(p, 0x5A, count);
            fn<decltype(&memory_free)>(*release)(p);
        }
    }};

}  // namespace

const std::vector<Family> &families() {
    static const std::vector<Family> all = {
        kMembers,         kDispatchers,   kColourApply,       kColourWide,  kColourLifetime, kColourContext,
        kWhiteBalanceRaw, kWhiteBalanceImage, kBcgTables,     kTableLookups, kConversions,
        kFixedTables,     kBestTables,    kFrameArithmetic,   kMedian,      kHistogramRuns,
        kHistogramRaw,    kMemory};
    return all;
}

const Family *family_of(const std::string &name) {
    const Family *found = nullptr;
    for (const auto &f : families())
        if (f.matches(name)) {
            if (found) return nullptr;  // two families claiming a name is a table error
            found = &f;
        }
    return found;
}

}  // namespace kh
