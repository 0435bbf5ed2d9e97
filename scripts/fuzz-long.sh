#!/usr/bin/env bash
# The long fuzzing run: builds the fuzz preset and runs every harness for a given
# number of executions (default 1000000) over its seed corpus, new inputs going to
# build/fuzz/corpus. Usage: scripts/fuzz-long.sh [executions] [harness ...]
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
runs="${1:-1000000}"
shift || true
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
harnesses=("$@")
if [ ${#harnesses[@]} -eq 0 ]; then
  for f in build/fuzz/bin/fuzz_*; do harnesses+=("$(basename "$f" | sed 's/^fuzz_//')"); done
fi
for h in "${harnesses[@]}"; do
  mkdir -p "build/fuzz/corpus/$h" "build/fuzz/artifacts/$h"
  echo "=== fuzz_$h: $runs executions"
  log="build/fuzz/artifacts/$h/last-run.log"
  status=0
  "build/fuzz/bin/fuzz_$h" -runs="$runs" -rss_limit_mb=4096 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/artifacts/$h/" "build/fuzz/corpus/$h" "fuzz/corpus/$h" >"$log" 2>&1 || status=$?
  grep -E '^(stat::|Done |SUMMARY|==[0-9]+==ERROR)' "$log" || true
  if [ "$status" -ne 0 ]; then
    echo "fuzz_$h FAILED (exit $status), see $log" >&2
    exit 1
  fi
done
