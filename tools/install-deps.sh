#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks to build, test and run the
# project. Run as root; does nothing that is already there.
set -euo pipefail
packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev
  libpython3-dev python3
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev libreadline-dev
  libjemalloc-dev libmimalloc-dev
  dpkg-dev file lintian pkgconf
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  apt-get update
  DEBIAN_FRONTEND=noninteractive apt-get install -y "${missing[@]}"
fi
