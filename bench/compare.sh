#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Measures how much faster one commit is than another. Builds both in the same way and runs them in
# turn, so that other load on the machine affects both alike. For each measurement it prints the
# median and the quartiles of the pairs' ratios: above 1, HEAD is faster. Fails if the node
# signatures differ.
#   bench/compare.sh BASE HEAD [PAIRS]     two commits, 20 pairs by default
#   bench/compare.sh BASE . [PAIRS]        a commit and the working tree
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
pairs=${3:-20}
if [[ $# -lt 2 || $# -gt 3 || ! $pairs =~ ^[1-9][0-9]*$ ]]; then
    sed -n '8,9s/^# *//p' "$0" >&2
    exit 2
fi
export LC_ALL=C
work=$(mktemp -d)
trap 'rm -rf "$work"; git worktree prune' EXIT

# build COMMIT NAME: builds a commit in $work/NAME.
build()
{
    local tree=$PWD
    if [[ $1 != . ]]; then
        tree=$work/tree-$2
        git worktree add --quiet --detach "$tree" "$1"
    fi
    echo "building $1" >&2
    {
        cmake -S "$tree" -B "$work/$2" -DCMAKE_BUILD_TYPE=Release -DQUILLON_ARCH=native \
            -DCMAKE_CXX_FLAGS_RELEASE='-O3 -DNDEBUG' -DQUILLON_SIGNATURE=ON &&
            cmake --build "$work/$2" -j "$(nproc)" --target quillon quillon_signature
    } > "$work/$2.log" 2>&1 || { cat "$work/$2.log" >&2; exit 1; }
}

# Each measurement prints the processor time that the build in the folder $1 takes.
TIMEFORMAT='%U %S'
processor_time() { { time "$@" > /dev/null 2>&1; } 2>&1 | awk '{print $1 + $2}'; }
signature() { processor_time "$1/bench/quillon_signature" 13; }
perft()
{
    printf 'perft 6\nposition fen %s\nperft 5\nquit\n' \
        'r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1' > "$work/input"
    processor_time "$1/quillon" < "$work/input"
}

build "$1" base
build "$2" head
for name in base head; do
    nodes=$("$work/$name/bench/quillon_signature" | tail -n 1 | cut -d' ' -f1)
    echo "signature of $name: $nodes"
    if [[ -n ${first:-} && $first != "$nodes" ]]; then
        echo "compare.sh: the signatures differ" >&2
        exit 1
    fi
    first=$nodes
done
echo "measurement  median  (quartiles of $pairs pairs)"
for measurement in signature perft; do
    for ((i = 0; i < pairs; ++i)); do
        # The builds take turns in running first.
        order=(base head)
        ((i % 2)) || order=(head base)
        for name in "${order[@]}"; do echo "$name $($measurement "$work/$name")"; done |
            sort | awk '{time[NR] = $2} END {print time[1] / time[2]}'
    done | sort -n | awk -v name="$measurement" '
        {ratio[NR] = $1}
        # Interpolates between two ratios.
        function quantile(share,    place, i) {
            place = 1 + share * (NR - 1)
            i = int(place)
            return i == NR ? ratio[i] : ratio[i] + (place - i) * (ratio[i + 1] - ratio[i])
        }
        END {
            printf "%-12s %6.3f  (%.3f to %.3f)\n",
                name, quantile(0.5), quantile(0.25), quantile(0.75)
        }'
done
