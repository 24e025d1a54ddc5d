// SPDX-License-Identifier: MIT
// The command `texel` at the console: what the playing engine says about a training file, and the
// arguments in the tuning build. The name of the file is fixed, so each test starts its engine in
// its own folder.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { enginePath, makeFolder, Talk } from './talk.mjs';

const tunePath = process.env.QUILLON_TUNE ?? path.join(path.dirname(enginePath), 'quillon-tune');
const trainingFile = 'quiet-labeled.epd';
const problem = ['There seems to be a problem with the tuning file. tuning not executed'];
const letsGo = Array(24).fill('Lets go');

const start = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -';
// No mating material, so the score is 0.
const drawn = '8/8/4k3/8/8/4KN2/8/8 b - -';

const line = (fen, result) => `${fen} c9 "${result}";\n`;

// Starts an engine in a folder with this training file; null for none, 0 for a folder of that
// name.
function startBeside(t, content, settings) {
  const cwd = makeFolder(t);
  const file = path.join(cwd, trainingFile);
  if (content === 0) fs.mkdirSync(file);
  else if (content !== null) fs.writeFileSync(file, content);
  return Talk.start(t, { ...settings, cwd });
}

// Fails unless the lines are those of a run without parameters. Returns its errors.
function readRun(lines) {
  assert.deepEqual(lines.slice(0, 25), [...letsGo, 'Starting texel tuning....']);
  assert.equal(lines.length, 29, lines.slice(25).join('\n'));
  const first = /^Starting error (\S+)$/.exec(lines[25]);
  assert.ok(first, lines[25]);
  assert.deepEqual(lines.slice(26, 28), ['', ' Improving: 1']);
  const last = /^Ending error (\S+) Minimum error (\S+)$/.exec(lines[28]);
  assert.ok(last, lines[28]);
  return { starting: first[1], ending: last[1], minimum: last[2] };
}

test('a missing file, or a folder of its name, gets its message and nothing else', async (t) => {
  for (const content of [null, 0]) {
    const talk = await startBeside(t, content);
    for (let i = 0; i < 2; i++) assert.deepEqual(await talk.reply('texel'), problem);
    await talk.quit();
  }
});

test('texel as an argument ends the process with status 0', async (t) => {
  for (const content of [line(drawn, '1-0'), '', null]) {
    const talk = await startBeside(t, content, { args: ['texel'] });
    const lines = await talk.finish();
    if (content === null) assert.deepEqual(lines, problem);
    else readRun(lines);
  }
});

test('the end of the input while it tunes ends the process with status 0', async (t) => {
  const talk = await startBeside(t, line(start, '1-0').repeat(2000));
  talk.send('texel');
  talk.closeInput();
  assert.match((await talk.finish()).at(-1), /^Ending error /);
});

test('a run ends a search and can be repeated, and the engine plays on after it', async (t) => {
  const talk = await startBeside(t, line(drawn, '1-0'));
  talk.send('position startpos moves e2e4', 'go infinite', 'texel');
  await talk.bestmove({ stopped: true });
  await talk.until('Ending error 0.25 Minimum error 0.25', 60000);
  const first = await talk.reply('texel', 60000);
  assert.deepEqual(await talk.reply('texel', 60000), first);
  assert.equal(readRun(first).starting, '0.25');
  await talk.board();
  await talk.go('depth 3');
  await talk.quit();
});

test('the tuning build clears and tunes the named tables and prints them', async (t) => {
  // White wins one game and draws one: a share of 3/4, which a tempo of 111 predicts.
  const games = line(start, '1-0') + line(start, '1/2-1/2');
  const talk = await startBeside(t, games, { file: tunePath });
  assert.deepEqual(await talk.reply('zero EVALTEMPO EVALNOSUCH'), ['No table is named EVALNOSUCH']);
  const lines = await talk.reply('texel EVALTEMPO', 60000);
  const table = 'TCONST combEval EVALTEMPO = X(   0,   0);';
  assert.deepEqual(lines.slice(0, 26), [...letsGo, 'Starting texel tuning....', table]);
  assert.match(lines[26], /^Starting error 0\.\d+$/);
  assert.match(lines[27], /^Min error 0\.\d+ parameter 0 EVALTEMPO$/);
  assert.deepEqual(lines.slice(-2),
    ['Ending error 0.0625 Minimum error 0.0625', table.replace('   0', ' 111')]);
  await talk.quit();
});
