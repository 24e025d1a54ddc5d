// SPDX-License-Identifier: MIT
// Commands at any moment of a search, on one thread and on several. Short enough for the sanitizer
// builds, which run this file too; under ThreadSanitizer it is the one that matters.

import assert from 'node:assert/strict';
import { describe, test } from 'node:test';
import { banner, Engine, perft, scaled, startEngine, timeScale } from './engine.mjs';
import { pick, randomNumbers, seed } from './random.mjs';
import { Rules } from './rules.mjs';
import { bestMovePattern, checkSearch, go, readSearch } from './search.mjs';

const pause = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

// Starting a process takes a sanitizer build seconds, so it gets fewer of them.
const thorough = timeScale <= 1;

describe('threads and the flow of commands', () => {
  test('lines of a search and answers never mix, with 4 threads and 300 isready', async (t) => {
    const engine = await startEngine(t);
    engine.send('setoption name Threads value 4', 'setoption name Hash value 16');
    const positions = ['startpos', 'fen 8/k7/8/6QQ/qq6/8/7K/8 w - - 0 1',
      'fen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1'];
    for (const position of positions) {
      engine.send(`position ${position}`, 'go infinite');
      const lines = [];
      for (let i = 0; i < 100; i++) {
        engine.send('isready');
        if (i % 10 === 0) await pause(5);
      }
      await pause(scaled(100));
      engine.send('stop', 'isready');
      lines.push(...(await engine.until(bestMovePattern, 10000)));
      while (lines.filter((line) => line === 'readyok').length < 101) {
        lines.push(await engine.expect('readyok'));
      }
      // Each line is whole: it has one of the known forms. The answers may fall anywhere.
      readSearch(lines.filter((line) => line !== 'readyok'));
    }
    await engine.quit();
  });

  test('Threads during a search waits for its end, then the new pool searches', async (t) => {
    const engine = await startEngine(t);
    const rules = new Rules();
    engine.send('setoption name Hash value 16');
    for (const threads of [8, 1, 3, 64, 2, 2, 1]) {
      engine.send('position startpos', 'go movetime 50');
      engine.send(`setoption name Threads value ${threads}`, 'isready');
      const lines = await engine.until('readyok', 20000);
      checkSearch(rules, readSearch(lines.slice(0, -1)));
      checkSearch(rules, await go(engine, 'depth 5'));
    }
    await engine.quit();
  });

  for (const threads of [1, 4]) {
    test(`stop 0 to 5 ms after go, ${threads} thread(s): always one answer`, async (t) => {
      const engine = await startEngine(t);
      const random = randomNumbers(seed + threads);
      const rules = new Rules();
      engine.send(`setoption name Threads value ${threads}`, 'position startpos');
      for (let i = 0; i < 100; i++) {
        engine.send(pick(random, ['go infinite', 'go', 'go ponder', 'go depth 60']));
        if (i % 4) await pause(random() * 5);
        engine.send('stop');
        const lines = await engine.until(bestMovePattern, 5000);
        checkSearch(rules, readSearch(lines), { mayBeEmpty: true });
        assert.deepEqual(await engine.reply('stop'), []);
      }
      assert.equal(engine.count(bestMovePattern), 100);
      await engine.quit();
    });

    test(`ponderhit at any moment, ${threads} thread(s)`, async (t) => {
      const engine = await startEngine(t);
      const random = randomNumbers(seed + 10 + threads);
      const rules = new Rules();
      engine.send(`setoption name Threads value ${threads}`, 'setoption name Ponder value true');
      engine.send('position startpos');
      for (let i = 0; i < 25; i++) {
        engine.send('go ponder wtime 300 btime 300');
        await pause(random() * 30);
        engine.send('ponderhit');
        checkSearch(rules, readSearch(await engine.until(bestMovePattern, 10000)));
      }
      await engine.quit();
    });

    test(`the process ends with status 0 amid a search, ${threads} thread(s)`, async (t) => {
      const random = randomNumbers(seed + 20 + threads);
      for (let i = 0; i < (thorough ? 40 : 6); i++) {
        const engine = await startEngine(t);
        const words = pick(random, ['go infinite', 'go', 'go ponder', 'go depth 3']);
        engine.send(`setoption name Threads value ${threads}`);
        engine.send('position startpos moves e2e4', words);
        if (i % 4) await pause(random() * 40);
        if (i % 2) engine.send('quit');
        else engine.closeInput();
        await engine.expectCleanExit();
        // What the search still wrote is whole, but for the last line.
        const lines = engine.log.slice(4).map((line) => line.text);
        for (const line of lines) assert.match(line, /^(info score (cp|mate) |bestmove )/);
      }
    });
  }

  test('a go among the arguments ends at once with status 0', async (t) => {
    for (const words of ['go', 'go infinite', 'go depth 3', 'go ponder', 'go movetime 50']) {
      for (let i = 0; i < (thorough ? 10 : 1); i++) {
        const engine = new Engine({ args: words.split(' ') });
        t.after(() => engine.kill());
        await engine.expectCleanExit(20000);
        assert.deepEqual(engine.log.slice(0, 4).map((line) => line.text), banner);
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
