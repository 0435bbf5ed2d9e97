#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "image.h"

namespace kvcli {

bool is_png(const uint8_t *head, size_t size);
// Any PNG as grey, grey+alpha, RGB or RGBA samples of 8 or 16 bits (palettes and
// low bit depths expanded); `significant` from the sBIT chunk when there is one.
FilePixels read_png(const std::string &path);

}  // namespace kvcli
