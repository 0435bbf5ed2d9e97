#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "image.h"

namespace kvcli {

bool is_pgm(const uint8_t *head, size_t size);
// A P5 greymap as a raw frame: 8 bits for a maximum value up to 255, else 10, 12 or
// 16 by the maximum value, the samples scaled so that the maximum value is the top of
// that range; or bits_override (0: none) when given, the samples then as they stand.
RawFrame read_pgm(const std::string &path, int bits_override);

}  // namespace kvcli
