#!/usr/bin/env bash
# Checks the integrator's kit made from a finished build: installs it into a
# temporary prefix and moves it elsewhere (the kit must be relocatable),
# builds and runs examples/minimal-host against the moved tree, runs the
# installed kelhost and the runnable examples of docs/, then builds the
# Debian packages, checks them with lintian and runs kelhost unpacked from
# them. Usage: tools/check-kit.sh BUILD-DIR
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "--- install, then move the installed tree"
cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$work/kit"
kit=$work/kit
# No installed text, link path or string names the build tree or the first prefix.
stale=$(grep -rlI -e "$build" -e "$work/first" -e "$here" "$kit" || true)
for binary in "$kit/bin/kelhost" "$kit/lib/kel/python.so"; do
  readelf -d "$binary" | grep -q -E 'RPATH|RUNPATH' && stale+=" $binary(rpath)"
done
[ -z "$stale" ] || { echo "installed files name the build tree or the prefix: $stale"; exit 1; }

echo "--- examples/minimal-host against the kit"
cp -r "$here/examples/minimal-host" "$work/minimal-host"
cmake -S "$work/minimal-host" -B "$work/minimal-host/build" -G Ninja -DCMAKE_PREFIX_PATH="$kit" >/dev/null
cmake --build "$work/minimal-host/build" >/dev/null
"$work/minimal-host/build/minimal-host" "$work/minimal-host/hello.py" | tee "$work/minimal.out"
grep -q '^Hello, world$' "$work/minimal.out"
grep -q 'status -1, no message' "$work/minimal.out"
grep -q 'ValueError: from a text' "$work/minimal.out"

echo "--- the installed kelhost"
"$kit/bin/kelhost" run "$here/examples/commands.py" kit

echo "--- the runnable examples of docs/"
python3 "$here/tools/check-docs.py" "$kit" "$here"/docs/*.md

echo "--- Debian packages"
(cd "$work" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/debs" >/dev/null)
ls "$work"/debs/*.deb
for deb in "$work"/debs/*.deb; do
  dpkg-deb -f "$deb" Package Version Depends
  lintian --fail-on error --no-tag-display-limit "$deb"
  dpkg -x "$deb" "$work/root"
done
"$work/root/usr/bin/kelhost" run "$here/examples/commands.py" packaged
