// SPDX-License-Identifier: MIT
// Corners of the console that need a process of a special kind: one with little memory, one that
// can open no file.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';
import {
  banner, Engine, perft, requireTool, showBoard, startEngine,
} from './engine.mjs';
import { pictureOf, startFen } from './rules.mjs';

test('the banner stands before anything that building the tables has to say', async (t) => {
  const engine = new Engine({ memory: 200, args: ['quit'] });
  t.after(() => engine.kill());
  await engine.expectCleanExit();
  const lines = engine.log.map(({ text }) => text);
  assert.deepEqual(lines.slice(0, 4), banner);
  assert.equal(lines.length, 5);
  // The default size, and what could be had.
  assert.match(lines[4], /\b256 MB\b.*\b(1|2|4|8|16|32|64|128) MB$/);
});

test('rtest without its file says so, and the loop goes on', async (t) => {
  const engine = await startEngine(t);
  engine.send('isready');
  await engine.expect('readyok');
  // Only the three standard streams from now on: no file can be opened.
  const prlimit = requireTool('/usr/bin/prlimit', 'util-linux');
  execFileSync(prlimit, ['--pid', String(engine.child.pid), '--nofile=3:3']);
  for (let i = 0; i < 2; i++) {
    assert.deepEqual(await engine.reply('rtest'), [
      'There seems to be a problem with the perftFile. check of the move generator not executed',
    ]);
  }
  // During a search, which ends first.
  engine.send('go infinite');
  const [move, message] = await engine.reply('rtest');
  assert.match(move, /^bestmove /);
  assert.match(message, /check of the move generator not executed$/);
  assert.equal((await perft(engine, 1)).count, 20);
  assert.deepEqual(await showBoard(engine), pictureOf(startFen));
  await engine.quit();
});
