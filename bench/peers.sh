#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Speed against other engines out of Debian packages, as a table of ratios; what each row means
# stands in bench/peers.mjs. A peer that isn't installed gets a line with its package's name, and
# the others are measured; without any there is nothing to compare with, and the script fails.
#   bench/peers.sh [ROUNDS]                5 rounds unless told otherwise, a minute each
# QUILLON_ENGINE is the engine measured, QUILLON_PEERS the folder of the others.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
rounds=${1:-5}
if [[ $# -gt 1 || ! $rounds =~ ^[1-9][0-9]*$ ]]; then
    sed -n '7,8s/^# *//p' "$0" >&2
    exit 2
fi
folder=${QUILLON_PEERS:-/usr/games}
engine=${QUILLON_ENGINE:-build/release/quillon}
[[ -x $engine ]] || { echo "peers.sh: please build the preset release first" >&2; exit 1; }
command -v node > /dev/null ||
    { echo "peers.sh: please install the Debian package nodejs" >&2; exit 1; }

found=()
for package in stockfish toga2 glaurung ethereal-chess; do
    # Each program has the name of its package.
    if [[ -x $folder/$package ]]; then
        found+=("$folder/$package")
    else
        echo "peers.sh: left out, please install the Debian package $package" >&2
    fi
done
[[ ${#found[@]} -gt 0 ]] || { echo "peers.sh: no other engine is there" >&2; exit 1; }
exec node bench/peers.mjs "$rounds" "$engine" "${found[@]}"
