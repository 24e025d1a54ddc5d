// SPDX-License-Identifier: MIT
// The slow commands of the documents, one after the other in a fresh clone.

import assert from 'node:assert/strict';
import path from 'node:path';
import test from 'node:test';
import { clone, run, shortened } from '../../dev/docs-commands.mjs';
import { folder, root } from './support.mjs';

test('the commands of the documents work in a fresh clone', async (t) => {
  const copied = await run(`git clone --quiet ${root} ${folder}/quillon`, root);
  assert.equal(copied.status, 0, copied.output);
  for (const [command, row] of Object.entries(clone)) {
    await t.test(shortened(command, row), async () => {
      const result = await run(shortened(command, row), path.join(folder, 'quillon'));
      assert.equal(result.status, row.status ?? 0, result.output.slice(-4000));
      if (row.says) assert.match(result.output, row.says);
    });
  }
});
