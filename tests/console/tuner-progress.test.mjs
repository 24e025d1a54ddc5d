// SPDX-License-Identifier: MIT
//
// The picture of a tuning run: what it reads out of the tuner's lines, and its estimate.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import test from 'node:test';

import { draw, duration, Progress } from '../../dev/tuner-progress.mjs';
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

test('errors, kept steps and passes are read with their times', () => {
  const progress = read(log);
  assert.deepEqual(progress.points.map((point) => point.error),
    [0.5, 0.4, 0.3, 0.29, 0.28, 0.25, 0.24]);
  assert.deepEqual(progress.passes, [{ time: 9, kept: 4 }, { time: 13, kept: 2 }]);
});

test('what is left is guessed from the fall of the kept steps', () => {
  // 4, 2: then 1, and a last pass without a step.
  const progress = read(log);
  assert.equal(progress.passesLeft(), 2);
  assert.equal(progress.secondsLeft(), 2 * 4);
  assert.equal(read(log.slice(0, 10)).passesLeft(), null, 'one pass tells nothing');
});

test('a finished run has nothing left', () => {
  const progress = read([...log, '', ' Improving: 3',
    'Ending error 0.24 Minimum error 0.24']);
  assert.equal(progress.passesLeft(), 0);
  assert.match(draw(progress), /error 0\.5 to 0\.24; 3 passes, 6 steps kept; 13 s, finished/);
});

test('an empty training set, whose error is no number, and an empty log are drawn', () => {
  for (const lines of [[], ['Starting error -nan', '', ' Improving: 1',
    'Ending error -nan Minimum error -nan']]) {
    const picture = draw(read(lines));
    assert.match(picture, /^<svg [^]*no error yet[^]*<\/svg>\n$/);
    assert.doesNotMatch(picture, /"(NaN|Infinity|undefined)/);
  }
});

test('durations are said in the unit that fits', () => {
  assert.deepEqual([0.4, 89, 90, 3600, 7200].map(duration),
    ['0 s', '89 s', '2 min', '60 min', '2.0 h']);
});

test('the program hands the lines on and writes the picture', () => {
  const folder = mkdtempSync(join(tmpdir(), 'quillon-'));
  const picture = join(folder, 'picture.svg');
  const input = `${log.join('\n')}\n`;
  const { stdout, status } = spawnSync('node',
    [join(sourceDir, 'dev/tuner-progress.mjs'), picture, '--log'], { input, encoding: 'utf8' });
  assert.equal(status, 0);
  assert.equal(stdout, input);
  assert.equal(readFileSync(picture, 'utf8'), draw(read(log)));
  rmSync(folder, { recursive: true });
});
