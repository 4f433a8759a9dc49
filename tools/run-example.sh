#!/usr/bin/env bash
# Builds the component and kelhost, then runs an example script through them.
# Usage: tools/run-example.sh [SCRIPT [ARGS...]]   (default: examples/commands.py)
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=$here/build

"$here/tools/install-deps.sh"
cmake -S "$here" -B "$build" -G Ninja >/dev/null
cmake --build "$build" -j "$(nproc)" --target python kelhost
[ $# -gt 0 ] || set -- "$here/examples/commands.py" first second
exec "$build/kelhost" run "$@"
