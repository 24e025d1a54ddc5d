#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# The tuner prints C++ source that dev/adopt-tables puts into eval.cpp: a copy built from changed
# tables prints the same text again. The original tables leave eval.cpp unchanged.
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
source=$QUILLON_SOURCE_DIR/src

# adopt PRINTED prints eval.cpp with the printed tables.
adopt()
{
    cat > "$work/adopt.mjs" <<END
import fs from 'node:fs';
import * as text from '$QUILLON_SOURCE_DIR/dev/evaluation.mjs';
const [header, source, printed] = ['$source/eval.h', '$source/eval.cpp', '$1']
  .map((name) => fs.readFileSync(name, 'utf8'));
const tables = text.adoptedTables(header, source, printed);
process.stdout.write(text.writeTables(header, source, tables));
END
    node "$work/adopt.mjs"
}

"$QUILLON_TABLES" > "$work/stock"
"$QUILLON_TABLES" disturbed > "$work/disturbed"
cmp -s "$work/stock" "$work/disturbed" && { echo "nothing was disturbed"; exit 1; }

adopt "$work/stock" | diff "$source/eval.cpp" - || { echo "stock tables change eval.cpp"; exit 1; }

(printf '#include "eval.h"\n'; cat "$work/disturbed") > "$work/pasted.cpp"
"$QUILLON_CXX" -std=c++20 -w -DQUILLON_TUNE -I "$source" -fsyntax-only "$work/pasted.cpp"

adopt "$work/disturbed" > "$work/eval.cpp"
"$QUILLON_CXX" -std=c++20 -O1 -w -pthread -DQUILLON_TUNE -I "$source" "$work/eval.cpp" \
    "$QUILLON_SOURCE_DIR/tests/tune/tables.cpp" \
    "$source"/{uci,general,moveTable,move,hash,search,texel,perft}.cpp -o "$work/tables"
"$work/tables" | diff "$work/disturbed" - || { echo "the copy prints other numbers"; exit 1; }
echo "$(grep -c TCONST "$work/disturbed") tables adopted as printed"
