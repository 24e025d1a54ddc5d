#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Quillon for PyChess: choose this script as the engine there. PyChess answers every "readyok" with
# "ucinewgame", and Quillon answers that with "readyok", so the two would go on forever. This script
# drops "ucinewgame". Nothing is lost, because PyChess starts the engine anew for each game.
#   QUILLON     the engine, "quillon" unless set
set -euo pipefail

# The engine replaces the shell, so that a signal from PyChess reaches it.
exec "${QUILLON:-quillon}" < <(exec sed -u -e '/^ucinewgame/d' -e '/^quit/q')
