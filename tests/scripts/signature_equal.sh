#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The node signature is the same from every compiler and set of flags, and from run to run.
# Compares all builds beside this one; a missing debug build is a failure.
set -euo pipefail
builds=$(dirname "$QUILLON_BUILD_DIR")
[[ -x $builds/debug/bench/quillon_signature ]] || { echo "no debug build beside this one"; exit 1; }

expected=$("$QUILLON_SIGNATURE" | tail -n 1)
echo "$(basename "$QUILLON_BUILD_DIR"): $expected"
[[ $expected =~ ^[0-9]+\ nodes\ [0-9]+\ nps$ ]] || exit 1
status=0
for preset in release debug portable clang asan; do
    program=$builds/$preset/bench/quillon_signature
    [[ -x $program ]] || continue
    line=$("$program" | tail -n 1)
    echo "$preset: $line"
    [[ ${line%% *} == "${expected%% *}" ]] || status=1
done
exit $status
