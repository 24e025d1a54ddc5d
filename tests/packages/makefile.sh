#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The Makefile, and through it `cmake --install`: which files go where, and an engine that works
# there.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
need clang++ clang
need make make

help=$(make help)
for goal in 'EXE=' 'CXX=' 'ARCH=' test install 'PREFIX=' 'DESTDIR=' clean help; do
    check "make help mentions $goal" holds "$help" "^make.*$goal"
done
for goal in all install test clean; do
    plan=$(make --no-print-directory -n "$goal" DESTDIR=/d PREFIX=/p |
        sed -e ':a;/\\$/{N;s/\\\n//;ba}')
    check "make $goal plans something" test -n "$plan"
    same "make $goal calls CMake and test.sh only" "" \
        "$(grep -v -e '^\(umask 022 && DESTDIR="/d" \)\{0,1\}cmake ' -e '^\./test\.sh$' \
            <<< "$plan" || true)"
done

# A build in the source folder would write its Makefile over ours.
cp -r CMakeLists.txt Makefile cmake src "$work/"
check "no build in the source folder" \
    bash -c "! cmake -S '$work' -B '$work' > '$work/inside' 2>&1"
check "the refusal says what to do" grep -q 'make help' "$work/inside"
check "the Makefile is as it was" cmp -s Makefile "$work/Makefile"

# With another compiler, and installed below a folder. The engine would find the perft.txt of the
# sources first, so it gets another folder.
prefix=$work/prefix
quietly cmake --preset release -B "$work/build" -DCMAKE_CXX_COMPILER=clang++ \
    -DQUILLON_DATA_DIR="$prefix/share/quillon"
quietly make BUILD="$work/build" CXX=clang++
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$work/build/CMakeCache.txt")
check "CXX is the compiler" holds "$compiler" 'clang++$'

umask 077
quietly make install BUILD="$work/build" CXX=clang++ PREFIX="$prefix"
mapfile -t documents < <(documents share/doc/quillon/)
same_files "what is installed" "$prefix" bin/quillon share/quillon/perft.txt \
    share/man/man6/quillon.6 share/games/plugins/xboard/quillon.eng \
    share/doc/quillon/{README.md,CONTRIBUTING.md,CHANGELOG.md,LICENSE} \
    share/doc/quillon/examples/gnome-chess.conf "${documents[@]}"
same "all users can read it, whatever the umask" "" "$(find "$prefix" ! -perm -444)"
same "XBoard's command" "polyglot -noini -ec $prefix/bin/quillon" \
    "$(sed -n 2p "$prefix/share/games/plugins/xboard/quillon.eng")"
rtest "installed" "$prefix/bin/quillon"

# A packager's staging folder gets the same tree.
quietly make install BUILD="$work/build" CXX=clang++ PREFIX="$prefix" DESTDIR="$work/stage"
check "DESTDIR holds the same" diff -r "$prefix" "$work/stage$prefix"
quietly cmake --install "$work/build" --prefix "$work/other"
mv "$prefix" "$work/elsewhere"
for moved in other elsewhere; do rtest "after a move to $moved" "$work/$moved/bin/quillon"; done

quietly make clean BUILD="$work/build" CXX=clang++
check "make clean removes the build" test ! -e "$work/build"
exit "$status"
