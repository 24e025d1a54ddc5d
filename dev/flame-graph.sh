#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Records where the time of the signature's searches goes, and draws it: docs/flame.svg, and a
# table of shares on the output. The profile is of the release build with debug information and
# frame pointers, which cost it a few per cent.
#   dev/flame-graph.sh [DEPTH] [SVG]     depth 14 and docs/flame.svg unless told otherwise
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
depth=${1:-14}
picture=${2:-docs/flame.svg}
if [[ $# -gt 2 || ! $depth =~ ^[1-9][0-9]*$ ]]; then
    sed -n '7s/^# *//p' "$0" >&2
    exit 2
fi
for need in perf=linux-perf addr2line=binutils node=nodejs; do
    command -v "${need%%=*}" > /dev/null ||
        { echo "flame-graph.sh: please install the Debian package ${need#*=}" >&2; exit 1; }
done

program=build/profile/bench/quillon_signature
mkdir -p build
{
    cmake -S . -B build/profile -DCMAKE_BUILD_TYPE=Release -DQUILLON_ARCH=native \
        -DCMAKE_CXX_FLAGS_RELEASE='-O3 -DNDEBUG -g -fno-omit-frame-pointer' -DQUILLON_BENCH=ON &&
        cmake --build build/profile -j "$(nproc)" --target quillon_signature
} > build/profile.log 2>&1 || { cat build/profile.log >&2; exit 1; }

record=$(mktemp)
trap 'rm -f "$record"' EXIT
# A virtual machine may have no counter of cycles; the clock of the processor time always works.
perf record --quiet -e cpu-clock -F 1999 --call-graph fp -o "$record" \
    "$program" "$depth" > /dev/null
perf script -i "$record" --no-inline -F ip,sym,dso |
    node dev/flame-graph.mjs "$program" "$picture"
