// SPDX-License-Identifier: MIT
// Fast games of the engine against itself, one thread against two; in half of them both sides
// ponder. The long run plays 200 games, or twelve in a sanitizer build.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { randomNumbers, seed } from '../../tools/lib/random.mjs';
import { play, startPlayer } from './games.mjs';
import { randomGame } from './positions.mjs';
import { isLong, timeScale } from './talk.mjs';

const [games, pairs] = !isLong ? [4, 2] : timeScale <= 1 ? [200, 20] : [12, 2];
// 0.3 s for the game and 5 ms a move, so most moves are played in time trouble. A sanitizer build
// gets ten times as much, so that it searches about as deep; its losses on time count too.
const clock = { base: 300, increment: 5 };
// The rules end every game long before this.
const longest = 2000;

for (let pair = 0; pair < pairs; pair++) {
  const ponder = pair % 2 === 1;
  const title = `games of pair ${pair + 1}${ponder ? ', pondering' : ''}`;
  test(`${title}: legal, in time, one answer for each go`, async (t) => {
    const random = randomNumbers(seed + 1000 + pair);
    const players = [
      await startPlayer(t, { threads: 1, ponder }),
      await startPlayer(t, { threads: 2, ponder }),
    ];
    let pondered = 0;
    let slowest = -Infinity;
    let start;
    // Each opening of two to nine random moves is played with both colours.
    for (let game = 0; game < games / pairs; game++) {
      if (game % 2 === 0) {
        const { moves } = randomGame(random, 2 + Math.floor(random() * 8));
        start = `startpos moves ${moves.join(' ')}`;
      }
      for (const { engine } of players) await engine.newGame();
      const end = await play(players, { ...clock, longest, start });
      pondered += end.hits[0] + end.hits[1] + end.misses[0] + end.misses[1];
      slowest = Math.max(slowest, end.slowest);
      players.reverse();
    }
    t.diagnostic(`${slowest.toFixed(1)} ms over the clock at most; ${pondered} ponder searches`);
    assert.equal(pondered > 0, ponder);
    for (const { engine } of players) await engine.quit();
  });
}
