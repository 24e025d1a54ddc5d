#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The node signature at depth 10 is the one in bench/signature.txt.
set -euo pipefail
expected=$(sed -n 's/^depth 10: //p' "$QUILLON_SOURCE_DIR/bench/signature.txt")
line=$("$QUILLON_SIGNATURE" 10 | tail -n 1)
echo "$line, expected $expected"
[[ ${line%% *} == "$expected" ]]
