#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The Debian package in a fresh Debian, made by debootstrap: it installs with its dependencies, plays
# and passes its self-test for a user there, and leaves nothing behind when it is purged. Needs root
# and the network.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
need debootstrap debootstrap
need dpkg-shlibdeps dpkg-dev
[[ $(id -u) -eq 0 ]] || { echo "debootstrap and chroot need root"; exit 1; }
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8
release=$(. /etc/os-release && echo "$VERSION_CODENAME")

make_deb
root=$work/root
quietly debootstrap --variant=minbase "$release" "$root"
inside()
{
    chroot "$root" /usr/bin/env -i PATH=/usr/bin:/usr/sbin:/bin:/sbin \
        DEBIAN_FRONTEND=noninteractive "$@"
}
# As an unprivileged user, in some other folder.
as_user()
{
    chroot --userspec=nobody:nogroup "$root" /usr/bin/env -i PATH=/usr/games:/usr/bin:/bin \
        sh -c "cd /var && $*"
}
# Every file with its type, mode, size and time, except for the records of apt and dpkg.
files()
{
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev \
        -o -path ./var/cache -o -path ./var/log -o -path ./var/lib/apt \
        -o -path './var/lib/dpkg/*-old' -o -path ./var/lib/dpkg/status \
        -o -path './var/lib/dpkg/lock*' -o -path ./var/lib/dpkg/triggers \) -prune -o \
        \( -type d -printf '%p %y %m %u\n' -o -printf '%p %y %m %u %s %T@ %l\n' \) | sort)
}

# Its dependencies come first and stay.
depends=$(dpkg-deb --field "$deb" Depends | sed 's/([^)]*)//g; s/,//g')
# shellcheck disable=SC2086
quietly inside apt-get install -y --no-install-recommends $depends
before=$(files)
packages=$(inside dpkg-query -W)

cp "$deb" "$root/root/"
package=/root/$(basename "$deb")
quietly inside apt-get install -y --no-install-recommends "$package"
rm "$root$package"
same "no other package came with it" "$packages" "$(inside dpkg-query -W | grep -v '^quillon')"
check "it is installed" holds "$(inside dpkg-query -s quillon)" '^Status: install ok installed$'
same "its files are intact" "" "$(inside dpkg --verify quillon)"
same "nothing is half installed" "" "$(inside dpkg --audit)"

rtest "as a user" as_user quillon
answer=$(as_user "(echo uci; echo isready; echo position startpos moves e2e4
    echo go movetime 1000; sleep 2; echo quit) | quillon")
for line in '^uciok$' '^readyok$' '^bestmove [a-h][1-8][a-h][1-8]'; do
    check "it answers $line" holds "$answer" "$line"
done
check "the manual page is there" test -s "$root/usr/share/man/man6/quillon.6.gz"
same "it is the manual page" "quillon \\- chess engine that speaks UCI" \
    "$(zcat "$root/usr/share/man/man6/quillon.6.gz" | sed -n '/^\.SH NAME/{n;p}')"
entry=$root/usr/share/games/plugins/xboard/quillon.eng
check "XBoard's entry is newer than the package" \
    test "$(stat -c %Y "$entry")" -gt "$SOURCE_DATE_EPOCH"

quietly inside dpkg --purge quillon
same "it is removed" "$packages" "$(inside dpkg-query -W)"
same "the files are as before" "$before" "$(files)"
exit "$status"
