// A small embedded bitmap font (5 x 7 capitals, digits and a little punctuation) for
// labelling pictures the program draws; lower case is drawn as capitals.
#pragma once

#include <cstdint>
#include <string>

#include "image.h"

namespace kvcli {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;

// Pixels of the text drawn at `scale` (one glyph cell is 6 x 8 units with spacing).
inline int text_width(const std::string &text, int scale) {
    return static_cast<int>(text.size()) * (kGlyphWidth + 1) * scale;
}
// Draws text into an 8-bit RGB picture with its top-left corner at (x, y); parts that
// fall outside the picture are clipped. Unknown characters are drawn as blanks.
void draw_text(FilePixels &picture, int x, int y, const std::string &text, int scale, uint8_t red,
               uint8_t green, uint8_t blue);

}  // namespace kvcli
