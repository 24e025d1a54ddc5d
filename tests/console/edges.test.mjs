// SPDX-License-Identifier: MIT
// Corners of the console that need a process of a special kind: one with little memory, one that
// can open no file.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import test from 'node:test';
import { conversation, requireTool, Talk } from './talk.mjs';

test('the banner comes before anything that building the tables has to say', async (t) => {
  const talk = await Talk.start(t, { memory: 200, args: ['quit'] });
  // The default size, and what could be had.
  await talk.next(/\b256 MB\b.*\b(1|2|4|8|16|32|64|128) MB$/);
  await talk.exit();
});

conversation('rtest without its file says so, and the loop goes on', async (talk) => {
  await talk.ready();
  // Only the three standard streams from now on: no file can be opened.
  const prlimit = requireTool('/usr/bin/prlimit', 'util-linux');
  execFileSync(prlimit, ['--pid', String(talk.child.pid), '--nofile=3:3']);
  for (let i = 0; i < 2; i++) {
    assert.deepEqual(await talk.reply('rtest'), [
      'There seems to be a problem with the perftFile. check of the move generator not executed',
    ]);
  }
  // During a search, which ends first.
  talk.send('go infinite', 'rtest');
  await talk.bestmove({ stopped: true });
  await talk.next(/check of the move generator not executed$/);
  await talk.checkPerft(1);
  await talk.board();
});
