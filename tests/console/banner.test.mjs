// SPDX-License-Identifier: MIT
// When the banner is written: the process is blocked while it writes it.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { enginePath, makeFolder } from './talk.mjs';

test('the banner is written before the attack tables are built', async (t) => {
  const pipe = path.join(makeFolder(t), 'pipe');
  execFileSync('mkfifo', [pipe]);

  // A full pipe blocks the process at its first byte.
  const filler = fs.openSync(pipe, fs.constants.O_RDWR | fs.constants.O_NONBLOCK);
  for (const size of [4096, 1]) {
    assert.throws(() => { for (;;) fs.writeSync(filler, Buffer.alloc(size)); }, { code: 'EAGAIN' });
  }
  const child = spawn(enginePath, ['quit'], { stdio: ['ignore', fs.openSync(pipe, 'r+'), 'ignore'] });
  t.after(() => child.kill('SIGKILL'));
  const stateOf = () => fs.readFileSync(`/proc/${child.pid}/stat`, 'latin1').split(' ')[2];
  while (stateOf() !== 'S') await new Promise((resolve) => { setTimeout(resolve, 10); });

  // The table of rook attacks alone takes 800 kB.
  const status = fs.readFileSync(`/proc/${child.pid}/status`, 'latin1');
  assert.ok(Number(status.match(/RssAnon:\s*(\d+) kB/)[1]) < 600);
});
