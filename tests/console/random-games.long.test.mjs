// SPDX-License-Identifier: MIT
// Two thousand random games against chess.js, with more positions looked at in depth.

import { test } from 'node:test';
import { playRandomGames } from './random-play.mjs';

test('board and legal moves agree with chess.js all through 2000 random games', (t) =>
  playRandomGames(t, 2000, 4));
