#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Two clones of the last commit, in folders with other names, under another umask, time zone and
# language, give the same bytes: every archive and the Debian package.
set -euo pipefail
# shellcheck source=tests/packages/support.sh
. "$(dirname "${BASH_SOURCE[0]}")/support.sh"
unset SOURCE_DATE_EPOCH
other="$work/a folder of another length"

mkdir "$other"
quietly git clone -q --no-hardlinks . "$work/one"
quietly git clone -q --no-hardlinks . "$other/two"
umask 022
quietly env TZ=UTC0 LC_ALL=C "$work/one/dev/release" --no-run --output "$work/first"
umask 077
quietly env TZ=Pacific/Auckland LC_ALL=C.UTF-8 \
    "$other/two/dev/release" --no-run --output "$work/second"
cat "$work/first/SHA256SUMS"
same "number of files" 10 "$(wc -l < "$work/first/SHA256SUMS")"
check "the same bytes" diff -r "$work/first" "$work/second"
exit "$status"
