// SPDX-License-Identifier: MIT
// A search that other commands than those of a chess program run into. Short enough for the
// sanitizer builds, which run this file too. Commands at any moment of a search stand in
// tests/conversations.

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { banner, Engine, perft, startEngine, timeScale } from './engine.mjs';
import { Rules } from './rules.mjs';
import { checkSearch, go } from './search.mjs';

// Starting a process takes a sanitizer build seconds, so it gets fewer of them.
const thorough = timeScale <= 1;

describe('threads and the flow of commands', () => {
  test('a go among the arguments ends at once with status 0 and without a line', async (t) => {
    for (const words of ['go', 'go infinite', 'go depth 60', 'go ponder', 'go movetime 5000']) {
      for (let i = 0; i < (thorough ? 10 : 1); i++) {
        const engine = new Engine({ args: words.split(' ') });
        t.after(() => engine.kill());
        await engine.expectCleanExit(20000);
        assert.deepEqual(engine.log.map((line) => line.text), banner);
      }
    }
  });

  test('rtest and perft take other tables, and the search goes on with them', async (t) => {
    const engine = await startEngine(t);
    engine.send('setoption name Hash value 1', 'ucinewgame');
    await engine.expect('readyok');
    assert.equal((await perft(engine, 3)).count, 8902);
    checkSearch(new Rules(), await go(engine, 'depth 7'));
    await engine.quit();
  });
});
