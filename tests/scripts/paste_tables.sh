#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# What the tuner prints is source: pasted over the tables of a copy of eval.cpp it compiles, and
# every number of every table is the one that was printed. Once with values that differ from the
# source's, to see that each table is replaced; once with the source's own, where the engine that
# comes out must search the same nodes.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source=$QUILLON_SOURCE_DIR/src

# fail MESSAGE
fail()
{
    echo "$1"
    exit 1
}

# paste PRINTED FOLDER puts the printed definitions into FOLDER/eval.cpp. A definition runs from its
# head to the first line with a semicolon, in both files.
paste()
{
    awk '
        function name_of(line)
        {
            sub(/^TCONST combEval /, "", line)
            sub(/[^A-Za-z0-9_].*/, "", line)
            return line
        }
        FNR == NR {
            if (/^TCONST combEval /) { current = name_of($0); ++printed }
            text[current] = text[current] $0 "\n"
            next
        }
        /^TCONST combEval / {
            name = name_of($0)
            if (!(name in text)) { print "not printed: " name > "/dev/stderr"; failed = 1 }
            printf "%s", text[name]
            ++replaced
            skipping = 1
        }
        skipping { if (/;/) skipping = 0; next }
        { print }
        END {
            if (printed != replaced || printed < 40) {
                print printed " printed, " replaced " replaced" > "/dev/stderr"
                failed = 1
            }
            exit failed
        }' "$1" "$source/eval.cpp" > "$2/eval.cpp"
}

# build PROGRAM FOLDER MAIN FLAGS... builds MAIN with the evaluation of FOLDER and all else of src.
build()
{
    local program=$1 folder=$2 main=$3
    shift 3
    "$QUILLON_CXX" -std=c++20 -O1 -w -pthread -I "$source" "$@" "$main" "$folder/eval.cpp" \
        "$source"/{uci,general,moveTable,move,hash,search,texel,perft}.cpp -o "$program"
}

mkdir "$work/disturbed" "$work/same"
for kind in disturbed same; do
    argument=$kind
    [[ $kind == disturbed ]] || argument=
    "$QUILLON_TABLES" print $argument > "$work/$kind/printed"
    "$QUILLON_TABLES" numbers $argument > "$work/$kind/expected"
    paste "$work/$kind/printed" "$work/$kind"
done
cmp -s "$work/disturbed/expected" "$work/same/expected" && fail "nothing was disturbed"

build "$work/tables" "$work/disturbed" "$QUILLON_SOURCE_DIR/tests/tune/tables.cpp" -DQUILLON_TUNE
"$work/tables" numbers > "$work/numbers"
diff "$work/disturbed/expected" "$work/numbers" || fail "numbers differ"
"$work/tables" print > "$work/printed"
diff "$work/disturbed/printed" "$work/printed" || fail "the copy prints itself differently"
echo "$(wc -l < "$work/numbers") numbers compiled as printed"

build "$work/signature" "$work/same" "$QUILLON_SOURCE_DIR/bench/signature.cpp"
expected=$("$QUILLON_SIGNATURE" 6 | tail -n 1)
line=$("$work/signature" 6 | tail -n 1)
[[ ${line%% *} == "${expected%% *}" ]] || fail "signature $line, expected $expected"
echo "signature at depth 6: ${line%% *} nodes"
