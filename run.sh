#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Installs what the build needs, builds the engine, and starts its console.
#   ./run.sh              the console; type "help" there
#   ./run.sh demo         the engine searches a middlegame position for three seconds
#   ./run.sh perft 5      a single command
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
if [[ ${1:-} == --help ]]; then
    sed -n 's/^#   //p' run.sh
    exit
fi
. dev/packages.sh

need_packages g++=g++ cmake=cmake make=make
mkdir -p build
log=build/release.log
if ! { cmake --preset release && cmake --build --preset release -j "$(nproc)" --target quillon; } \
    > "$log" 2>&1; then
    cat "$log" >&2
    echo "The build has failed; its output is above and in $log." >&2
    exit 1
fi
engine=build/release/quillon
[[ ${1:-} == demo ]] || exec "$engine" "$@"

position='fen r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13'
echo "Black to move; three seconds to think:"
coproc quillon { "$engine"; }
# shellcheck disable=SC2154 # coproc sets the array and the process id
printf '%s\n' "position $position" showboard 'go movetime 3000' >&"${quillon[1]}"
while IFS= read -r line <&"${quillon[0]}"; do
    echo "$line"
    [[ $line == bestmove* ]] && break
done
# shellcheck disable=SC2154
pid=$quillon_PID
echo quit >&"${quillon[1]}"
wait "$pid"
