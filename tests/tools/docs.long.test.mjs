// SPDX-License-Identifier: MIT
// The commands of the documents that take long: one after the other, in a fresh clone.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { root, rows, run } from './docs-commands.mjs';

test('the commands of the documents work in a fresh clone', async (t) => {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-clone-'));
  t.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  const clone = await run(`git clone --quiet ${root} ${folder}/quillon`, root);
  assert.equal(clone.status, 0, clone.output);
  for (const [command, { by, as, says, status = 0 }] of Object.entries(rows)) {
    if (by !== 'clone') continue;
    await t.test(as ?? command, async () => {
      const result = await run(as ?? command, path.join(folder, 'quillon'));
      assert.equal(result.status, status, result.output.slice(-4000));
      if (says) assert.match(result.output, says);
    });
  }
});
