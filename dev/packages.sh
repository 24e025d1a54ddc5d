# shellcheck shell=bash
# SPDX-License-Identifier: MIT
#
# Sourced by scripts that need Debian packages.

# need_packages COMMAND-OR-FILE=PACKAGE... installs the packages whose command or file is missing.
# If it isn't allowed to, it names them and exits.
need_packages()
{
    local missing=() pair probe root=()
    for pair in "$@"; do
        probe=${pair%%=*}
        if [[ $probe == /* ]]; then
            [[ -e $probe ]] || missing+=("${pair#*=}")
        else
            command -v "$probe" > /dev/null || missing+=("${pair#*=}")
        fi
    done
    [[ ${#missing[@]} -eq 0 ]] && return
    if [[ $(id -u) -ne 0 ]]; then
        root=(sudo -n)
        if ! sudo -n true 2> /dev/null; then
            echo "Missing Debian packages, please install them: ${missing[*]}" >&2
            exit 1
        fi
    fi
    if ! command -v apt-get > /dev/null; then
        echo "There is no apt-get here; please install the equivalents of: ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]} ..." >&2
    "${root[@]}" apt-get update -qq >&2
    DEBIAN_FRONTEND=noninteractive "${root[@]}" apt-get install -y -qq "${missing[@]}" >&2
}
