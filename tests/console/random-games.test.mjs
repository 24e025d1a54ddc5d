// SPDX-License-Identifier: MIT
// Two hundred random games against chess.js, an independent authority on the rules.

import { test } from 'node:test';
import { playRandomGames } from './random-play.mjs';

test('board and legal moves agree with chess.js all through 200 random games', (t) =>
  playRandomGames(t, 200, 16));
