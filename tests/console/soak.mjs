// SPDX-License-Identifier: MIT
// Very many short searches of every kind in one process, game after game: the work of the two
// soak tests.

import assert from 'node:assert/strict';
import { startEngine } from './engine.mjs';
import { Player } from './match.mjs';
import { checkFlat, readUse } from './process.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { Rules } from './rules.mjs';
import { noMove } from './search.mjs';

const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

// A look at what the process holds, every so many searches.
const lookEvery = 100;
const longestGame = 80;
const threadsWhileLooking = 2;

// Each kind: the words behind `go`, and what comes behind it, if anything. The count of nodes
// ends nothing by itself. mayBeEmpty: a search that is stopped may have no move yet.
const stopped = { mayBeEmpty: true };
const kinds = [
  { words: () => 'movetime 1' },
  { words: (random) => `depth ${1 + Math.floor(random() * 6)}` },
  { words: (random) => `nodes ${Math.floor(random() * 1000)} depth 3` },
  { words: (random) => `wtime ${Math.floor(random() * 20)} btime 20 winc 2 binc 2` },
  { words: () => 'wtime 20 btime 20 movestogo 5' },
  { words: () => 'infinite', then: 'stop', ...stopped },
  { words: () => 'ponder wtime 20 btime 20', then: 'stop', ...stopped },
  { words: () => 'ponder wtime 20 btime 20', then: 'ponderhit' },
  { words: () => 'ponder depth 2', then: 'ponderhit' },
];

// Plays games in which the engine searches each position, until it has searched `count` times.
export async function soak(t, count) {
  const engine = await startEngine(t);
  const random = randomNumbers(seed + 5000);
  const searches = new Map();
  let done = 0;
  let games = 0;
  let threads = 1;
  let empty = 0;
  let first = null;
  let last = null;
  let most = null;
  engine.send('setoption name Hash value 16');

  while (done < count) {
    engine.send(`setoption name Ponder value ${pick(random, ['true', 'false'])}`, 'ucinewgame');
    assert.deepEqual(await engine.until('readyok'), ['readyok']);
    games++;
    const rules = new Rules();
    const player = new Player(engine, { name: 'soak' });
    while (done < count && rules.result() === null && rules.moves.length < longestGame) {
      // The first hundred searches see every number of threads.
      if (done % 25 === 0) {
        threads = done < lookEvery ? 1 + done / 25 : 1 + Math.floor(random() * 4);
        engine.send(`setoption name Threads value ${threads}`);
      }
      const { words, then, mayBeEmpty = false } = kinds[done % kinds.length];
      engine.send(rules.positionCommand());
      const said = words(random);
      player.start(said);
      if (then) {
        if (random() < 0.5) await pause(random() * 2);
        engine.send(then);
      }
      const end = player.finish(rules, 10000, { mayBeEmpty });
      const { best } = await end.catch((error) => {
        const what = `search ${done}, ${threads} threads, go ${said}${then ? `, ${then}` : ''}`;
        throw new Error(engine.describe(what), { cause: error });
      });
      searches.set(then, (searches.get(then) ?? 0) + 1);
      const moves = rules.legalMoves().map((move) => move.text);
      if (best === noMove) empty++;
      rules.play(best === noMove || random() < 0.3 ? pick(random, moves) : best);
      if (++done % lookEvery === 0) {
        threads = threadsWhileLooking;
        engine.send(`setoption name Threads value ${threads}`);
        await player.checkAnswers();
        last = readUse(engine.child.pid);
        first ??= last;
        if (!most || last.rss > most.rss) most = last;
        checkFlat(first, last, `${done} searches`);
      }
    }
    await player.checkAnswers();
    engine.forget();
  }
  await engine.quit();
  t.diagnostic(
    `${done} searches in ${games} games, ${searches.get('stop')} stopped, ` +
      `${searches.get('ponderhit')} hit; ${empty} of them without a move; ` +
      `memory ${first.rss} kB at ${lookEvery}, ${last.rss} kB at the end, at most ${most.rss}; ` +
      `peak ${first.peak} kB, then ${last.peak} kB; ` +
      `${last.threads} threads, ${last.files} open files`,
  );
}
