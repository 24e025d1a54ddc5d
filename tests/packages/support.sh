# shellcheck shell=bash disable=SC2034
# SPDX-License-Identifier: MIT
#
# Sourced by the tests of this folder. Leaves the caller in the source folder, with an empty folder
# $work that is removed at the end. A test ends with `exit $status`.

cd "${QUILLON_SOURCE_DIR:?is set by CTest}" || exit 1
# Settings of the build that runs CTest must not reach a build under test.
unset MAKEFLAGS MAKELEVEL MFLAGS CXX DESTDIR
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0
version=$(sed -n 's/^project(quillon VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)

# need COMMAND PACKAGE ends the test if a tool is missing.
need()
{
    command -v "$1" > /dev/null ||
        { echo "$1 is missing: install the Debian package $2"; exit 1; }
}

# check TEXT COMMAND... marks the test as failed if the command fails.
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

# same_files TEXT FOLDER FILE... compares the files below a folder with a list.
same_files()
{
    local text=$1 folder=$2
    shift 2
    same "$text" "$(printf '%s\n' "$@" | sort)" \
        "$(cd "$folder" && find . -type f | sed 's#^\./##' | sort)"
}

# documents FOLDER lists the documents as they are installed below a folder.
documents()
{
    git ls-files 'docs/*.md' 'docs/*.svg' 'docs/*.png' 'docs/cluster/*' 'docs/connect/*' |
        sed "s#^#$1#"
}

# rtest TEXT COMMAND... checks that an engine finds perft.txt and counts right, run from elsewhere.
rtest()
{
    same "rtest: $1" "Results of the perft checks is OK: 1" \
        "$(cd / && "${@:2}" rtest 2> /dev/null | tr -d '\r' | tail -n 1)"
}

# quietly COMMAND... shows the output of a command only if it fails, and then ends the test.
quietly()
{
    "$@" > "$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }
}

# holds TEXT PATTERN: whether a line of the text matches.
holds()
{
    grep -q -- "$2" <<< "$1"
}

# make_deb builds the Debian package in its own folders and sets `deb` to its path.
make_deb()
{
    quietly cmake --preset deb -B "$work/build"
    quietly cmake --build "$work/build" -j "$(nproc)" --target quillon
    quietly cpack --config "$work/build/CPackConfig.cmake" -B "$work/packages"
    deb=$(ls "$work"/packages/*.deb)
    [[ -f $deb ]] || { echo "not one package: $deb"; exit 1; }
}
