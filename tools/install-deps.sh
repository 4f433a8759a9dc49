#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build, test and run the
# project. Run as root; does nothing that is already there.
set -euo pipefail
packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev
  libpython3-dev python3 python3-venv
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev libreadline-dev
  libjemalloc-dev libmimalloc-dev
  dpkg-dev file lintian pkgconf
)
# The Windows cross-build and Wine, which runs its tests without a display:
# Wine's recommended desktop libraries (graphics, sound, fonts) are not needed.
lean_packages=(g++-mingw-w64-x86-64-posix googletest wine64)
missing() {
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || echo "$p"
  done
}
mapfile -t missing_packages < <(missing "${packages[@]}")
mapfile -t missing_lean < <(missing "${lean_packages[@]}")
if [ ${#missing_packages[@]} -gt 0 ] || [ ${#missing_lean[@]} -gt 0 ]; then
  apt-get update
  if [ ${#missing_packages[@]} -gt 0 ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing_packages[@]}"
  fi
  if [ ${#missing_lean[@]} -gt 0 ]; then
    DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing_lean[@]}"
  fi
fi
