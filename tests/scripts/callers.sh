#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# docs/architecture.md lists the functions without a caller: those that the linker drops from an
# unoptimised engine. The linker keeps virtual functions such as searchRootOld.
set -euo pipefail
cd "$QUILLON_SOURCE_DIR"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# shellcheck disable=SC2016 # the inner shell expands it
printf '%s\n' src/*.cpp | xargs -P 2 -I {} sh -c \
    '"$1" -std=c++20 -O0 -w -ffunction-sections -c "$2" -o "$3/$(basename "$2").o"' \
    sh "${CXX:-c++}" {} "$work"
"${CXX:-c++}" -pthread -Wl,--gc-sections -Wl,--print-gc-sections "$work"/*.o -o "$work/engine" \
    2> "$work/dropped"

# Only plain names: no members, templates, lambdas, file-local helpers or inline functions.
{
    echo searchRootOld
    grep -o '\.text\._Z[^]['\'']*'\''' "$work/dropped" | sed "s/'//; s/^\.text\.//" | c++filt -p |
        sed 's/\[abi:cxx11\]//' | grep -x '[A-Za-z]*'
} | sort -u > "$work/real"
# shellcheck disable=SC2016 # these are Markdown's quotes
sed -n '/^## Code without a caller/,/^## Glossary/{s/^- `[A-Za-z]*`://p; s/^  //p}' \
    docs/architecture.md | grep -o '`[A-Za-z]*`' | tr -d '`' | sort -u > "$work/listed"
diff "$work/listed" "$work/real" || {
    echo "docs/architecture.md, Code without a caller: < listed, but called; > not listed"
    exit 1
}
