// SPDX-License-Identifier: MIT
// A process that can't open files.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { conversation, requireTool } from './talk.mjs';

conversation('rtest without its file prints a message, and the loop goes on', async (talk) => {
  await talk.ready();
  // The three standard streams use up the limit, so no file can be opened from now on.
  const prlimit = requireTool('/usr/bin/prlimit', 'util-linux');
  execFileSync(prlimit, ['--pid', String(talk.child.pid), '--nofile=3:3']);
  for (let i = 0; i < 2; i++) {
    assert.deepEqual(await talk.reply('rtest'), [
      'There seems to be a problem with the perftFile. check of the move generator not executed',
    ]);
  }
  // A running search ends first.
  talk.send('go infinite', 'rtest');
  await talk.bestmove({ stopped: true });
  await talk.next(/check of the move generator not executed$/);
  await talk.checkPerft(1);
  await talk.board();
});
