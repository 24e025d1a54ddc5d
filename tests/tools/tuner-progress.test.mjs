// SPDX-License-Identifier: MIT
//
// The picture of a tuning run.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import path from 'node:path';
import test from 'node:test';
import { file, root } from './support.mjs';

// Draws a run whose output is in several files.
function draw(...logs) {
  const files = logs.map((log, i) => file(String(i), log));
  const program = path.join(root, 'dev', 'tuner-progress');
  return spawnSync(process.execPath, [program, ...files], { encoding: 'utf8' });
}

const pass = (number, tried, error, changed) =>
  `Min error ${error} parameter 3 EVALTEMPO\nPass ${number}, ${tried} of 40 parameters in 30 s: ` +
  `error ${error}, ${changed} changed, 1000 positions/s; pass 9 ends about 2026-01-02 03:04:05\n`;

test('errors and changed parameters are drawn to scale, the last line about a pass counts', () => {
  const { stdout, status } = draw(
    `Starting error 0.5\n${pass(1, 40, 0.25, 20)}${pass(2, 10, 0.2, 3)}`,
    `Starting error 0.2\n${pass(2, 40, 0.125, 10)}${pass(3, 20, 0.1, 5)}`,
  );
  assert.equal(status, 0);
  // The field of the errors is 260 high and as wide as three passes: 780.
  assert.match(stdout, /<path d="M90 80L350 242\.5L610 323\.8L870 340" class="error"\/>/);
  const bars = [...stdout.matchAll(/<rect x="(\d+)" .* height="(\d+)" class="(\w+)"/g)];
  assert.deepEqual(bars.map((bar) => bar.slice(1)),
    [['90', '120', 'pass'], ['350', '60', 'pass'], ['610', '30', 'running']]);
  assert.match(stdout, />error 0\.5 to 0\.1 after 50 % of pass 3; 1\.5 minutes; 1000 positions\/s</);
});

test('a run of one pass without a step is drawn; without a pass there is a message', () => {
  const { stdout, status } = draw(`Starting error 0.5\n${pass(1, 40, 0.5, 0)}`);
  assert.deepEqual([status, /NaN|Infinity|undefined/.test(stdout)], [0, false]);
  const early = draw('Starting error 0.5\n');
  assert.deepEqual([early.status, early.stdout], [1, '']);
  assert.match(early.stderr, /^tuner-progress: no line "Pass N, \.\.\." in the input; /);
});
