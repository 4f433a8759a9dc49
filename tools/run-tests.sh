#!/usr/bin/env bash
# Builds and runs the whole test suite twice (a normal build and one with
# AddressSanitizer, UndefinedBehaviorSanitizer and the portable UTF-8 road),
# then runs each fuzz target for a few seconds. Usage: tools/run-tests.sh [build-root]
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
root=${1:-$here/build-ci}
jobs=$(nproc)

"$here/tools/install-deps.sh"

step() { printf '\n=== %s (%s)\n' "$1" "$(date +%T)"; }

step "include rules"
"$here/tools/check-includes.sh"

step "normal build"
cmake -S "$here" -B "$root/normal" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEL_BENCH=ON
cmake --build "$root/normal" -j "$jobs"
step "normal tests"
ctest --test-dir "$root/normal" --output-on-failure -j "$jobs"

step "integrator's kit"
# Installed and packaged from the normal build; no build of its own but the
# minimal host's.
"$here/tools/check-kit.sh" "$root/normal"

step "sanitizer build"
# This build also takes the UTF-8 codec's portable road, so both roads are tested.
cmake -S "$here" -B "$root/asan" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DKEL_SANITIZE=ON -DKEL_UTF8_SCALAR=ON
cmake --build "$root/asan" -j "$jobs"
step "sanitizer tests"
# The interpreter keeps its objects until the process ends; only its own
# allocations are excused from the leak check.
export LSAN_OPTIONS="suppressions=$here/tools/lsan.supp:print_suppressions=0"
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
ctest --test-dir "$root/asan" --output-on-failure -j "$jobs"

step "fuzz targets"
CC=clang CXX=clang++ cmake -S "$here" -B "$root/fuzz" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKEL_FUZZ=ON -DKEL_TESTS=OFF
# The whole configuration builds, as README documents it, not only the targets.
cmake --build "$root/fuzz" -j "$jobs"
fuzzers=$(cmake --build "$root/fuzz" --target help | sed -n 's/^\([a-z0-9_]*_fuzz\):.*/\1/p')
for f in $fuzzers; do
  corpus="$here/fuzz/corpus/${f%_fuzz}"
  work=$(mktemp -d)
  [ -d "$corpus" ] && cp -r "$corpus/." "$work/"
  "$root/fuzz/fuzz/$f" -max_total_time=10 -rss_limit_mb=2048 "$work"
  rm -rf "$work"
done
step "all passed"
