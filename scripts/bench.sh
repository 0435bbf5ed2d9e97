#!/usr/bin/env bash
# Builds the benchmark suite of the linux preset and runs it against the memory floor
# and the peers (OpenCV, libdc1394; installed here when missing: they are
# benchmark-only dependencies). Prints the table of target ratios.
# Usage: scripts/bench.sh [extra Google Benchmark arguments, e.g. --benchmark_filter=demosaic]
# Environment: BENCH_REPETITIONS (default 5), BENCH_MIN_TIME (seconds, default 0.2).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh libopencv-dev libdc1394-dev python3

cmake --preset linux >/dev/null
cmake --build --preset linux --target korvimg_bench

out=build/linux/bench-results.json
build/linux/bin/korvimg_bench \
  --benchmark_repetitions="${BENCH_REPETITIONS:-5}" \
  --benchmark_min_time="${BENCH_MIN_TIME:-0.2}" \
  --benchmark_report_aggregates_only=true \
  --benchmark_out="$out" --benchmark_out_format=json "$@"
echo
echo "CPU: $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'), $(nproc) cores"
python3 bench/ratios.py "$out"
