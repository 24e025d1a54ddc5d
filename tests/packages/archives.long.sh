#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The archives as users get them: unpacked, and the engine run from another folder, by an emulator
# if it is for another processor or system. Each engine answers commands through a pipe, counts
# leaves correctly, and searches exactly the same nodes.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
targets=(linux-x86-64-v2 linux-x86-64-v3 linux-i386 linux-arm64 linux-armhf linux-riscv64
    windows-x86-64)
conversations='ponder searches|do not disturb|a go during a search|carriage returns'

# dev/release compares the node signatures.
dev/release --dirty --output "$work/out" "${targets[@]}" > "$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
grep signature "$work/log"
same "as many signatures as targets" ${#targets[@]} "$(grep -c '^signature' "$work/log")"
need unzip unzip

export WINEPREFIX=$work/wine WINEDEBUG=-all DISPLAY=
trap '[[ ! -d $WINEPREFIX ]] || wineserver -k || true; rm -rf "$work"' EXIT

mapfile -t files < <(documents ""; printf '%s\n' CHANGELOG.md CONTRIBUTING.md LICENSE README.md \
    examples/gnome-chess.conf perft.txt quillon.6)
# A search by one thread; setting the threads waits for its end.
printf '%s\n' "position startpos moves d2d4 g8f6" "go depth 13 wtime 9999999 btime 9999999" \
    "setoption name Threads value 1" quit > "$work/search"
nodes=
for target in "${targets[@]}"; do
    folder=$work/quillon-$version-$target
    program=$folder/quillon
    emulator=
    case $target in
        linux-arm64) emulator=qemu-aarch64 ;;
        linux-armhf) emulator=qemu-arm ;;
        linux-riscv64) emulator=qemu-riscv64 ;;
        windows-x86-64)
            program+=.exe
            emulator=wine
            # Its first start sets up its folder and prints messages about that.
            wine cmd /c exit > "$work/wine.log" 2>&1 || { cat "$work/wine.log"; exit 1; }
            ;;
    esac
    tar -C "$work" -xzf "$work/out/${folder##*/}.tar.gz"
    same_files "$target: its files" "$folder" "${files[@]}" "${program##*/}"
    if [[ $target == windows-* ]]; then
        quietly unzip -q -d "$work/zip" "$work/out/${folder##*/}.zip"
        check "$target: the .zip holds the same" diff -r "$folder" "$work/zip/${folder##*/}"
        same "$target: only libraries of the system" "KERNEL32.dll msvcrt.dll" \
            "$(x86_64-w64-mingw32-objdump -p "$program" |
                sed -n 's/.*DLL Name: //p' | sort | xargs)"
    else
        check "$target: no library at all" \
            bash -c "! readelf -lW '$program' | grep -q INTERP"
    fi

    engine=$work/$target
    printf '#!/bin/bash\nset -o pipefail\ncd /\n%s "%s" "$@" | sed -u "s/\\r$//"\n' \
        "$emulator" "$program" > "$engine"
    chmod +x "$engine"
    check "$target: conversations" env QUILLON_ENGINE="$engine" QUILLON_TIME_SCALE=20 \
        node --test --test-name-pattern="$conversations" tests/console/conversations.san.test.mjs
    rtest "$target" "$engine"
    # The number of leaves five plies after the start position, known from the literature.
    check "$target: perft 5" holds "$("$engine" perft 5)" '^Perft results for depth: 5  4865609 '
    got=$("$engine" < "$work/search" | sed -n 's/ time [0-9]*//; /^info score\|^bestmove/p')
    check "$target: the search reaches its depth" holds "$got" '^info score cp .* depth 13 '
    same "$target: the same search as the others" "${nodes:=$got}" "$got"
done
exit "$status"
