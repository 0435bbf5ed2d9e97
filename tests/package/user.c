/* Uses the library as a C application would and checks what it gets back; exits 0
   only when every result is the expected one. */
#include <korvimg.h>
#include <stdio.h>
#include <string.h>
#if defined(__SSE__)
#  include <xmmintrin.h>
#endif

static int failures = 0;

static void expect(int ok, const char *what) {
    if (!ok) {
        fprintf(stderr, "korvimg_user: %s\n", what);
        ++failures;
    }
}

int main(void) {
#if defined(__SSE__)
    /* Loading the library left the floating-point modes alone: denormals are kept
       (flush-to-zero, bit 15, and denormals-are-zero, bit 6, both clear). */
    expect((_mm_getcsr() & 0x8040u) == 0, "loading the library set the flush-to-zero modes");
#endif

    /* Mono: every sample becomes a grey pixel; the pattern names are one function. */
    const uint8_t raw[4] = {10, 20, 30, 40};
    uint8_t grey[13], grey_alias[13];
    const uint8_t want_grey[12] = {10, 10, 10, 20, 20, 20, 30, 30, 30, 40, 40, 40};
    memset(grey, 0xA5, sizeof grey);
    memset(grey_alias, 0xA5, sizeof grey_alias);
    expect(mono24rggb(raw, 2, 2, grey) == 1, "mono24rggb did not return 1");
    expect(memcmp(grey, want_grey, 12) == 0, "mono24rggb wrote other pixels");
    expect(grey[12] == 0xA5, "mono24rggb wrote past its output");
    expect(mono24bggr(raw, 2, 2, grey_alias) == 1 && memcmp(grey, grey_alias, 13) == 0,
           "mono24bggr differs from mono24rggb");

    /* The dispatcher refuses a method code above 7 and leaves the output alone. */
    memset(grey, 0xA5, sizeof grey);
    expect(debayer24(raw, 2, 2, KORVIMG_RGGB, 8, grey) == 0, "debayer24 accepted method 8");
    expect(grey[0] == 0xA5, "debayer24 wrote after refusing");
    expect(debayer24(raw, 2, 2, KORVIMG_RGGB, KORVIMG_MONO, grey) == 1 && memcmp(grey, want_grey, 12) == 0,
           "debayer24 with the mono code differs from mono24rggb");

    /* Colour correction by matrix: red doubled, clamped at 255. */
    ColorCorrectionContext *context = color_correction_init();
    expect(context != NULL, "color_correction_init returned null");
    if (context != NULL) {
        double matrix[12] = {2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
        uint8_t pixels[6] = {5, 6, 100, 5, 6, 200}; /* blue, green, red */
        const uint8_t want_pixels[6] = {5, 6, 200, 5, 6, 255};
        expect(color_correction_setmatrix(context, matrix) == 1, "color_correction_setmatrix did not return 1");
        expect(color_correction_usematrix(context, 1) == 0, "color_correction_usematrix did not return 0");
        expect(color_correction24(context, pixels, 2, 1) == 1, "color_correction24 did not return 1");
        expect(memcmp(pixels, want_pixels, 6) == 0, "color_correction24 gave other colours");

        /* The hue/saturation/lightness round trip with the default values truncates:
           blue 68, green 32, red 130 loses one step of blue. */
        uint8_t pixel[3] = {68, 32, 130};
        expect(color_correction_usematrix(context, 0) == 0, "color_correction_usematrix did not return 0");
        expect(color_correction_set(context, 1, 0, 1, 0, 1, 0, 0, 1, 1, 0) == 1, "color_correction_set did not return 1");
        expect(color_correction24(context, pixel, 1, 1) == 1, "color_correction24 did not return 1");
        expect(pixel[0] == 67 && pixel[1] == 32 && pixel[2] == 130, "the default round trip gave another colour");
        expect(color_correction_done(context) == 1, "color_correction_done did not return 1");
    }

    if (failures == 0) printf("korvimg_user: all results as expected\n");
    return failures == 0 ? 0 : 1;
}
