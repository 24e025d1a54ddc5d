// SPDX-License-Identifier: MIT
// Fast games of the engine against itself, one thread against two, in half of them with both
// sides pondering: the work of the two tests of such games.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { startEngine } from './engine.mjs';
import { playGame, Player } from './match.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { Rules } from './rules.mjs';

// 0.3 s for the game and 5 ms a move: most moves are played with little on the clock. A sanitizer
// build has ten times as much, so that it thinks about as deep; its losses on time count as well.
const clock = { base: 300, increment: 5 };
// The rules end every game long before this.
const maxPlies = 2000;

// Two to nine random legal moves behind which the game isn't over.
function randomOpening(random) {
  for (;;) {
    const rules = new Rules();
    const length = 2 + Math.floor(random() * 8);
    while (rules.moves.length < length && rules.result() === null) {
      rules.play(pick(random, rules.legalMoves()).text);
    }
    if (rules.result() === null) return rules.moves;
  }
}

async function startSide(t, threads, ponder) {
  const engine = await startEngine(t);
  engine.send('setoption name Hash value 16', `setoption name Threads value ${threads}`);
  engine.send(`setoption name Ponder value ${ponder}`);
  const name = `${threads} thread(s)${ponder ? ', pondering' : ''}`;
  return { engine, name, ponder };
}

// Defines one test for each pair of processes, which plays its share of `games` games: each
// opening with both colours. pairs: an even number of them, every other one ponders.
export function clockGames({ games, pairs }) {
  const share = games / pairs;
  assert.ok(pairs % 2 === 0 && share % 2 === 0, 'equal shares');
  const total = { games: 0, plies: 0, hits: 0, misses: 0 };
  Object.assign(total, { late: 0, onTheWall: 0, overstep: -Infinity });
  const ends = new Map();
  const points = [0, 0];

  for (let pair = 0; pair < pairs; pair++) {
    const ponder = pair % 2 === 1;
    const what = `games ${pair * share + 1} to ${(pair + 1) * share}${ponder ? ', pondering' : ''}`;
    test(`${what}: legal, in time, one answer for each go`, async (t) => {
      const random = randomNumbers(seed + 1000 + pair);
      const sides = [await startSide(t, 1, ponder), await startSide(t, 2, ponder)];
      let opening;
      for (let game = 0; game < share; game++) {
        const swapped = game % 2 === 1;
        if (!swapped) opening = randomOpening(random);
        for (const { engine } of sides) {
          engine.send('ucinewgame');
          assert.deepEqual(await engine.until('readyok'), ['readyok']);
          engine.forget();
        }
        const players = sides.map(({ engine, ...rest }) => new Player(engine, rest));
        if (swapped) players.reverse();
        const end = await playGame(players, { ...clock, maxPlies, opening });
        total.games++;
        total.plies += end.plies - opening.length;
        total.late += end.late;
        total.onTheWall += end.lateOnTheWall;
        total.overstep = Math.max(total.overstep, end.overstep);
        for (const count of end.hits) total.hits += count;
        for (const count of end.misses) total.misses += count;
        ends.set(end.result, (ends.get(end.result) ?? 0) + 1);
        const winner = (end.plies + 1) % 2; // of a mate: who has moved last, 0 white
        if (end.result === 'mate') points[swapped ? 1 - winner : winner]++;
      }
      for (const { engine } of sides) await engine.quit();
    });
  }

  test(`all ${games} games have been played`, (t) => {
    t.diagnostic(
      `${total.games} games, ${total.plies} plies, 1 thread won ${points[0]}, 2 threads won ` +
        `${points[1]}; ends: ${[...ends].map(([end, count]) => `${end} ${count}`).join(', ')}`,
    );
    t.diagnostic(
      `ponder hits ${total.hits}, misses ${total.misses}; moves over the clock: ` +
        `${total.onTheWall} on the wall, ${total.late} without the machine's part, of those the ` +
        `worst by ${total.overstep.toFixed(1)} ms`,
    );
    assert.equal(total.games, games);
    assert.ok(total.hits + total.misses > 0, 'they have pondered');
  });
}
