#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Formatting and static checks of the C++ files, the scripts and the Node programs; called by
# ./test.sh --lint. Every tool runs, even if one before it has found something.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

status=0
sources=$(mktemp)
trap 'rm -f "$sources"' EXIT

# fails TITLE records that a tool has found something or couldn't run.
fails()
{
    echo "lint: $1 has failed" >&2
    status=1
}

# listed PATTERN... prints the tracked files that match, and fails if there is none.
listed()
{
    git ls-files -- "$@" | grep .
}

# each COMMAND... runs a command for every file named on its input, on all processors.
each()
{
    xargs -r -P "$(nproc)" -n 1 "$@"
}

echo "== clang-format"
listed '*.cpp' '*.h' | xargs clang-format --dry-run -Werror || fails clang-format

echo "== shellcheck"
listed '*.sh' .ci/run dev/analyse-shards dev/instructions dev/release packaging/debian/postinst |
    xargs shellcheck -x || fails shellcheck

echo "== node --check"
{
    listed '*.mjs'
    git grep -lI -e '^#!/usr/bin/env node' -- tools dev
} | each node --check || fails node

# What is suppressed, and why:
#   useStlAlgorithm         a loop of one line is as clear
#   shadowFunction          a local name may be that of a function; -Wshadow checks variables
#   clarifyCalculation      `set & bit ? a : b` is clear
#   constVariable           wrong about references to rows of constant tables
#   passedByValue           clang-tidy finds the same; its exceptions are marked in the code
#   unusedStructMember      in tests: wrong about members that are bound or printed
#   knownConditionTrueFalse in tests: an expectation is a condition that is known to hold
#   redundantAssignment     in tests: takes two random numbers for equal
echo "== cppcheck"
listed '*.cpp' > "$sources"
cppcheck --quiet --error-exitcode=1 --enable=warning,performance,portability,style \
    --inline-suppr --std=c++20 --language=c++ --library=googletest -j "$(nproc)" \
    -Isrc -Itests/unit --file-list="$sources" \
    --suppress=useStlAlgorithm --suppress=shadowFunction --suppress=clarifyCalculation \
    --suppress=constVariable --suppress=passedByValue \
    --suppress='unusedStructMember:tests/*' --suppress='knownConditionTrueFalse:tests/*' \
    --suppress='redundantAssignment:tests/*' || fails cppcheck

# The support for C++ in g++ 12 is incomplete: it takes the results of `new` and the memory of empty
# vectors for null pointers, and the bytes of empty strings for uninitialised ones, so those checks
# are off; the others (double free, use after free, leaks, open files) are on.
echo "== g++ -fanalyzer"
listed 'src/*.cpp' | each g++ -std=c++20 -O1 -Isrc -fanalyzer -Werror -S -o /dev/null \
    -fdiagnostics-path-format=none -Wno-analyzer-use-of-uninitialized-value \
    -Wno-analyzer-possible-null-argument -Wno-analyzer-possible-null-dereference \
    -Wno-analyzer-null-dereference || fails "g++ -fanalyzer"

# tidy FLAGS... checks the files named on its input with clang-tidy. Its output is shown only if it
# fails, because clang-tidy always counts suppressed warnings there.
tidy()
{
    # shellcheck disable=SC2016
    xargs -P "$(nproc)" -I {} bash -c \
        'said=$(clang-tidy --quiet "$0" -- "$@" 2>&1) || { echo "$said"; exit 1; }' \
        {} -std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Isrc "$@"
}

echo "== clang-tidy"
listed 'src/*.cpp' 'bench/*.cpp' 'tools/*.cpp' ':!tools/tune-mpi.cpp' 'tests/oracle/*.cpp' \
    'tests/fuzz/*.cpp' 'tests/unit/*.cpp' |
    tidy -Itests/unit '-DQUILLON_SOURCE_DIR="."' '-DQUILLON_FUZZ_TARGET="fen"' \
        '-DQUILLON_EVALUATION_FILE="evaluation.txt"' || fails clang-tidy
# texel.cpp has code of its own for tuning.
listed 'tests/tune/*.cpp' src/texel.cpp tools/tune-mpi.cpp |
    tidy -Itests/unit '-DQUILLON_SOURCE_DIR="."' -DQUILLON_TUNE \
        -isystem "$(mpicxx --showme:incdirs | cut -d' ' -f1)" || fails clang-tidy

[[ $status -ne 0 ]] || echo "lint: $(listed '*.cpp' '*.h' | wc -l) C++ files are clean"
exit $status
