// SPDX-License-Identifier: MIT
// Whole games at a short clock through the real console, refereed by chess.js: against
// stockfish at its lowest skill and of the engine against itself, with one and several threads,
// with and without pondering. Then the same commands at random moments.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { pick, randomNumbers, seed } from '../../tools/lib/random.mjs';
import { play, startPlayer } from './games.mjs';
import { randomGame } from './positions.mjs';
import { pause, scaled, startStockfish } from './talk.mjs';

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

for (const threads of [1, 2, 8]) {
  for (const [what, words, ends] of [
    ['ponderhit and stop', 'ponder wtime 400 btime 400 winc 5 binc 5', ['ponderhit', 'stop']],
    ['stop after go infinite', 'infinite', ['stop']],
  ]) {
    test(`${what} at random moments, ${threads} thread(s)`, async (t) => {
      const { engine } = await startPlayer(t, { threads, ponder: true });
      const random = randomNumbers(seed + threads);
      for (let i = 0; i < 40; i++) {
        const { moves } = randomGame(random, 2 + Math.floor(random() * 60));
        engine.send(`position startpos moves ${moves.join(' ')}`, `go ${words}`);
        await pause(random() * 60);
        const end = pick(random, ends);
        engine.send(end);
        await engine.bestmove({ stopped: end === 'stop', patience: 5000 });
        await engine.ready();
      }
      await engine.quit();
    });
  }

  test(`isready is answered while ${threads} thread(s) think`, async (t) => {
    const { engine } = await startPlayer(t, { threads });
    engine.send('position startpos', 'go infinite');
    const times = [];
    for (let i = 0; i < 40; i++) {
      await engine.silence(10);
      const sent = performance.now();
      engine.send('isready');
      await engine.until('readyok', 2000);
      times.push(engine.lastAt - sent);
    }
    // The middle one: a single late answer says more about the machine than about the engine.
    const median = times.sort((a, b) => a - b)[times.length / 2];
    assert.ok(median <= scaled(100), `median answer after ${median} ms`);
    engine.send('stop');
    await engine.bestmove();
    await engine.quit();
  });
}
