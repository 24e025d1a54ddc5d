#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The manual page: the formatters give no warning, every command and option of the console is there
# with its range, and its examples run.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
need man man-db
need mandoc mandoc
page=docs/quillon.6

same "man has no warnings" "" "$(LC_ALL=C.UTF-8 MANROFFSEQ='' man --warnings -E UTF-8 -l -Tutf8 -Z \
    "$page" 2>&1 > /dev/null)"
same "mandoc finds nothing" "" "$(mandoc -Tlint -W style "$page" 2>&1 || true)"

# The words that open the entries of the section COMMANDS, without the macros around them.
entries=$(sed -n '/^\.SH COMMANDS/,/^\.SH OPTIONS/p' "$page" |
    sed -n '/^\.T[PQ]/{n;s/^\.[BIR]* *"\{0,1\}\([a-z]*\).*/\1/p}' | sort -u)
# The tables of the sources, without the tuner's commands, which the installed engine doesn't have.
commands=$(sed -e '/^#ifdef QUILLON_TUNE/,/^#e[ln]/d' src/quillon.cpp |
    sed -n 's/^    {"\([a-z]*\)", .*/\1/p')
[[ $(wc -l <<< "$commands") -gt 10 ]] || { echo "no table of commands in src/quillon.cpp"; exit 1; }
limits=$(sed -n 's/.*word == "\([a-z]*\)".*/\1/p; s/^ *{"\([a-z]*\)", *&.*/\1/p' src/uci.cpp)
for command in $commands; do
    check "the page has the command $command" holds "$entries" "^$command\$"
done

text=$(MANWIDTH=200 LC_ALL=C man -l -Tascii "$page" | col -bx | tr -s ' \n' ' ')
for limit in wtime btime winc binc movestogo movetime depth infinite ponder nodes mate $limits; do
    check "the page has the limit $limit" holds "$text" "\<$limit\>"
done
options=$(echo uci | "$QUILLON_ENGINE" | tr -d '\r' | sed -n 's/^option name //p')
[[ -n $options ]] || { echo "the engine names no options"; exit 1; }
section=$(sed -n '/^\.SH OPTIONS/,/^\.SH EXIT/p' "$page")
while read -r name _ type _ default _ least _ most; do
    check "the page has the option $name" holds "$section" "^\.B $name\$"
    [[ $type == spin ]] || continue
    check "the page has the range and the default of $name" \
        holds "$text" "$least to ${most}[^.]*$default if not set"
done <<< "$options"
check "the page is of version $version" grep -q "\"Quillon $version\"" "$page"

# Its examples, with the name that they use.
mkdir "$work/bin"
ln -s "$QUILLON_ENGINE" "$work/bin/quillon"
sed -n '/^\.SH EXAMPLES/,$p' "$page" |
    sed -n '/^\.EX/,/^\.EE/{/^\./!{s/\\-/-/g;p}}' > "$work/examples"
answer=$(PATH=$work/bin:$PATH bash "$work/examples" 2>&1)
check "the first example ends with a move" holds "$answer" '^bestmove [a-h][1-8][a-h][1-8]'
same "the second example's answer" "Results of the perft checks is OK: 1" \
    "$(tail -n 1 <<< "$answer")"
exit "$status"
