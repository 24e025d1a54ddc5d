#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Speed against Debian's stockfish with its classical evaluation, as ratios in one run: perft 6 of
# the start position and perft 5 of a middlegame, and nodes per second of searches of three seconds,
# each pair interleaved.
# Usage: bench/peers.sh [rounds, default 5]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
rounds=${1:-5}
peer=/usr/games/stockfish
engine=build/release/quillon
[[ -x $peer ]] || { echo "peers.sh: please install the Debian package stockfish" >&2; exit 1; }
[[ -x $engine ]] || { echo "peers.sh: please build the preset release first" >&2; exit 1; }

start='startpos'
middle='fen r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1'

# nanoseconds COMMANDS PROGRAM: what a console takes for its commands, start-up included.
nanoseconds()
{
    local begin end
    begin=$(date +%s%N)
    printf '%b' "$1" | "$2" > /dev/null
    end=$(date +%s%N)
    echo $((end - begin))
}

# rate PROGRAM POSITION: nodes per second of a search of three seconds.
rate()
{
    { printf 'setoption name Hash value 256\nsetoption name Use NNUE value false\n'
      printf 'position %s\ngo movetime 3000\n' "$2"
      sleep 3.5
      echo quit
    } | "$1" | grep ' nodes ' | tail -n 1 |
        sed -E 's/.* nodes ([0-9]+).* time ([0-9]+).*/\1 \2/' | awk '{printf "%d", $1 * 1000 / $2}'
}

median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }

# Deep enough that the start-up, which is taken off, is small beside the count.
for job in "6 $start" "5 $middle"; do
    depth=${job%% *}
    position=${job#* }
    for ((i = 0; i < rounds; ++i)); do
        echo "$(nanoseconds "position $position\nperft $depth\nquit\n" "$engine")" \
            "$(nanoseconds 'quit\n' "$engine")" \
            "$(nanoseconds "position $position\ngo perft $depth\nquit\n" "$peer")" \
            "$(nanoseconds 'quit\n' "$peer")"
    done | awk '
        # The least of each is what other work has disturbed least.
        { for (i = 1; i <= 4; ++i) if (NR == 1 || $i < best[i]) best[i] = $i }
        END { print "perft, ratio to stockfish:", (best[3] - best[4]) / (best[1] - best[2]) }'
done
for position in "$start" "$middle"; do
    for ((i = 0; i < (rounds + 1) / 2; ++i)); do
        echo "$(rate "$engine" "$position") $(rate "$peer" "$position")" | awk '{print $1 / $2}'
    done | median | sed "s/^/nodes per second, ratio to stockfish: /"
done
