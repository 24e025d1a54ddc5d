#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Every compiler and set of flags gives the node signature of bench/signature.txt. Runs this build
# and its siblings; there must be a debug build.
set -euo pipefail
builds=$(dirname "$QUILLON_BUILD_DIR")
[[ -x $builds/debug/bench/quillon_signature ]] || { echo "there is no debug build"; exit 1; }

expected=$(sed -n 's/^depth 15: //p' "$QUILLON_SOURCE_DIR/bench/signature.txt")
status=0
own=$(basename "$QUILLON_BUILD_DIR")
for preset in $(printf '%s\n' "$own" release debug portable clang asan | sort -u); do
    program=$builds/$preset/bench/quillon_signature
    [[ -x $program ]] || continue
    line=$("$program" | tail -n 1)
    echo "$preset: $line"
    [[ ${line%% *} == "$expected" ]] || status=1
done
exit $status
