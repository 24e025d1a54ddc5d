// SPDX-License-Identifier: MIT
//
// The picture of a tuning run: what it reads out of the tuner's lines, and its estimate.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import test from 'node:test';
import { draw, Progress } from '../../dev/tuner-progress.mjs';
import { sourceDir } from './talk.mjs';

const log = [
  'Lets go',
  'Starting texel tuning....',
  'TCONST combEval EVALTEMPO = X(   0,   0);',
  'Starting error 0.5',
  'Min error 0.4 parameter 0 EVALTEMPO',
  'Min error 0.3 parameter 1 EVALTEMPO',
  'Min error 0.29 parameter 2 EVALTEST',
  'Min error 0.28 parameter 3 EVALTEST',
  '',
  ' Improving: 1',
  'Min error 0.25 parameter 0 EVALTEMPO',
  'Min error 0.24 parameter 3 EVALTEST',
  '',
  ' Improving: 2',
];

/** A progress that has read lines, one a second. */
function read(lines) {
  const progress = new Progress();
  for (const [second, line] of lines.entries()) progress.read(line, second);
  return progress;
}

test('errors, steps and passes are read, and what is left is guessed', () => {
  const progress = read(log);
  const errors = progress.points.map(({ error }) => error);
  assert.deepEqual(errors, [0.5, 0.4, 0.3, 0.29, 0.28, 0.25, 0.24]);
  assert.deepEqual(progress.passes, [{ time: 9, kept: 4 }, { time: 13, kept: 2 }]);
  // 4, 2: then 1, and a last pass without a step, as long as the last one: 4 seconds.
  assert.deepEqual([progress.passesLeft(), progress.secondsLeft()], [2, 2 * 4]);
  assert.equal(read(log.slice(0, 10)).passesLeft(), null, 'one pass tells nothing');
});

test('a finished run has nothing left; a set without records and an empty log are drawn', () => {
  const end = ['', ' Improving: 3', 'Ending error 0.24 Minimum error 0.24'];
  const finished = draw(read([...log, ...end]));
  assert.match(finished, /error 0\.5 to 0\.24; 3 passes, 6 steps kept; 13 s, finished/);
  for (const lines of [[], ['Starting error -nan', '', ' Improving: 1', 'Ending error -nan']]) {
    const picture = draw(read(lines));
    assert.match(picture, /^<svg [^]*no error yet[^]*<\/svg>\n$/);
    assert.doesNotMatch(picture, /"(NaN|Infinity|undefined)/);
  }
});

test('the program hands the lines on and writes the picture', (t) => {
  const picture = join(tmpdir(), `quillon-${process.pid}.svg`);
  t.after(() => rmSync(picture));
  const input = `${log.join('\n')}\n`;
  const program = join(sourceDir, 'dev/tuner-progress.mjs');
  const how = { input, encoding: 'utf8' };
  const { stdout, status } = spawnSync('node', [program, picture, '--log'], how);
  assert.deepEqual([stdout, status], [input, 0]);
  assert.equal(readFileSync(picture, 'utf8'), draw(read(log)));
});
