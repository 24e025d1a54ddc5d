#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Two clones of the last commit, in folders with other names, under another umask, time zone and
# language, make the same bytes: every archive and the Debian package.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
unset MAKEFLAGS MAKELEVEL MFLAGS CXX DESTDIR SOURCE_DATE_EPOCH

mkdir "$work/a folder of another length"
quietly git clone -q --no-hardlinks . "$work/one"
quietly git clone -q --no-hardlinks . "$work/a folder of another length/two"
umask 022
quietly env TZ=UTC0 LC_ALL=C \
    "$work/one/dev/release" --no-run --output "$work/first"
umask 077
quietly env TZ=Pacific/Auckland LC_ALL=C.UTF-8 \
    "$work/a folder of another length/two/dev/release" --no-run --output "$work/second"
cat "$work/first/SHA256SUMS"
same "as many files as there are to make" 6 "$(wc -l < "$work/first/SHA256SUMS")"
for file in "$work"/first/*; do
    check "the same bytes: $(basename "$file")" cmp "$file" "$work/second/$(basename "$file")"
done
finish
