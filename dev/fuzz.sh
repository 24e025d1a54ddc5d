#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Fuzzes for longer than ./test.sh does.
#   dev/fuzz.sh MINUTES [TARGET...]     that long for each target; all targets if none is named
# Inputs that reach new code are kept in build/fuzz/found/TARGET, where the next run starts.
# A finding is kept as build/fuzz/found/TARGET-crash-..., and the run goes on with the next target.
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
    # Whole paths, because a fuzzer works in a folder of its own.
    found=$PWD/build/fuzz/found/$target
    mkdir -p "$found"
    seeds=("$PWD/tests/fuzz/corpus/$target")
    [[ ! -d tests/fuzz/regressions/$target ]] || seeds+=("$PWD/tests/fuzz/regressions/$target")
    echo "== $target, log in build/fuzz/found/$target.log"
    ASAN_OPTIONS=allocator_may_return_null=1 "build/fuzz/tests/fuzz/quillon_fuzz_$target" \
        -max_total_time=$((minutes * 60)) -max_len=2048 -timeout=120 -rss_limit_mb=2560 \
        -dict=tests/fuzz/words.dict -artifact_prefix="$found-" "$found" "${seeds[@]}" \
        > "$found.log" 2>&1 || status=1
    grep -E "broken:|ERROR:|runtime error" "$found.log" || true
    grep "DONE" "$found.log" | tail -n 1 || true
done
exit $status
