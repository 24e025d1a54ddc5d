#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Fuzzes for longer than ./test.sh does.
#   dev/fuzz.sh MINUTES [TARGET...]     each target, or all, for that much processor time
# Inputs that reach new code gather in build/fuzz/found/TARGET and are the start of the next run.
# A finding stays as build/fuzz/found/TARGET-crash-..., and the run goes on with the next target.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. dev/packages.sh
if [[ ! ${1:-} =~ ^[1-9][0-9]*$ ]]; then
    sed -n '4,5s/^# *//p' "$0" >&2
    exit 2
fi
minutes=$1
shift
targets=("$@")
[[ $# -gt 0 ]] || targets=(fen moves console perft_file training table_word)

need_packages clang++=clang cmake=cmake make=make
cmake --preset fuzz > /dev/null
cmake --build --preset fuzz -j "$(nproc)" > /dev/null
status=0
for target in "${targets[@]}"; do
    found=$PWD/build/fuzz/found/$target
    mkdir -p "$found"
    seeds=("$PWD/tests/fuzz/corpus/$target")
    [[ ! -d tests/fuzz/regressions/$target ]] || seeds+=("$PWD/tests/fuzz/regressions/$target")
    echo "== $target, log in $found.log"
    : > "$found.log"
    executions=0
    seconds=0
    # A target that waits, for a search or for another run beside it, uses less processor time than
    # has passed: rounds of at most a minute, until they sum up.
    while ((seconds < minutes * 60)); do
        rest=$((minutes * 60 - seconds))
        round=0
        TIMEFORMAT='processor time %0U %0S'
        { time \
            ASAN_OPTIONS=allocator_may_return_null=1 "build/fuzz/tests/fuzz/quillon_fuzz_$target" \
                -max_total_time=$((rest < 60 ? rest : 60)) -max_len=2048 -timeout=120 \
                -rss_limit_mb=2560 -dict="$PWD/tests/fuzz/words.dict" \
                -artifact_prefix="$found-" -print_final_stats=1 \
                "$found" "${seeds[@]}" >> "$found.log" 2>&1 || round=1
        } 2> "$found.time"
        read -r _ _ user system < "$found.time"
        seconds=$((seconds + user + system))
        ran=$(sed -n 's/^stat::number_of_executed_units: *//p' "$found.log" | tail -n 1)
        executions=$((executions + ${ran:-0}))
        if ((round != 0 || user + system == 0)); then
            status=1
            break
        fi
    done
    grep -E "broken:|ERROR:|runtime error" "$found.log" || true
    grep "DONE" "$found.log" | tail -n 1 || true
    echo "   $executions executions in $seconds s of processor time"
done
exit $status
