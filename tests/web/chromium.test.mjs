// SPDX-License-Identifier: MIT
// The native console's conversations with the package's engine in headless Chromium.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import path from 'node:path';
import test from 'node:test';
import { root } from '../tools/support.mjs';
import { isolation, launch, serve } from './browser.mjs';

test('the conversations of the console hold in a page', async (t) => {
  const port = 20000 + (process.pid % 20000);
  const browser = await launch(`--remote-debugging-port=${port}`);
  t.after(() => browser.close());
  const child = spawn(process.execPath,
    ['--test', path.join(root, 'tests', 'console', 'conversations.san.test.mjs')],
    {
      stdio: ['ignore', 'pipe', 'inherit'],
      env: {
        ...process.env,
        NODE_TEST_CONTEXT: undefined,
        QUILLON_ENGINE: path.join(root, 'tests', 'web', 'chromium-console.mjs'),
        QUILLON_BROWSER: `http://127.0.0.1:${port}`,
        QUILLON_PAGE: await serve(path.join(root, 'build', 'wasm', 'package'), isolation),
        QUILLON_TIME_SCALE: '20',
      },
    });
  let output = '';
  child.stdout.setEncoding('utf8');
  child.stdout.on('data', (data) => {
    output += data;
  });
  const status = await new Promise((done) => child.on('close', done));
  assert.equal(status, 0, output);
});
