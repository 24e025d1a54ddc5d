#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The archives as users get them: unpacked, and the engine run from another folder, on another
# processor's or system's by an emulator. Each holds a whole conversation through a pipe, counts
# leaves right, and searches the very same nodes.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
unset MAKEFLAGS MAKELEVEL MFLAGS CXX DESTDIR
targets=(linux-x86-64-v2 linux-x86-64-v3 linux-i386 linux-arm64 linux-armhf linux-riscv64
    windows-x86-64)

# Signatures are run and compared by dev/release.
dev/release --dirty --output "$work/out" "${targets[@]}" > "$work/log" 2>&1 ||
    { cat "$work/log"; exit 1; }
grep signature "$work/log"
same "as many signatures as targets" ${#targets[@]} "$(grep -c '^signature' "$work/log")"
need unzip unzip
version=$(sed -n 's/^project(quillon VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)

export WINEPREFIX=$work/wine WINEDEBUG=-all DISPLAY=
trap '[[ ! -d $WINEPREFIX ]] || wineserver -k || true; rm -rf "$work"' EXIT

documents=$(git ls-files 'docs/*.md' 'docs/*.svg' 'docs/*.png' 'docs/connect/*')
expected="CHANGELOG.md CONTRIBUTING.md LICENSE README.md examples/gnome-chess.conf perft.txt
    quillon.6 $documents"

# say LINE sends a line to the engine, ended as its system ends lines.
say()
{
    printf '%s%s\n' "$1" "$line_end" >&"${engine[1]}"
}
# hear PATTERN waits for a line, and fails the test if the engine ends or is silent before.
hear()
{
    local line
    while IFS= read -r -t 120 line <&"${engine[0]}"; do
        echo "$line" >> "$transcript"
        [[ ${line%$'\r'} =~ $1 ]] && return
    done
    echo "$target: no line '$1' came; the last ones:"
    tail -n 5 "$transcript"
    exit 1
}

# begin COMMAND... starts the engine.
begin()
{
    transcript=$work/$target.transcript
    : > "$transcript"
    coproc engine { exec "$@" 2> "$work/$target.errors"; }
    # shellcheck disable=SC2154
    pid=$engine_PID
    hear "^enter 'help' to see the commands$"
}
# end sends quit, and looks at how the engine ends.
end()
{
    local ended=0
    say quit
    wait "$pid" || ended=$?
    same "$target: exit status" 0 "$ended"
    same "$target: nothing on the error output" "" "$(cat "$work/$target.errors")"
}

# converse plays through what a chess program says in a game.
converse()
{
    local move='^bestmove [a-h][1-8][a-h][1-8][nbrq]?( ponder [a-h][1-8][a-h][1-8][nbrq]?)?$'
    say uci
    hear '^id name Quillon Version '
    hear '^uciok$'
    say "setoption name Hash value 64"
    say "setoption name Threads value 2"
    say isready
    hear '^readyok$'
    say ucinewgame
    hear '^readyok$'
    say "position startpos moves e2e4 e7e5"
    say "go wtime 20000 btime 20000 winc 100 binc 100"
    hear "$move"
    say "position startpos moves e2e4 e7e5 g1f3"
    say "go infinite"
    say isready
    hear '^readyok$'
    sleep 0.5
    say stop
    hear "$move"
    say "position startpos moves e2e4 e7e5 g1f3 b8c6"
    say "go ponder wtime 5000 btime 5000"
    sleep 0.5
    say ponderhit
    hear "$move"
    say nonsense
    hear '^Unknown command$'
    say "position fen 7k/8/5K2/6Q1/8/8/8/8 w - - 0 1"
    say "go depth 6"
    hear '^info score mate 1 '
    hear '^bestmove g5g7$'
    say "perft 1"
    hear '^Perft results for depth: 1  26 '
}

nodes=
for target in "${targets[@]}"; do
    name=quillon-$version-$target
    program=quillon
    line_end=
    command=("$work/$name/quillon")
    case $target in
        linux-arm64) command=(qemu-aarch64 "$work/$name/quillon") ;;
        linux-armhf) command=(qemu-arm "$work/$name/quillon") ;;
        linux-riscv64) command=(qemu-riscv64 "$work/$name/quillon") ;;
        windows-x86-64)
            program=quillon.exe
            line_end=$'\r'
            command=(wine "$work/$name/quillon.exe")
            # Its first start sets up its folder and prints messages about that.
            wine cmd /c exit > "$work/wine.log" 2>&1 || { cat "$work/wine.log"; exit 1; }
            ;;
    esac
    tar -C "$work" -xzf "$work/out/$name.tar.gz"
    # shellcheck disable=SC2086
    same "$target: what is in it" "$(printf '%s\n' $expected $program | sort)" \
        "$(cd "$work/$name" && find . -type f | sed 's#^\./##' | sort)"
    if [[ $target == windows-* ]]; then
        mkdir "$work/zip"
        (cd "$work/zip" && quietly unzip -q "$work/out/$name.zip")
        check "$target: the .zip holds the same" diff -r "$work/$name" "$work/zip/$name"
        same "$target: no library but the system's" "KERNEL32.dll msvcrt.dll" \
            "$(x86_64-w64-mingw32-objdump -p "$work/$name/$program" |
                sed -n 's/.*DLL Name: //p' | sort | xargs)"
    else
        check "$target: no library at all" \
            bash -c "! readelf -lW '$work/$name/$program' | grep -q INTERP"
    fi

    cd "$work"
    begin "${command[@]}"
    converse
    end
    same "$target: rtest from another folder" "Results of the perft checks is OK: 1" \
        "$("${command[@]}" rtest 2> /dev/null | tr -d '\r' | tail -n 1)"
    # The number of leaves five plies below the start, as the literature has it.
    check "$target: perft 5" holds "$("${command[@]}" perft 5 2> /dev/null)" \
        '^Perft results for depth: 5  4865609 '
    # A search by one thread, all of it but the times.
    begin "${command[@]}"
    say "position startpos moves d2d4 g8f6"
    say "go depth 13 wtime 9999999 btime 9999999"
    hear '^bestmove '
    end
    got=$(tr -d '\r' < "$transcript" | sed -n 's/ time [0-9]*//; /^info score\|^bestmove/p')
    check "$target: the search has come to its end" holds "$got" '^info score cp .* depth 13 '
    same "$target: the same search as elsewhere" "${nodes:=$got}" "$got"
    cd "$QUILLON_SOURCE_DIR"
done
finish
