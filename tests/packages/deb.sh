#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The Debian package: what is in it, at Debian's places, without an error or a warning of lintian,
# and hardened. package.debian installs it in a Debian of its own.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
need dpkg-shlibdeps dpkg-dev
need lintian lintian
need readelf binutils
unset MAKEFLAGS MAKELEVEL MFLAGS CXX DESTDIR
export SOURCE_DATE_EPOCH=1500000000

umask 077 # which must make no difference
make_deb

version=$(sed -n 's/^project(quillon VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
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
check "depends on the processor that it needs" holds "$(field Depends)" 'sse4.2-support'
check "says which processor" holds "$(field Description | tr '\n' ' ')" 'x86-64-v2.*POPCNT'

dpkg-deb --extract "$deb" "$work/tree"
documents=$(git ls-files 'docs/*.md' 'docs/*.svg' 'docs/*.png' 'docs/connect/*' |
    sed 's#^#usr/share/doc/quillon/#')
expected=$(sort << END
usr/games/quillon
usr/share/games/quillon/perft.txt
usr/share/games/plugins/xboard/quillon.eng
usr/share/man/man6/quillon.6.gz
usr/share/doc/quillon/README.md
usr/share/doc/quillon/CONTRIBUTING.md
usr/share/doc/quillon/changelog.gz
usr/share/doc/quillon/changelog.Debian.gz
usr/share/doc/quillon/copyright
usr/share/doc/quillon/examples/gnome-chess.conf
$documents
END
)
same "what is in it" "$expected" "$(cd "$work/tree" && find . -type f | sed 's#^\./##' | sort)"
same "owners, and the date that was asked for" "root/root 2017-07-14" \
    "$(TZ=UTC0 dpkg-deb --contents "$deb" | awk '{print $2, $4}' | sort -u)"

# XBoard reads a file only if its first line is this one, and has no other wording for it.
same "XBoard's entry" "plugin spec 0.0
polyglot -noini -ec quillon
chess" "$(cat "$work/tree/usr/share/games/plugins/xboard/quillon.eng")"
entry=$work/tree/usr/share/doc/quillon/examples/gnome-chess.conf
same "GNOME Chess: the heads" "[Quillon]" "$(grep '^\[' "$entry")"
check "GNOME Chess: protocol and program" \
    test "$(grep -cx -e protocol=uci -e binary=quillon "$entry")" -eq 2
check "GNOME Chess: no option that the engine lacks" bash -c "! grep -q '^option-' '$entry'"

engine=$work/tree/usr/games/quillon
same "it answers" "uciok" "$(echo uci | "$engine" | tail -n 1)"
check "it is compiled to read perft.txt where the package has it" grep -qrF --include=flags.make \
    /usr/share/games/quillon/perft.txt "$work/build/CMakeFiles/quillon_perft_engine.dir"
same "rtest wherever the tree is" "Results of the perft checks is OK: 1" \
    "$(cd / && "$engine" rtest | tail -n 1)"
check "position-independent" holds "$(readelf -hW "$engine")" 'Type: *DYN'
check "bound at its start" holds "$(readelf -dW "$engine")" 'BIND_NOW\|FLAGS.*NOW'
check "read-only relocations" holds "$(readelf -lW "$engine")" GNU_RELRO
check "guarded stack" holds "$(readelf --dyn-syms -W "$engine")" __stack_chk_fail
check "no symbols left" bash -c "! readelf -SW '$engine' | grep -q '\.symtab'"
check "no folder of the build in it" bash -c "! grep -qF -e '$work' -e '$PWD' '$engine'"

same "lintian finds nothing" "" "$(lintian --fail-on none "$deb" 2>&1 |
    grep -v '^running with root privileges' || true)"
finish
