#!/usr/bin/env bash
# Builds and tests korvimg on every target: linux (with valgrind memcheck), sanitize
# (ASan + UBSan), clang (the library, program and tests built with clang), tsan (the
# concurrency test under ThreadSanitizer), fuzz (a short run of every libFuzzer
# harness), linux32, win32 (export-table check of the stdcall DLL) and win64 (the suite
# under wine64).
# Usage: scripts/test-all.sh [preset ...]   (default: all eight)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux sanitize clang tsan fuzz linux32 win32 win64)

export WINEDEBUG=-all
export WINEPREFIX="${WINEPREFIX:-$HOME/.wine-korvimg}"
failed=()
for p in "${presets[@]}"; do
  echo "=== $p"
  if ! cmake --workflow --preset "$p"; then
    failed+=("$p")
  fi
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "FAILED presets: ${failed[*]}" >&2
  exit 1
fi
echo "all presets passed: ${presets[*]}"
