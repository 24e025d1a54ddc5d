// SPDX-License-Identifier: MIT
// Whole games at a short clock through the real console, refereed by chess.js: against
// stockfish at its lowest skill and of the engine against itself, with one and several threads,
// with and without pondering.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { play, startPlayer } from './games.mjs';
import { startStockfish } from './talk.mjs';

// Each row: the engine's settings as white and as black, null for stockfish.
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
      // Whether stockfish is in time is of no interest.
      const stockfish = async () => ({ engine: await startStockfish(t), margin: Infinity });
      players.push(side ? await startPlayer(t, side) : await stockfish());
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

