#!/usr/bin/env python3
"""Prints the table of target ratios from a korvimg_bench JSON result (medians of
repetitions, CPU time). Usage: ratios.py results.json"""
import json
import sys

# (what, numerator, denominator or None for an absolute time in ms, target)
TARGETS = [
    ("bilinear24 / OpenCV BayerBG2BGR", "demosaic/bilinear24", "opencv/BayerBG2BGR/8", 0.70),
    ("bilinear24 / floor", "demosaic/bilinear24", "floor/demosaic24", 1.6),
    ("bilinear32 / OpenCV BayerBG2BGRA", "demosaic/bilinear32", "opencv/BayerBG2BGRA/8", 0.70),
    ("bilinear32 / floor", "demosaic/bilinear32", "floor/demosaic32", 1.6),
    ("bilinear48 / OpenCV BayerBG2BGR 16-bit", "demosaic/bilinear48", "opencv/BayerBG2BGR/16", 0.35),
    ("bilinear48 / floor", "demosaic/bilinear48", "floor/demosaic48", 1.6),
    ("bilinear64 / floor", "demosaic/bilinear64", "floor/demosaic64", 1.6),
    ("adaptive24 / OpenCV BayerBG2BGR_EA", "demosaic/adaptive24", "opencv/BayerBG2BGR_EA/8", 0.8),
    ("adaptive24 / libdc1394 EDGESENSE", "demosaic/adaptive24", "dc1394/EDGESENSE/8", 0.25),
    ("laplacian24 / OpenCV BayerBG2BGR_EA", "demosaic/laplacian24", "opencv/BayerBG2BGR_EA/8", 1.0),
    ("laplacian24 / libdc1394 HQLINEAR", "demosaic/laplacian24", "dc1394/HQLINEAR/8", 0.3),
    ("laplacian48 / OpenCV BayerBG2BGR_EA 16-bit", "demosaic/laplacian48", "opencv/BayerBG2BGR_EA/16", 0.5),
    ("preview24 / libdc1394 DOWNSAMPLE", "demosaic/preview24", "dc1394/DOWNSAMPLE/8", 0.8),
]
for m in ("mono", "bayer", "nearest", "simple"):
    for d in (24, 32, 48, 64):
        TARGETS.append((f"{m}{d} / floor", f"demosaic/{m}{d}", f"floor/demosaic{d}", 1.25))
TARGETS += [
    ("color_correction24 warm / floor", "colour/color_correction24/warm", "floor/colour24", 2.0),
    ("context init (ms)", "colour/context_init", None, 30.0),
]
# Single-pass operations against a memcpy of the bytes they read plus write.
for name, k in (("frame/add8", 9), ("frame/add16", 10), ("frame/add_sub8", 10), ("frame/add_sub16", 12),
                ("frame/avg8", 5), ("frame/avg16", 6),
                ("median/filter8/mosaic", 2), ("median/filter8/adjacent", 2),
                ("median/filter16/mosaic", 3), ("median/filter16/adjacent", 3),
                ("histogram/8", 1), ("histogram/12", 2), ("histogram/8rggb", 1), ("histogram/12rggb", 2),
                ("histogram/8_24", 3), ("histogram/8_32", 4), ("histogram/10_48", 6), ("histogram/12_48", 6),
                ("histogram/10_64", 8), ("histogram/12_64", 8)):
    TARGETS.append((f"{name} / floor", name, f"floor/traffic{k}N", 2.0))

UNIT_MS = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}


def medians(path):
    with open(path) as f:
        data = json.load(f)
    out = {}
    for b in data["benchmarks"]:
        if b.get("aggregate_name", "median") != "median":
            continue
        name = b.get("run_name", b["name"]).removesuffix("_median")
        out[name] = b["cpu_time"] * UNIT_MS[b.get("time_unit", "ns")]
    return data.get("context", {}), out


def main():
    context, med = medians(sys.argv[1])
    print(f"machine: {context.get('num_cpus', '?')} CPUs at {context.get('mhz_per_cpu', '?')} MHz; "
          f"medians of CPU time, {context.get('date', '')}")
    print()
    print("| target | measured | ms | peer/floor ms | target | met |")
    print("|---|---|---|---|---|---|")
    for what, num, den, target in TARGETS:
        if num not in med or (den is not None and den not in med):
            print(f"| {what} | not measured | | | {target} | |")
            continue
        if den is None:
            value = med[num]
            print(f"| {what} | {value:.2f} ms | {med[num]:.2f} | | ≤ {target} ms | {'yes' if value <= target else 'NO'} |")
        else:
            value = med[num] / med[den]
            print(f"| {what} | {value:.2f} | {med[num]:.2f} | {med[den]:.2f} | ≤ {target} | {'yes' if value <= target else 'NO'} |")
    print()
    print("All medians (ms):")
    for name in sorted(med):
        print(f"  {name:45s} {med[name]:10.3f}")


if __name__ == "__main__":
    main()
