// Shared pieces of the benchmark suite: the frame size, the test scene, buffers and
// the registration helpers.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

constexpr int32_t kWidth = 3840, kHeight = 2160;
constexpr size_t kPixels = static_cast<size_t>(kWidth) * kHeight;

// A synthetic scene: smooth gradients, sharp-edged shapes, a band of fine stripes
// and sensor noise. Raw frames are its rggb mosaic; colour images the scene itself.
struct Scene {
    std::vector<uint8_t> raw8;    // 8-bit samples
    std::vector<uint16_t> raw16;  // 12-bit samples in 16-bit words
    std::vector<uint8_t> bgr24, bgrx32;
    std::vector<uint16_t> bgr48, bgrx64;  // 12-bit values
};
const Scene &scene();

// A buffer whose pages have all been touched.
template <class T>
std::vector<T> buffer(size_t n) {
    return std::vector<T>(n, T(1));
}

// Runs `call` once to warm up, then as the timed loop; `bytes` is the traffic of one
// call (bytes read plus bytes written) for the throughput column.
template <class Call>
void loop(benchmark::State &st, double bytes, Call call) {
    call();
    for (auto _ : st) {
        call();
        benchmark::ClobberMemory();
    }
    if (bytes > 0) st.SetBytesProcessed(static_cast<int64_t>(static_cast<double>(st.iterations()) * bytes));
}

// The timed loop of a function that works in place: before every call (outside the
// timing) `work` gets a fresh copy of `original`.
template <class T, class Call>
void in_place_loop(benchmark::State &st, double bytes, const std::vector<T> &original, std::vector<T> &work,
                   Call call) {
    for (auto _ : st) {
        st.PauseTiming();
        std::copy(original.begin(), original.end(), work.begin());
        st.ResumeTiming();
        call();
        benchmark::ClobberMemory();
    }
    if (bytes > 0) st.SetBytesProcessed(static_cast<int64_t>(static_cast<double>(st.iterations()) * bytes));
}

template <class Body>
void add(const std::string &name, Body body, benchmark::TimeUnit unit = benchmark::kMillisecond) {
    benchmark::RegisterBenchmark(name.c_str(), body)->Unit(unit);
}

// The peers (peers.cpp): OpenCV and libdc1394 when the build found them.
void register_peers();

}  // namespace bench
