#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Quillon for PyChess, to be named as the engine there. PyChess answers every "readyok" with
# "ucinewgame", and Quillon answers that with "readyok", so the two would never come to an end.
# PyChess starts an engine afresh for each game: the command can be left out without loss.
#   QUILLON     the engine, "quillon" unless set
set -euo pipefail

# The engine takes the place of the shell, so that a signal from PyChess reaches it.
exec "${QUILLON:-quillon}" < <(exec sed -u -e '/^ucinewgame/d' -e '/^quit/q')
