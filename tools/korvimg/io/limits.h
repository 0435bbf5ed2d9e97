// Sizes the readers accept: anything larger is taken for a header that lies.
#pragma once

#include <cstdint>

namespace kvcli {

constexpr int64_t kMaxSide = 65536;             // samples per row or rows per frame
constexpr int64_t kMaxFrameSamples = 1LL << 28;  // samples per frame (512 MiB of 16-bit words)

// True when width x height is a frame the program will handle.
inline bool plausible_size(int64_t width, int64_t height) {
    return width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide &&
           width * height <= kMaxFrameSamples;
}

}  // namespace kvcli
