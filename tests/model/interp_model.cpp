// The interpolating methods, one output pixel at a time: for every (row y, column x)
// the colour of the site and of its row are looked up, the rule that applies to the
// position is chosen, and the value is computed from the samples (and, for the
// laplacian's second pass, from a green plane computed beforehand).
#include "model/demosaic_model.h"

namespace model {
namespace {

// Signed division of a by k, truncating toward zero, spelt out.
int64_t toward_zero(int64_t a, int64_t k) { return a < 0 ? -((-a) / k) : a / k; }
int64_t absolute(int64_t a) { return a < 0 ? -a : a; }

struct Frame {
    const std::vector<uint32_t> &raw;
    int64_t w, h;
    int pattern;
    int64_t maxv;

    int64_t s(int64_t y, int64_t x) const { return raw[static_cast<size_t>(y * w + x)]; }
    int colour(int64_t y, int64_t x) const { return colour_at(pattern, y, x); }
    // The non-green colour that row y holds.
    int row_colour(int64_t y) const {
        const int c = colour(y, 0);
        return c == kGreen ? colour(y, 1) : c;
    }
    static int other(int c) { return c == kBlue ? kRed : kBlue; }
    int64_t clamp(int64_t v) const { return v < 0 ? 0 : v > maxv ? maxv : v; }
};

struct Rgb {
    int64_t c[3] = {-1, -1, -1};  // by colour: blue, green, red
};

// First and last row: interpolated from the row itself and the one neighbouring row.
Rgb border(const Frame &f, int64_t y, int64_t x) {
    const int64_t n = y == 0 ? 1 : f.h - 2;
    const int own = f.row_colour(y), third = Frame::other(own);
    const bool first = x == 0, last = x == f.w - 1;
    Rgb p;
    if (f.colour(y, x) == kGreen) {
        p.c[kGreen] = f.s(y, x);
        p.c[own] = first ? f.s(y, 1) : last ? f.s(y, x - 1) : (f.s(y, x - 1) + f.s(y, x + 1)) / 2;
        p.c[third] = f.s(n, x);
    } else {
        p.c[own] = f.s(y, x);
        if (first) {
            p.c[kGreen] = (f.s(n, x) + f.s(y, x + 1)) / 2;
            p.c[third] = f.s(n, x + 1);
        } else if (last) {
            p.c[kGreen] = (f.s(n, x) + f.s(y, x - 1)) / 2;
            p.c[third] = f.s(n, x - 1);
        } else {
            p.c[kGreen] = (f.s(n, x) + f.s(y, x - 1) + f.s(y, x + 1)) / 3;
            p.c[third] = (f.s(n, x - 1) + f.s(n, x + 1)) / 2;
        }
    }
    return p;
}

// Any row with a row above and below, by the bilinear rules.
Rgb bilinear(const Frame &f, int64_t y, int64_t x) {
    const int own = f.row_colour(y), third = Frame::other(own);
    const bool first = x == 0, last = x == f.w - 1;
    const int64_t up = f.s(y - 1, x), down = f.s(y + 1, x);
    Rgb p;
    if (f.colour(y, x) == kGreen) {
        p.c[kGreen] = f.s(y, x);
        p.c[own] = first ? f.s(y, 1) : last ? f.s(y, x - 1) : (f.s(y, x - 1) + f.s(y, x + 1)) / 2;
        p.c[third] = (up + down) / 2;
    } else {
        p.c[own] = f.s(y, x);
        if (first) {
            p.c[kGreen] = (up + down + f.s(y, x + 1)) / 3;
            p.c[third] = (f.s(y - 1, x + 1) + f.s(y + 1, x + 1)) / 2;
        } else if (last) {
            p.c[kGreen] = (up + down + f.s(y, x - 1)) / 3;
            p.c[third] = (f.s(y - 1, x - 1) + f.s(y + 1, x - 1)) / 2;
        } else {
            p.c[kGreen] = (up + down + f.s(y, x - 1) + f.s(y, x + 1)) / 4;
            // upper-left once, upper-right twice, lower-left once, lower-right never
            p.c[third] = (f.s(y - 1, x - 1) + 2 * f.s(y - 1, x + 1) + f.s(y + 1, x - 1)) / 4;
        }
    }
    return p;
}

// A blue or red site at least two pixels from every edge, by the adaptive method.
Rgb adaptive_core(const Frame &f, int64_t y, int64_t x) {
    const int own = f.colour(y, x);
    Rgb p;
    p.c[own] = f.s(y, x);
    const int64_t dv = absolute(f.s(y - 2, x) - f.s(y + 2, x));
    const int64_t dh = absolute(f.s(y, x + 2) - f.s(y, x - 2));
    const int64_t up = f.s(y - 1, x), down = f.s(y + 1, x), left = f.s(y, x - 1), right = f.s(y, x + 1);
    if (dv == dh) p.c[kGreen] = (up + down + left + right) / 4;
    else if (dv < dh) p.c[kGreen] = (up + down) / 2;
    else p.c[kGreen] = (left + right) / 2;
    p.c[Frame::other(own)] =
        (f.s(y - 1, x - 1) + f.s(y - 1, x + 1) + f.s(y + 1, x - 1) + f.s(y + 1, x + 1)) / 4;
    return p;
}

bool in_inner(const Frame &f, int64_t y, int64_t x) { return y >= 2 && y <= f.h - 3 && x >= 2 && x <= f.w - 3; }

// The laplacian method's green at an inner red or blue site, from samples only.
int64_t laplacian_green(const Frame &f, int64_t y, int64_t x) {
    const int64_t X = f.s(y, x), N = f.s(y - 1, x), S = f.s(y + 1, x), W = f.s(y, x - 1), E = f.s(y, x + 1);
    const int64_t hd = 2 * X - f.s(y, x - 2) - f.s(y, x + 2);
    const int64_t vd = 2 * X - f.s(y - 2, x) - f.s(y + 2, x);
    const int64_t H = absolute(W - E) + absolute(hd), V = absolute(N - S) + absolute(vd);
    int64_t g;
    if (H == V) g = (N + S + W + E) / 4 + toward_zero(hd + vd, 8);
    else if (H > V) g = (N + S) / 2 + toward_zero(vd, 4);
    else g = (W + E) / 2 + toward_zero(hd, 4);
    return f.clamp(g);
}

Rgb laplacian_inner(const Frame &f, const std::vector<int64_t> &green, int64_t y, int64_t x) {
    auto G = [&](int64_t yy, int64_t xx) { return green[static_cast<size_t>(yy * f.w + xx)]; };
    const int c = f.colour(y, x);
    const int64_t g = G(y, x);
    Rgb p;
    p.c[kGreen] = g;
    if (c == kGreen) {
        const int own = f.row_colour(y);
        const int64_t horizontal = (f.s(y, x - 1) + f.s(y, x + 1)) / 2 + toward_zero(2 * g - G(y, x - 1) - G(y, x + 1), 4);
        const int64_t vertical = (f.s(y - 1, x) + f.s(y + 1, x)) / 2 + toward_zero(2 * g - G(y - 1, x) - G(y + 1, x), 4);
        p.c[own] = f.clamp(horizontal);
        p.c[Frame::other(own)] = f.clamp(vertical);
    } else {
        const int64_t nw = f.s(y - 1, x - 1), ne = f.s(y - 1, x + 1), sw = f.s(y + 1, x - 1), se = f.s(y + 1, x + 1);
        const int64_t d1 = 2 * g - G(y - 1, x - 1) - G(y + 1, x + 1);
        const int64_t d2 = 2 * g - G(y - 1, x + 1) - G(y + 1, x - 1);
        const int64_t A = absolute(nw - se) + absolute(d1), B = absolute(ne - sw) + absolute(d2);
        int64_t v;
        if (A == B) v = toward_zero(d1 + d2 + nw + ne + sw + se, 4);
        else if (A < B) v = toward_zero(nw + se + d1, 2);
        else v = toward_zero(ne + sw + d2, 2);
        p.c[c] = f.s(y, x);
        p.c[Frame::other(c)] = f.clamp(v);
    }
    return p;
}

}  // namespace

void interpolating(Image &img, int method, int depth, int pattern, const std::vector<uint32_t> &raw, int32_t width,
                   int32_t height) {
    if (width % 2 != 0 || height % 2 != 0 || width < 4 || height < 4) {
        img.result = 0;
        return;
    }
    img.result = 1;
    const Frame f{raw, width, height, pattern, depth <= 32 ? 255 : 65535};
    // Everything outside the inner area, as the border rows and bilinear rules give it.
    auto outer = [&](int64_t y, int64_t x) { return y == 0 || y == f.h - 1 ? border(f, y, x) : bilinear(f, y, x); };
    std::vector<int64_t> green;
    if (method == 6) {
        green.resize(static_cast<size_t>(f.w * f.h));
        for (int64_t y = 0; y < f.h; ++y)
            for (int64_t x = 0; x < f.w; ++x)
                green[static_cast<size_t>(y * f.w + x)] = !in_inner(f, y, x)        ? outer(y, x).c[kGreen]
                                                          : f.colour(y, x) == kGreen ? f.s(y, x)
                                                                                     : laplacian_green(f, y, x);
    }
    for (int64_t y = 0; y < f.h; ++y)
        for (int64_t x = 0; x < f.w; ++x) {
            Rgb p;
            if (method == 5 && in_inner(f, y, x) && f.colour(y, x) != kGreen) p = adaptive_core(f, y, x);
            else if (method == 6 && in_inner(f, y, x)) p = laplacian_inner(f, green, y, x);
            else p = outer(y, x);
            img.px.insert(img.px.end(), {static_cast<uint32_t>(p.c[kBlue]), static_cast<uint32_t>(p.c[kGreen]),
                                         static_cast<uint32_t>(p.c[kRed])});
            if (img.channels == 4) img.px.push_back(0);
            ++img.pixels;
        }
}

}  // namespace model
