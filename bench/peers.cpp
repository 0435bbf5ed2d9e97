// The peers a user would pick instead: OpenCV's cvtColor Bayer conversions (one
// thread) and libdc1394's eight Bayer methods, on the same rggb frames.
#include "bench.h"

#ifdef KORVIMG_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#endif
#ifdef KORVIMG_BENCH_DC1394
#include <dc1394/conversions.h>
#endif

namespace bench {
namespace {

#ifdef KORVIMG_BENCH_OPENCV
// OpenCV names a Bayer pattern by two samples of its second row: rggb is "BG".
void opencv(const std::string &name, int code, bool wide, int channels) {
    add("opencv/" + name + (wide ? "/16" : "/8"), [code, wide, channels](benchmark::State &st) {
        cv::setNumThreads(1);
        const int depth = wide ? CV_16U : CV_8U;
        void *raw = wide ? static_cast<void *>(const_cast<uint16_t *>(scene().raw16.data()))
                         : static_cast<void *>(const_cast<uint8_t *>(scene().raw8.data()));
        const cv::Mat source(kHeight, kWidth, CV_MAKETYPE(depth, 1), raw);
        cv::Mat out(kHeight, kWidth, CV_MAKETYPE(depth, channels), cv::Scalar::all(1));
        const double sample = wide ? 2 : 1;
        loop(st, sample * static_cast<double>(kPixels) * (1 + channels), [&] { cv::cvtColor(source, out, code); });
    });
}
#endif

#ifdef KORVIMG_BENCH_DC1394
const char *const kDcMethods[8] = {"NEAREST", "SIMPLE", "BILINEAR", "HQLINEAR", "DOWNSAMPLE", "EDGESENSE", "VNG", "AHD"};

void dc1394(int method, bool wide) {
    add(std::string("dc1394/") + kDcMethods[method] + (wide ? "/16" : "/8"), [method, wide](benchmark::State &st) {
        const auto m = static_cast<dc1394bayer_method_t>(DC1394_BAYER_METHOD_MIN + method);
        const double out_pixels = m == DC1394_BAYER_METHOD_DOWNSAMPLE ? kPixels / 4.0 : kPixels;
        const double sample = wide ? 2 : 1;
        if (wide) {
            auto out = buffer<uint16_t>(kPixels * 3);
            loop(st, sample * (kPixels + out_pixels * 3), [&] {
                dc1394_bayer_decoding_16bit(scene().raw16.data(), out.data(), kWidth, kHeight,
                                            DC1394_COLOR_FILTER_RGGB, m, 12);
            });
        } else {
            auto out = buffer<uint8_t>(kPixels * 3);
            loop(st, sample * (kPixels + out_pixels * 3), [&] {
                dc1394_bayer_decoding_8bit(scene().raw8.data(), out.data(), kWidth, kHeight,
                                           DC1394_COLOR_FILTER_RGGB, m);
            });
        }
    });
}
#endif

}  // namespace

void register_peers() {
#ifdef KORVIMG_BENCH_OPENCV
    for (bool wide : {false, true}) {
        opencv("BayerBG2BGR", cv::COLOR_BayerBG2BGR, wide, 3);
        opencv("BayerBG2BGRA", cv::COLOR_BayerBG2BGRA, wide, 4);
        opencv("BayerBG2BGR_EA", cv::COLOR_BayerBG2BGR_EA, wide, 3);
    }
    // OpenCV's VNG takes 8-bit frames only.
    opencv("BayerBG2BGR_VNG", cv::COLOR_BayerBG2BGR_VNG, false, 3);
#endif
#ifdef KORVIMG_BENCH_DC1394
    for (bool wide : {false, true})
        for (int m = 0; m < 8; ++m) dc1394(m, wide);
#endif
}

}  // namespace bench
