# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# Sourced by the tests of this folder. Leaves the caller in the source folder, with an empty folder
# $work that goes at the end.

cd "${QUILLON_SOURCE_DIR:?is set by CTest}" || exit 1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# need COMMAND PACKAGE fails the test when a tool is missing.
need()
{
    command -v "$1" > /dev/null ||
        { echo "$1 is missing: install the Debian package $2"; exit 1; }
}

# check TEXT COMMAND... fails the test at its end when the command fails.
check()
{
    local text=$1
    shift
    "$@" || { echo "not so: $text"; status=1; }
}

# same TEXT EXPECTED GOT compares two texts.
same()
{
    [[ $2 == "$3" ]] && return
    echo "not so: $1"
    diff <(echo "$2") <(echo "$3") | sed 's/^/    /' || true
    status=1
}

# quietly COMMAND... shows what a command says only when it fails, and ends the test then.
quietly()
{
    "$@" > "$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }
}

# holds TEXT PATTERN: whether a line of the text matches.
holds()
{
    grep -q -- "$2" <<< "$1"
}

# make_deb builds the Debian package in folders of its own and sets `deb` to its path.
make_deb()
{
    quietly cmake --preset deb -B "$work/build"
    quietly cmake --build "$work/build" -j "$(nproc)" --target quillon
    quietly cpack --config "$work/build/CPackConfig.cmake" -B "$work/packages"
    deb=$(ls "$work"/packages/*.deb)
    [[ -f $deb ]] || { echo "not one package: $deb"; exit 1; }
}

# finish ends the test.
finish()
{
    exit "$status"
}
