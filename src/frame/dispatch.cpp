// The dispatchers: choose a demosaic method and a Bayer pattern by code at run time
// and call the published per-method export, so that its own checks apply unchanged.
#include "korvimg.h"

namespace {

template <class S>
using Method = uint32_t(KORVIMG_CALL *)(const S *, int32_t, int32_t, S *);

// Refuses a method code above 7 first, then a pattern code above 3; otherwise calls
// the member and reports 1, whatever the member returned (its result says whether it
// accepted the sizes, the dispatcher's only whether the codes were valid).
template <class S>
uint32_t dispatch(const Method<S> (&members)[8][4], const S *source, int32_t width, int32_t height, uint32_t pattern,
                  uint32_t method, S *destination) {
    if (method > 7) return 0;
    if (pattern > 3) return 0;
    members[method][pattern](source, width, height, destination);
    return 1;
}

}  // namespace

// The members of one depth by method code and pattern code (rggb 0, grbg 1, gbrg 2,
// bggr 3). mono ignores the pattern: its one function per depth serves all four codes.
#define KORVIMG_BY_PATTERN(method, bits) \
    { &method##bits##rggb, &method##bits##grbg, &method##bits##gbrg, &method##bits##bggr }
#define KORVIMG_BY_METHOD(bits)                                                                     \
    {                                                                                               \
        {&mono##bits##bggr, &mono##bits##bggr, &mono##bits##bggr, &mono##bits##bggr},              \
            KORVIMG_BY_PATTERN(bayer, bits), KORVIMG_BY_PATTERN(nearest, bits),                     \
            KORVIMG_BY_PATTERN(simple, bits), KORVIMG_BY_PATTERN(bilinear, bits),                   \
            KORVIMG_BY_PATTERN(adaptive, bits), KORVIMG_BY_PATTERN(laplacian, bits),                \
            KORVIMG_BY_PATTERN(preview, bits)                                                       \
    }
#define KORVIMG_DEBAYER(bits, S)                                                                            \
    extern "C" KORVIMG_API uint32_t KORVIMG_CALL debayer##bits(const S *source, int32_t width, int32_t height, \
                                                               uint32_t pattern, uint32_t method,          \
                                                               S *destination) {                           \
        static const Method<S> members[8][4] = KORVIMG_BY_METHOD(bits);                                     \
        return dispatch(members, source, width, height, pattern, method, destination);                     \
    }

KORVIMG_DEBAYER(24, uint8_t)
KORVIMG_DEBAYER(32, uint8_t)
KORVIMG_DEBAYER(48, uint16_t)
KORVIMG_DEBAYER(64, uint16_t)
