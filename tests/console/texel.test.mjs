// SPDX-License-Identifier: MIT
// The command `texel` at the console: what the playing engine says about a training file, a missing
// one and bad ones, and the tuning build's words for the tables. The file's name is fixed, so each
// test starts its engine in a folder of its own.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { test } from 'node:test';
import { definitions } from '../../dev/evaluation.mjs';
import { conversation, enginePath, Talk } from './talk.mjs';

const tunePath = process.env.QUILLON_TUNE ?? path.join(path.dirname(enginePath), 'quillon-tune');
const trainingFile = 'quiet-labeled.epd';
const problem = ['There seems to be a problem with the tuning file. tuning not executed'];
const letsGo = Array(24).fill('Lets go');

const start = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -';
// Nobody can win, so worth 0.
const drawn = '8/8/4k3/8/8/4KN2/8/8 b - -';

// The stock value of the first move.
const source = new URL('../../src/eval.cpp', import.meta.url);
const stock = definitions(fs.readFileSync(source, 'utf8'));
const [tempo, tempoInEndGame] = stock.get('EVALTEMPO')[0];
const tempoTable = (mg, eg) =>
  `TCONST combEval EVALTEMPO = X(${String(mg).padStart(4)},${String(eg).padStart(4)});`;

const line = (fen, result) => `${fen} c9 "${result}";\n`;

// Makes a folder with this training file, null for none.
function folderWith(t, content) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-texel-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  if (content !== null) fs.writeFileSync(path.join(folder, trainingFile), content);
  return folder;
}

// Starts an engine beside this training file.
const startBeside = (t, content, settings) =>
  Talk.start(t, { ...settings, cwd: folderWith(t, content) });

// Fails unless the lines are those of a run without parameters, and returns its two errors.
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
  const talk = await startBeside(t, null);
  assert.deepEqual(await talk.reply('texel'), problem);
  assert.deepEqual(await talk.reply('texel'), problem, 'and again');
  await talk.quit();
  const cwd = folderWith(t, null);
  fs.mkdirSync(path.join(cwd, trainingFile));
  const other = await Talk.start(t, { cwd });
  assert.deepEqual(await other.reply('texel'), problem);
  await other.quit();
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

test('a run ends a search, may be repeated, and the engine plays on after it', async (t) => {
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

conversation("help does not mention it, and the tuning build's words are unknown", async (talk) => {
  const help = await talk.reply('help');
  assert.equal(help.length, 2);
  for (const text of help) assert.doesNotMatch(text, /texel/i);
  assert.deepEqual(await talk.reply('zero EVALTEMPO'), ['Unknown command']);
});

// The tuning build

const tuner = { file: tunePath };

test('it tunes the tables that are named and prints them before and after', async (t) => {
  // White has won one game and drawn one: a share of 3/4, which the first move is worth when it
  // counts 111.
  const talk = await startBeside(t, line(start, '1-0') + line(start, '1/2-1/2'), tuner);
  const lines = await talk.reply('texel EVALTEMPO', 60000);
  assert.deepEqual(lines.slice(0, 26), [
    ...letsGo,
    'Starting texel tuning....',
    tempoTable(tempo, tempoInEndGame),
  ]);
  assert.match(lines[26], /^Starting error 0\.\d+$/);
  assert.match(lines[27], /^Min error 0\.\d+ parameter 0 EVALTEMPO$/);
  assert.deepEqual(lines.slice(-2), [
    'Ending error 0.0625 Minimum error 0.0625',
    tempoTable(111, tempoInEndGame),
  ]);
  const errors = lines.flatMap((text) => text.match(/^Min error (\S+) /)?.[1] ?? []).map(Number);
  assert.equal(errors.length, 111 - tempo);
  for (let i = 1; i < errors.length; i++) assert.ok(errors[i] <= errors[i - 1]);
  await talk.quit();
});

test('zero empties the named tables and names those that it does not know', async (t) => {
  const talk = await startBeside(t, '', tuner);
  assert.deepEqual(await talk.reply('zero EVALTEMPO EVALNOSUCH EVALTEST'), [
    'No table is named EVALNOSUCH',
  ]);
  const lines = await talk.reply('texel EVALTEMPO EVALTEST EVALCHECKSAFEROOK', 60000);
  const tables = [
    tempoTable(0, 0),
    'TCONST combEval EVALTEST = X(   0,   0);',
    `TCONST combEval EVALCHECKSAFEROOK = ${stock.get('EVALCHECKSAFEROOK')[0][0]};`,
  ];
  assert.deepEqual(lines.slice(25, 28), tables);
  assert.match(lines[28], /^Starting error -?nan$/);
  assert.deepEqual(lines.slice(29, 31), ['', ' Improving: 1']);
  assert.match(lines[31], /^Ending error -?nan Minimum error -?nan$/);
  assert.deepEqual(lines.slice(32), tables);
  await talk.quit();
});

