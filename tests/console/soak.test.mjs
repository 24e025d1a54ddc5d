// SPDX-License-Identifier: MIT
// Many short searches of every kind in one process, game after game; 20,000 in the long run.

import assert from 'node:assert/strict';
import { Chess, endOf } from '../../tools/lib/chess.mjs';
import { pick, randomNumbers, seed } from '../../tools/lib/random.mjs';
import { checkFlat, readUse } from './process.mjs';
import { noMove } from './search.mjs';
import { conversation, isLong, pause } from './talk.mjs';

const count = isLong ? 20000 : 500;
// The process's resources are checked after this many searches.
const lookEvery = 100;
// The C library keeps some memory of the first threads that end, so the first check comes later.
const firstLook = 200;
const longestGame = 80;
const threadsWhileLooking = 2;

// The words after `go`, and the command after it, if any. A number of nodes is not a limit.
const kinds = [
  { words: () => 'movetime 1' },
  { words: (random) => `depth ${1 + Math.floor(random() * 6)}` },
  { words: (random) => `nodes ${Math.floor(random() * 1000)} depth 3` },
  { words: (random) => `wtime ${Math.floor(random() * 20)} btime 20 winc 2 binc 2` },
  { words: () => 'wtime 20 btime 20 movestogo 5' },
  { words: () => 'infinite', then: 'stop' },
  { words: () => 'ponder wtime 20 btime 20', then: 'stop' },
  { words: () => 'ponder wtime 20 btime 20', then: 'ponderhit' },
  { words: () => 'ponder depth 2', then: 'ponderhit' },
];

const title = `${count} searches take no more memory, threads or files than the first ${firstLook}`;
conversation(title, async (talk, _, t) => {
  const random = randomNumbers(seed + 5000);
  let first = null;
  let last = null;
  let chess = null;
  let moves = [];
  talk.send('setoption name Hash value 16');
  for (let done = 0; done < count; done++) {
    if (!chess || endOf(chess) || moves.length >= longestGame) {
      chess = new Chess();
      moves = [];
      talk.send(`setoption name Ponder value ${pick(random, ['true', 'false'])}`);
      await talk.newGame();
      talk.forget();
    }
    // The first hundred searches run with every number of threads.
    if (done % 25 === 0) {
      const threads = done < lookEvery ? 1 + done / 25 : 1 + Math.floor(random() * 4);
      talk.send(`setoption name Threads value ${threads}`);
    }
    const { words, then } = kinds[done % kinds.length];
    const played = moves.length ? ` moves ${moves.join(' ')}` : '';
    talk.send(`position startpos${played}`, `go ${words(random)}`);
    if (then) {
      if (random() < 0.5) await pause(random() * 2);
      talk.send(then);
    }
    const { best } = await talk.bestmove({ stopped: then === 'stop' });
    const isOther = best === noMove || random() < 0.3;
    moves.push(chess.move(isOther ? pick(random, chess.moves()) : best).lan);
    if (done + 1 >= firstLook && (done + 1) % lookEvery === 0) {
      talk.send(`setoption name Threads value ${threadsWhileLooking}`);
      await talk.ready();
      last = readUse(talk.child.pid);
      first ??= last;
      checkFlat(first, last, `${done + 1} searches`);
    }
  }
  assert.ok(last);
  t.diagnostic(`at first ${JSON.stringify(first)}, at last ${JSON.stringify(last)}`);
});
