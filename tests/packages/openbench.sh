#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# What a worker of OpenBench does with a fresh tree: it builds the engine with a compiler and make
# alone, and reads nodes and speed from the last line of the bench.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
need clang++ clang
need make make

tree="$work/fresh tree"
mkdir "$tree" "$work/bin"
git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t "$tree"
for program in make g++ clang++ as ld echo uname; do
    ln -s "$(command -v "$program")" "$work/bin"
done
signature=$(sed -n 's/^depth 15: //p' bench/signature.txt)

cd "$tree"
for compiler in g++ clang++; do
    quietly env PATH="$work/bin" "$work/bin/make" -j EXE="engine $compiler" CXX="$compiler"
    check "$compiler optimises across files" grep -q -- "^$compiler .* -flto=auto " "$work/log"
    line=$("./engine $compiler" bench | tail -n 1)
    check "the last line of the bench: $line" holds "$line" '^[0-9]* nodes [1-9][0-9]* nps$'
    same "$compiler: nodes of the bench" "$signature" "${line%% *}"
    rtest "$compiler" "$PWD/engine $compiler"
done
exit "$status"
