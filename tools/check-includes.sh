#!/usr/bin/env bash
# Checks the include rules of README.md ("Layout"): no OS header outside
# platform/, host/ and the test, benchmark and fuzz programs, no Python.h
# outside script/, and no include that points up the layer list. Prints each
# offending line and fails when there is one.
set -euo pipefail
cd "$(dirname "$0")/.."

git ls-files '*.h' '*.cpp' | xargs grep -Hn '^[[:space:]]*#[[:space:]]*include' | awk '
BEGIN {
    # The layer list, bottom first; a folder may include its own headers and
    # those of lower layers. script/ and parameters/ share a rank and do not
    # include each other.
    n = split("platform kel core text memory persistence component script parameters", names, " ")
    split("0 1 2 3 4 5 6 7 7", ranks, " ")
    for (i = 1; i <= n; i++) rank[names[i]] = ranks[i]
    # The host uses the component only through include/kel and the foundation.
    split("platform kel core text memory persistence host", hostUses, " ")
    for (i in hostUses) hostMay[hostUses[i]] = 1
    # Kept on purpose: the entry names the script classes so that their static
    # registrations come first.
    allowed["component/componententry.cpp script/scriptinterpreterpython.h"] = 1
    # The host programs (kelhost, the examples) and the programs that test
    # and measure may call the OS themselves; the component and its foundation may not.
    split("platform host tests bench fuzz examples", osUsers, " ")
    for (i in osUsers) osAllowed[osUsers[i]] = 1
    bad = 0
}
function fail(why) {
    printf "%s:%s: %s\n    %s\n", file, lineNo, why, text
    bad = 1
}
{
    split($0, parts, ":")
    file = parts[1]; lineNo = parts[2]
    text = substr($0, length(file) + length(lineNo) + 3)
    folder = file; sub(/\/.*/, "", folder)
    if (file ~ /^include\/kel\//) folder = "kel"

    if (match(text, /<[^>]+>/)) {
        header = substr(text, RSTART + 1, RLENGTH - 2)
        if (header == "Python.h") {
            if (folder != "script") fail("Python.h outside script/")
        } else if (header ~ /\.h(pp)?$/ && !(folder in osAllowed) &&
                   header !~ /^(gtest|gmock|benchmark)\// && header != "emmintrin.h") {
            fail("an operating-system or library header outside platform/")
        }
        next
    }
    if (!match(text, /"[^"]+"/)) next
    target = substr(text, RSTART + 1, RLENGTH - 2)
    to = target; sub(/\/.*/, "", to)
    if ((file " " target) in allowed || to == folder) next
    if (folder == "host") {
        if (!(to in hostMay)) fail("host/ includes " to "/, which is not part of include/kel or the foundation")
    } else if (folder in rank) {
        if (!(to in rank) || rank[to] >= rank[folder]) fail("include points up the layer list (" folder " -> " to ")")
        else if (folder == "script" && to == "component") fail("script/ includes component/, closing a circle with the entry")
    }
}
END { exit bad }'
