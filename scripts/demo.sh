#!/usr/bin/env bash
# Builds the korvimg program and runs its demo: a generated test chart is mosaicked
# and every demosaic method's picture is written to demo-output/.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset linux >/dev/null
cmake --build --preset linux --target korvimg-cli
build/linux/bin/korvimg demo -o demo-output "$@"
