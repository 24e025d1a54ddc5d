// SPDX-License-Identifier: MIT
// Whole games at a short clock through the real console, refereed by chess.js: against
// stockfish at its lowest skill and of the engine against itself, with one and several threads,
// with and without pondering. Then the same commands at random moments.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { scaled, startEngine, startStockfish } from './engine.mjs';
import { playGame, Player } from './match.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { Rules } from './rules.mjs';
import { bestMovePattern, checkSearch, readSearch } from './search.mjs';

async function startPlayer(t, { threads = 1, ponder = false }) {
  const engine = await startEngine(t);
  engine.send('uci');
  await engine.expect('uciok');
  engine.send('setoption name Hash value 16', `setoption name Threads value ${threads}`);
  engine.send(`setoption name Ponder value ${ponder}`, 'ucinewgame');
  await engine.expect('readyok'); // the answer to `ucinewgame`
  const name = `${threads} threads${ponder ? ', ponder' : ''}`;
  return new Player(engine, { name, ponder });
}

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
  const describe = (side) =>
    side === null ? 'stockfish' : `${side.threads} thread(s)${side.ponder ? ' pondering' : ''}`;
  const title = pairing.map(describe).join(' against ');
  test(`game ${number + 1}, ${title}: legal, in time, one answer for each go`, async (t) => {
    const players = [];
    for (const side of pairing) {
      players.push(
        side === null
          ? new Player(await startStockfish(t), { name: 'stockfish', trusted: true })
          : await startPlayer(t, side),
      );
    }
    const { result, plies, hits, misses } = await playGame(players);
    t.diagnostic(`${result} after ${plies} plies, ponder hits ${hits}, misses ${misses}`);
    assert.ok(plies >= 4, 'no chess game ends sooner');
    for (const [i, player] of players.entries()) {
      if (player.ponder && plies > 60) assert.ok(hits[i] + misses[i] > 0, 'it has pondered');
      await player.engine.quit();
    }
  });
}

// Positions out of random games, none of them over.
function* strollPositions(random, count) {
  for (let i = 0; i < count; i++) {
    const rules = new Rules();
    const length = 2 + Math.floor(random() * 60);
    while (rules.moves.length < length && rules.result() === null) {
      rules.play(pick(random, rules.legalMoves()).text);
    }
    if (rules.result() === null) yield rules;
  }
}

const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

for (const threads of [1, 2, 8]) {
  test(`ponderhit and stop at random moments, ${threads} thread(s)`, async (t) => {
    const player = await startPlayer(t, { threads, ponder: true });
    const random = randomNumbers(seed + threads);
    for (const rules of strollPositions(random, 40)) {
      player.engine.send(rules.positionCommand());
      player.start('ponder wtime 400 btime 400 winc 5 binc 5');
      await pause(random() * 60);
      const hit = random() < 0.5;
      player.engine.send(hit ? 'ponderhit' : 'stop');
      await player.finish(rules, 5000, { mayBeEmpty: !hit });
      await player.checkAnswers();
    }
    await player.engine.quit();
  });

  test(`go infinite and stop at random moments, ${threads} thread(s)`, async (t) => {
    const player = await startPlayer(t, { threads });
    const random = randomNumbers(seed + 100 + threads);
    for (const rules of strollPositions(random, 40)) {
      player.engine.send(rules.positionCommand());
      player.start('infinite');
      await pause(random() * 60);
      player.engine.send('stop');
      await player.finish(rules, 5000, { mayBeEmpty: true });
      await player.checkAnswers();
    }
    await player.engine.quit();
  });

  test(`isready is answered while ${threads} thread(s) think`, async (t) => {
    const { engine } = await startPlayer(t, { threads });
    const rules = new Rules();
    engine.send('position startpos', 'go infinite');
    const lines = [];
    const times = [];
    for (let i = 0; i < 40; i++) {
      await pause(10);
      const sent = performance.now();
      engine.send('isready');
      // Well under the time of the search, which ends only by `stop`.
      lines.push(...(await engine.until('readyok', 2000)));
      times.push(engine.lastAt - sent);
    }
    assert.equal(engine.count(bestMovePattern), 0, 'the search still runs');
    // The middle one: a single late answer says more about the machine than about the engine.
    const median = times.sort((a, b) => a - b)[times.length / 2];
    assert.ok(median <= scaled(100), `median answer after ${median} ms`);
    engine.send('stop');
    lines.push(...(await engine.until(bestMovePattern)));
    checkSearch(rules, readSearch(lines));
    await engine.quit();
  });
}
