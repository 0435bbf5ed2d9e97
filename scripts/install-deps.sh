#!/usr/bin/env bash
# Installs the Debian packages the build needs, when any is missing. Idempotent and
# quick when everything is present. Usage: scripts/install-deps.sh [extra packages]
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  googletest libgtest-dev libbenchmark-dev
  g++-multilib qemu-user
  g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix binutils-mingw-w64-i686
  wine64
  libpng-dev libtiff-dev libcfitsio-dev
  clang libclang-rt-14-dev valgrind
  "$@"
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi
echo "installing: ${missing[*]}" >&2
if [ "$(id -u)" -ne 0 ]; then
  echo "error: these Debian packages are missing and installing them needs root: ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
