#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The Debian package: its files, in Debian's folders, its dependencies and its hardening; lintian
# finds nothing. package.debian.long installs it in a fresh Debian.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
need dpkg-shlibdeps dpkg-dev
need lintian lintian
need readelf binutils
export SOURCE_DATE_EPOCH=1500000000

umask 077 # which must make no difference
make_deb

field()
{
    dpkg-deb --field "$deb" "$1"
}
same "name" quillon "$(field Package)"
check "version" holds "$(field Version)" "^$version-"
same "the file's name" "quillon_$(field Version)_$(dpkg --print-architecture).deb" \
    "$(basename "$deb")"
same "the changelog's version" "$(field Version)" \
    "$(sed -n '1s/^quillon (\(.*\)) .*/\1/p' packaging/debian/changelog)"
check "depends on the libraries" holds "$(field Depends)" 'libc6 (>= .*libstdc++6 (>= '
check "depends on support by the processor" holds "$(field Depends)" 'sse4.2-support'
check "names the processor" holds "$(field Description | tr '\n' ' ')" 'x86-64-v2.*POPCNT'

dpkg-deb --extract "$deb" "$work/tree"
mapfile -t documents < <(documents usr/share/doc/quillon/)
same_files "its files" "$work/tree" usr/games/quillon usr/share/games/quillon/perft.txt \
    usr/share/games/plugins/xboard/quillon.eng usr/share/man/man6/quillon.6.gz \
    usr/share/doc/quillon/{README.md,CONTRIBUTING.md,changelog.gz,changelog.Debian.gz,copyright} \
    usr/share/doc/quillon/examples/gnome-chess.conf "${documents[@]}"
same "owners, and the date that was set" "root/root 2017-07-14" \
    "$(TZ=UTC0 dpkg-deb --contents "$deb" | awk '{print $2, $4}' | sort -u)"

# XBoard reads a file only if it begins with exactly this line.
same "XBoard's entry" "plugin spec 0.0
polyglot -noini -ec quillon
chess" "$(cat "$work/tree/usr/share/games/plugins/xboard/quillon.eng")"
entry=$work/tree/usr/share/doc/quillon/examples/gnome-chess.conf
same "GNOME Chess: the section" "[Quillon]" "$(grep '^\[' "$entry")"
check "GNOME Chess: protocol and program" \
    test "$(grep -cx -e protocol=uci -e binary=quillon "$entry")" -eq 2
check "GNOME Chess: no option that the engine lacks" bash -c "! grep -q '^option-' '$entry'"

engine=$work/tree/usr/games/quillon
same "it answers" "uciok" "$(echo uci | "$engine" | tail -n 1)"
check "the path of perft.txt in the package is compiled in" grep -qrF --include=flags.make \
    /usr/share/games/quillon/perft.txt "$work/build/CMakeFiles/quillon_perft_engine.dir"
rtest "wherever the tree is" "$engine"
check "position-independent" holds "$(readelf -hW "$engine")" 'Type: *DYN'
check "symbols bound at the start" holds "$(readelf -dW "$engine")" 'BIND_NOW\|FLAGS.*NOW'
check "read-only relocations" holds "$(readelf -lW "$engine")" GNU_RELRO
check "stack protector" holds "$(readelf --dyn-syms -W "$engine")" __stack_chk_fail
check "stripped" bash -c "! readelf -SW '$engine' | grep -q '\.symtab'"
check "no path of the build in it" bash -c "! grep -qF -e '$work' -e '$PWD' '$engine'"

same "lintian finds nothing" "" "$(lintian --fail-on none "$deb" 2>&1 |
    grep -v '^running with root privileges' || true)"
exit "$status"
