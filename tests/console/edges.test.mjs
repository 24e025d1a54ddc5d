// SPDX-License-Identifier: MIT
// Corners of the console that need a process of a special kind: one with little memory, one that
// can open no file. A sanitizer build needs more address space than is left here.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';
import {
  banner, Engine, enginePath, perft, requireTool, showBoard, startEngine,
} from './engine.mjs';
import { pictureOf, startFen } from './rules.mjs';

// An engine that can have this many kilobytes of address space and no more.
function startSmallEngine(t, kilobytes, args = []) {
  const script = 'ulimit -v "$1" && shift && exec "$@"';
  const engine = new Engine({
    file: requireTool('/bin/sh', 'dash'),
    args: ['-c', script, 'sh', String(kilobytes), enginePath, ...args],
  });
  t.after(() => engine.kill());
  return engine;
}

const tableLine = (wanted) =>
  new RegExp(`\\b${wanted} MB\\b.*\\b(1|2|4|8|16|32|64|128) MB$`);

test('the banner stands before anything that building the tables has to say', async (t) => {
  const engine = startSmallEngine(t, 200000, ['quit']);
  await engine.expectCleanExit();
  const lines = engine.log.map(({ text }) => text);
  assert.deepEqual(lines.slice(0, 4), banner);
  assert.equal(lines.length, 5);
  assert.match(lines[4], tableLine(256), 'the table of the default size, 256 megabytes');
});

test('Hash is forced down to 32768 megabytes, said where they cannot be had', async (t) => {
  const engine = startSmallEngine(t, 200000);
  await engine.expectLines(banner);
  await engine.expect(tableLine(256));
  for (const value of ['40000', '2147483647', '32768']) {
    const lines = await engine.reply(`setoption name Hash value ${value}`);
    assert.equal(lines.length, 1, value);
    assert.match(lines[0], tableLine(32768), value);
  }
  // 16385 megabytes are within the bounds and rounded up to a power of two.
  assert.match((await engine.reply('setoption name Hash value 16385'))[0], tableLine(32768));
  assert.match((await engine.reply('setoption name Hash value 16384'))[0], tableLine(16384));
  assert.deepEqual(await engine.reply('setoption name Hash value 1'), []);
  await engine.quit();
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
  assert.equal((await perft(engine, 1)).count, 20);
  assert.deepEqual(await showBoard(engine), pictureOf(startFen));
  await engine.quit();
});
