// SPDX-License-Identifier: MIT
// Whole games with short clocks on the real console, refereed by chess.js: against stockfish at its
// lowest skill and against itself, with one and several threads, with and without pondering.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Engine } from '../../tools/lib/uci.mjs';
import { play, startPlayer } from './games.mjs';
import { requireTool } from './talk.mjs';

// The engine's settings as White and as Black, null for stockfish.
const pairings = [
  [{ threads: 1 }, null],
  [null, { threads: 1 }],
  [{ threads: 2 }, null],
  [null, { threads: 8 }],
  [{ threads: 1, ponder: true }, null],
  [null, { threads: 2, ponder: true }],
  [{ threads: 1 }, { threads: 1 }],
  [{ threads: 2 }, { threads: 1 }],
  [{ threads: 1, ponder: true }, { threads: 1, ponder: true }],
  [{ threads: 2, ponder: true }, { threads: 1 }],
  [{ threads: 8 }, { threads: 2, ponder: true }],
  [{ threads: 1 }, { threads: 8, ponder: true }],
];

for (const [number, pairing] of pairings.entries()) {
  test(`game ${number + 1}: legal, in time, one answer for each go`, async (t) => {
    const players = [];
    for (const side of pairing) {
      if (side) players.push(await startPlayer(t, side));
      else {
        const file = requireTool('/usr/games/stockfish', 'stockfish');
        const engine = await Engine.start(file, { options: { 'Skill Level': 0, Hash: 16 } });
        t.after(() => engine.kill());
        players.push({ engine, margin: Infinity }); // its time is irrelevant
      }
    }
    const { ending, chess, hits, misses } = await play(players, { longest: 300 });
    const plies = chess.history().length;
    const names = players.map(({ engine }) => engine.name).join(' - ');
    t.diagnostic(`${names}: ${ending} after ${plies} plies, ponder hits ${hits}, misses ${misses}`);
    assert.ok(plies >= 4, 'no chess game ends sooner');
    for (const [i, { engine, ponder }] of players.entries()) {
      if (ponder && plies > 60) assert.ok(hits[i] + misses[i] > 0, 'it has pondered');
      await engine.quit();
    }
  });
}
