#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The tools that measure speed: what they do without peers and with wrong arguments, and the shares
# that the flame graph tells of samples written by hand. No speed is measured here.
set -euo pipefail
cd "$QUILLON_SOURCE_DIR"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# check TEXT COMMAND... fails the test when the command fails.
check()
{
    local text=$1
    shift
    "$@" || { echo "not so: $text"; status=1; }
}
# ends_with STATUS COMMAND... is only called by `check`.
# shellcheck disable=SC2317
ends_with()
{
    local expected=$1 got=0
    shift
    "$@" > "$work/output" 2>&1 || got=$?
    [[ $got -eq $expected ]]
}

check "without peers the comparison fails" \
    ends_with 1 env QUILLON_PEERS="$work" bench/peers.sh 1
for package in stockfish toga2 glaurung ethereal-chess; do
    check "a missing peer's package is named: $package" \
        grep -q "install the Debian package $package\$" "$work/output"
done
check "peers.sh wants a number of rounds" ends_with 2 bench/peers.sh many
check "compare.sh wants two commits" ends_with 2 bench/compare.sh HEAD
check "compare.sh wants a number of pairs" ends_with 2 bench/compare.sh HEAD HEAD none
check "threads.mjs wants a depth" ends_with 2 bench/threads.mjs deep
check "threads.mjs names an engine that isn't there" \
    ends_with 1 env QUILLON_ENGINE=/nowhere/engine bench/threads.mjs
grep -q '^threads.mjs: cannot start /nowhere/engine' "$work/output" || status=1
check "flame-graph.sh wants a depth" ends_with 2 dev/flame-graph.sh deep

# Eight samples, innermost call first. In the last two `walk` has called itself by way of `step`.
sample()
{
    printf '\t %s\n' "$@"
    echo
}
main='10 ns::main(int, char**) (/bin/true)'
for _ in 1 2 3; do sample '20 scan (/bin/true)' "$main"; done > "$work/samples"
{
    sample '30 look<1> (/bin/true)' '20 scan (/bin/true)' "$main"
    sample 'ffff page_fault ([kernel.kallsyms])' 'fffe entry ([kernel.kallsyms])' "$main"
    sample "$main" '7 outside (/lib/other.so)'
    for _ in 1 2; do
        sample '40 walk (/bin/true)' '50 step (/bin/true)' '40 walk (/bin/true)' "$main"
    done
} >> "$work/samples"
node dev/flame-graph.mjs /bin/true "$work/flame.svg" < "$work/samples" > "$work/table"
cat > "$work/expected" <<'END'
| `scan` | other | 37.5 % | 50.0 % |
| `walk` | other | 25.0 % | 25.0 % |
| `look` | other | 12.5 % | 12.5 % |
| `kernel` | system | 12.5 % | 12.5 % |
| `ns::main` | other | 12.5 % | 100.0 % |
END
check "the table tells the shares" \
    diff <(grep '^| `' "$work/table" | sort) <(sort "$work/expected")
check "shares are added up by file" \
    grep -qx 'By file: other 87.5 %, system 12.5 %.' "$work/table"
# 1180 wide for all, half a unit between neighbours.
for box in 'ns::main: 100.0 %|1179.5' 'scan: 50.0 %|589.5' 'walk: 25.0 %|294.5' \
    'look: 12.5 %|147.0'; do
    check "the picture has a box $box" grep -qE \
        "<title>${box%|*}</title><rect x=\"[0-9.]+\" y=\"[0-9]+\" width=\"${box#*|}\"" \
        "$work/flame.svg"
done
check "a call within a recursion is not drawn" ends_with 1 grep -q 'step' "$work/flame.svg"
check "samples of another program are refused" \
    ends_with 1 node dev/flame-graph.mjs /bin/true "$work/flame.svg" <<< ''
exit $status
