#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Formatting and static checks of the C++ files; called by ./test.sh --lint.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

mapfile -t files < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run -Werror "${files[@]}"
cmake --preset debug -DQUILLON_TESTS=OFF -DQUILLON_BENCH=OFF -B build/lint \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON > /dev/null
mapfile -t sources < <(git ls-files 'src/*.cpp')
printf '%s\n' "${sources[@]}" |
    xargs -P "$(nproc)" -n 1 clang-tidy -p build/lint --quiet --warnings-as-errors='*' 2> /dev/null
echo "lint: ${#files[@]} files formatted, ${#sources[@]} checked"
