// The steps from a raw frame to a picture, each one library call (or a family of
// them chosen by depth and pattern).
#pragma once

#include <array>
#include <string>
#include <cstdint>
#include <vector>

#include "image.h"
#include "korvimg.h"

namespace kvcli {

struct Settings {
    int method = KORVIMG_BILINEAR;
    int pattern = KORVIMG_RGGB;
    bool pattern_guessed = false;  // the file names no pattern and none was given
    int out_bits = 8;    // 8 or 16 bits per output channel
    bool alpha = false;  // four-channel output (formats 32 and 64)
    int median = -1;     // -1 off; 1 same-colour neighbours (mosaic); 0 adjacent ones
    bool white_balance = false;
    bool white_balance_auto = false;
    double red_gain = 1, blue_gain = 1;
    bool bcg = false;
    int brightness = 0, contrast = 0, gamma = 0;
    bool reduce_best = false;  // deeper samples to 8 bits by a table fitted to the histogram
    bool hsl = false;
    std::array<double, 4> hsl_values{0, 1, 1, 0};
    bool matrix = false;
    std::array<double, 12> matrix_values{};
    bool colour_correction() const { return hsl || matrix; }
    // Grey pictures (one channel, two with alpha): mono, unless colour correction makes
    // the grey pixels coloured.
    bool grey_output() const { return method == KORVIMG_MONO && !colour_correction(); }
    // Channels of the pictures written: grey or R, G, B, then alpha when asked for.
    int file_channels() const { return (grey_output() ? 1 : 3) + (alpha ? 1 : 0); }
};

// Row spike filter in place, every sample of every row (median_filter8; median_filter16
// on the rows and on their mirror image, as it writes back half of each row).
void median_filter(RawFrame &frame, int mosaic);
// Grey-world gains of a raw frame (white_balance8* or white_balance10/12*; 16-bit
// samples are measured by the same function, which takes the words as they stand).
// A gain the library cannot estimate (-1: no signal at its sites) is returned as 1;
// the result names the channel that lacked signal: "", "red", "blue", "red and blue",
// or "green" (both gains are 1 then).
std::string measure_white_balance(const RawFrame &frame, int pattern, double &red_gain, double &blue_gain);
// Multiplies the red and blue photosites by their gains, rounding to nearest and
// limiting to the sample range.
void apply_gains(RawFrame &frame, int pattern, double red_gain, double blue_gain);
// Tone table and depth: brightness/contrast/gamma (create_BCG_LUT*), and for deeper
// samples written at 8 bits the reduction (convert_frame10to8 / 12to8, or a best
// table from the frame's histogram, or the BCG table that maps to 8 bits directly).
// 16-bit samples are reduced by dropping their low byte (the library has no 16-bit
// tables). Tables are applied to `frame` in place; a reduction is written into
// `reduced`. Returns the frame the demosaic step reads: `frame` or `reduced`.
const RawFrame &tone_and_depth(RawFrame &frame, const Settings &s, RawFrame &reduced);
// The demosaic step into `image`: output format 24/32 for 8-bit output, 48/64 for
// 16-bit; 8-bit samples are widened to words (in `widened`) for a 16-bit output. The
// frame's size must suit the method (see minimum_size).
void demosaic_frame(const RawFrame &frame, const Settings &s, ColourImage &image, std::vector<uint16_t> &widened);

// A colour-correction context set up from the settings (HSL or matrix model), for
// one thread at a time.
class Correction {
  public:
    explicit Correction(const Settings &s);
    ~Correction();
    Correction(const Correction &) = delete;
    Correction &operator=(const Correction &) = delete;
    void apply(ColourImage &image);  // color_correction24 / color_correction32

  private:
    ColorCorrectionContext *context_ = nullptr;
};

// The buffers of one worker, kept from frame to frame: a sequence then reuses the
// same memory for every frame instead of asking the system for fresh pages (and
// having them faulted in and cleared) each time, which took more time than the
// library's own work.
struct Workspace {
    RawFrame frame;    // as read, then white-balanced and toned in place
    RawFrame reduced;  // deeper samples reduced to 8 bits
    std::vector<uint16_t> widened;
    ColourImage image;
    FilePixels pixels;
};

// The whole way from the raw frame in `work.frame` to the picture in `work.pixels`,
// colour correction included (when `correction` is not null). `work.frame` is
// changed on the way.
void process_frame(Workspace &work, const Settings &s, Correction *correction);

// Accumulates frames (frame_add8 / frame_add16) into a caller-cleared accumulator,
// and averages (frame_avg8 / frame_avg16, truncating) into `out`, which the caller
// has allocated in the frames' shape.
void accumulate(std::vector<uint32_t> &accumulator, const RawFrame &frame);
void average(const std::vector<uint32_t> &accumulator, uint32_t frames, RawFrame &out);

}  // namespace kvcli
