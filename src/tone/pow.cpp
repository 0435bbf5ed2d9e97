// The power function of the brightness/contrast/gamma tables: pow in double precision
// from single-precision operands, rounded back to single precision, with a result that
// is the same on every platform.
//
// Two roundings make the float: exact x^e to the nearest double, that double to the
// nearest float. Only when x^e lies very close to a float rounding boundary can the
// last bit of the double matter; there a platform pow that is off by an ulp (and the
// C runtimes differ in exactly such cases) would give a different float. So the
// platform's pow is taken as an estimate, and when the estimate lies within 2^-40 of
// a float boundary (relative; far more than any C runtime's error) the double is
// recomputed with about 100 significant bits and rounded once.
#include <cfloat>
#include <cmath>

#include "tone/tone.h"

namespace korvimg {
namespace {

static_assert(FLT_EVAL_METHOD == 0, "float and double arithmetic must round to their own precision");

// ---- double-double arithmetic: a value is hi + lo with |lo| <= ulp(hi) / 2 ----------
struct DD {
    double hi, lo;
};

DD quick_two_sum(double a, double b) {  // |a| >= |b|
    const double s = a + b;
    return {s, b - (s - a)};
}

DD two_sum(double a, double b) {
    const double s = a + b;
    const double bb = s - a;
    return {s, (a - (s - bb)) + (b - bb)};
}

void split(double a, double &hi, double &lo) {
    const double t = 134217729.0 * a;  // 2^27 + 1
    hi = t - (t - a);
    lo = a - hi;
}

DD two_prod(double a, double b) {
    const double p = a * b;
    double ah, al, bh, bl;
    split(a, ah, al);
    split(b, bh, bl);
    return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

DD add(DD a, DD b) {
    DD s = two_sum(a.hi, b.hi);
    const DD t = two_sum(a.lo, b.lo);
    s.lo += t.hi;
    s = quick_two_sum(s.hi, s.lo);
    s.lo += t.lo;
    return quick_two_sum(s.hi, s.lo);
}

DD mul(DD a, DD b) {
    DD p = two_prod(a.hi, b.hi);
    p.lo += a.hi * b.lo + a.lo * b.hi;
    return quick_two_sum(p.hi, p.lo);
}

DD mul(DD a, double b) {
    DD p = two_prod(a.hi, b);
    p.lo += a.lo * b;
    return quick_two_sum(p.hi, p.lo);
}

DD div(DD a, double b) {
    const double q1 = a.hi / b;
    const DD p = two_prod(q1, b);
    DD r = two_sum(a.hi, -p.hi);
    r.lo -= p.lo;
    r.lo += a.lo;
    const double q2 = (r.hi + r.lo) / b;
    return quick_two_sum(q1, q2);
}

DD scale(DD a, double power_of_two) { return {a.hi * power_of_two, a.lo * power_of_two}; }

constexpr DD kLn2 = {0x1.62e42fefa39efp-1, 0x1.abc9e3b39803fp-56};
constexpr DD kOne = {1.0, 0.0};

// ln x = k ln 2 + 2 atanh((m - 1) / (m + 1)) with x = m 2^k, m in [sqrt(1/2), sqrt(2)).
// m - 1 and m + 1 are exact for an x of at most 24 significant bits, and |t| <= 0.1716,
// so 22 terms of the series take it below 2^-110.
DD log_dd(double x) {
    int k = 0;
    double m = std::frexp(x, &k);
    if (m < 0.70710678118654752) {
        m *= 2.0;
        k -= 1;
    }
    const DD t = div(DD{m - 1.0, 0.0}, m + 1.0);
    const DD t2 = mul(t, t);
    DD term = t, sum = t;
    for (int j = 1; j <= 22; ++j) {
        term = mul(term, t2);
        sum = add(sum, div(term, 2.0 * j + 1.0));
    }
    return add(mul(kLn2, static_cast<double>(k)), scale(sum, 2.0));
}

// e^z = 2^k e^r with r = z - k ln 2, |r| <= 0.35; e^r - 1 from ten Taylor terms at
// r / 256 and eight doublings e^(2a) - 1 = (e^a - 1)(e^a - 1 + 2).
DD exp_dd(DD z) {
    const double k = std::floor(z.hi / kLn2.hi + 0.5);
    const DD r = scale(add(z, mul(kLn2, -k)), 1.0 / 256.0);
    DD p = kOne;
    for (int j = 10; j >= 2; --j) p = add(kOne, div(mul(r, p), static_cast<double>(j)));
    DD s = mul(r, p);
    for (int d = 0; d < 8; ++d) s = mul(s, add(s, DD{2.0, 0.0}));
    const DD e = add(kOne, s);
    return {std::ldexp(e.hi, static_cast<int>(k)), std::ldexp(e.lo, static_cast<int>(k))};
}

}  // namespace

double pow_double_double(double x, double e) { return exp_dd(mul(log_dd(x), e)).hi; }

float pow_single(float x, float e) {
    const double estimate = std::pow(static_cast<double>(x), static_cast<double>(e));
    const float f = static_cast<float>(estimate);
    // The float rounding boundaries on either side of f (sums of neighbouring floats
    // and their halves are exact in double).
    const double above = (static_cast<double>(f) + static_cast<double>(std::nextafter(f, FLT_MAX))) / 2.0;
    const double below = (static_cast<double>(f) + static_cast<double>(std::nextafter(f, 0.0f))) / 2.0;
    const double band = estimate * 0x1p-40;
    if (above - estimate > band && estimate - below > band) return f;
    return static_cast<float>(pow_double_double(static_cast<double>(x), static_cast<double>(e)));
}

}  // namespace korvimg
