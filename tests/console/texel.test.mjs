// SPDX-License-Identifier: MIT
// The command `texel` at the console: what the playing engine says about a training file, a missing
// one and bad ones, and the tuning build's words for the tables. The file's name is fixed, so each
// test starts its engine in a folder of its own.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { describe, test } from 'node:test';
import { banner, Engine, enginePath, startEngine } from './engine.mjs';

const tunePath = process.env.QUILLON_TUNE ?? path.join(path.dirname(enginePath), 'quillon-tune');
const trainingFile = 'quiet-labeled.epd';
const problem =
  'There seems to be a problem with the tuning file. tuning not executed';
const letsGo = Array(24).fill('Lets go');

const start = 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -';
// Nobody can win, so worth 0.
const drawn = '8/8/4k3/8/8/4KN2/8/8 b - -';

const line = (fen, result) => `${fen} c9 "${result}";\n`;

// Makes a folder with this training file, null for none, and starts things in it: a process takes
// the folder in which its parent is at that moment.
function inFolder(t, content, start) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-texel-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  if (content !== null) fs.writeFileSync(path.join(folder, trainingFile), content);
  const home = process.cwd();
  process.chdir(folder);
  try {
    return start(folder);
  } finally {
    process.chdir(home);
  }
}

// Starts an engine beside this training file.
const startBeside = (t, content, options) => inFolder(t, content, () => startEngine(t, options));

// Runs `texel` beside this training file and returns its lines.
async function texel(t, content) {
  const engine = await startBeside(t, content);
  const lines = await engine.reply('texel', 60000);
  await engine.quit();
  return lines;
}

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

describe('the playing engine', () => {
  test('a missing file gets its message and nothing else', async (t) => {
    const engine = await startBeside(t, null);
    assert.deepEqual(await engine.reply('texel'), [problem]);
    assert.deepEqual(await engine.reply('texel'), [problem], 'and again');
    await engine.quit();
    assert.equal(engine.rest, '');
  });

  test('a folder of that name gets the same message', async (t) => {
    const engine = await inFolder(t, null, (folder) => {
      fs.mkdirSync(path.join(folder, trainingFile));
      return startEngine(t);
    });
    assert.deepEqual(await engine.reply('texel'), [problem]);
    await engine.quit();
  });

  test('24 workers start before the tuning, which has nothing to change', async (t) => {
    const content = line(start, '1-0') + line(start, '0-1') + line(drawn, '1/2-1/2');
    const { starting, ending, minimum } = readRun(await texel(t, content));
    assert.equal(ending, minimum);
    assert.equal(starting, minimum);
    // White to move is 25 up, a share of 0.561568: (0.438432^2 + 0.561568^2 + 0) / 3.
    assert.equal(starting, '0.169194');
  });

  test('positions that are worth 0 cost a quarter for each game that was decided', async (t) => {
    const content =
      line(drawn, '1-0') + line(drawn, '0-1') + line(drawn, '1/2-1/2') + line(drawn, '*') +
      line(drawn, '1/2-1/2');
    assert.deepEqual(readRun(await texel(t, content)), {
      starting: '0.15',
      ending: '0.15',
      minimum: '0.15',
    });
  });

  test('an empty file ends with an error that is not a number', async (t) => {
    const { starting, ending, minimum } = readRun(await texel(t, ''));
    for (const shown of [starting, ending, minimum]) assert.match(shown, /^-?nan$/);
  });

  test('bad lines are left out and the records around them are kept', async (t) => {
    const megabyte = 'x'.repeat(1 << 20);
    const noise = Buffer.from(
      Array.from({ length: 5000 }, (_, i) => (i * 7919) % 256).filter((code) => code !== 10),
    );
    const content = Buffer.concat([
      Buffer.from(line(drawn, '1-0') + '\n \t \nno result here\n' + megabyte + '\n'),
      noise,
      Buffer.from('\n' + line(drawn, '1/2-1/2') + 'cut off'),
    ]);
    // Two records: a quarter and nothing.
    assert.deepEqual(readRun(await texel(t, content)), {
      starting: '0.125',
      ending: '0.125',
      minimum: '0.125',
    });
  });

  test('texel as an argument ends the process with status 0', async (t) => {
    for (const content of [line(drawn, '1-0'), '', null]) {
      const engine = inFolder(t, content, () => new Engine({ args: ['texel'] }));
      t.after(() => engine.kill());
      await engine.expectCleanExit(60000);
      const lines = engine.log.map((entry) => entry.text);
      assert.deepEqual(lines.slice(0, 4), banner);
      if (content === null) assert.deepEqual(lines.slice(4), [problem]);
      else readRun(lines.slice(4));
    }
  });

  test('the end of the input while it tunes ends the process with status 0', async (t) => {
    const engine = await startBeside(t, line(start, '1-0').repeat(2000));
    engine.send('texel');
    engine.closeInput();
    await engine.expectCleanExit(60000);
    assert.ok(engine.log.at(-1).text.startsWith('Ending error '));
  });

  test('a run may be repeated, and the engine plays on behind it', async (t) => {
    const engine = await startBeside(t, line(drawn, '1-0'));
    await engine.reply('position startpos moves e2e4');
    const board = await engine.reply('showboard');
    const first = await engine.reply('texel', 60000);
    assert.deepEqual(await engine.reply('texel', 60000), first);
    assert.equal(readRun(first).starting, '0.25');
    assert.deepEqual(await engine.reply('showboard'), board, 'the position is kept');
    engine.send('go depth 3');
    await engine.expect(/^bestmove [a-h][1-8][a-h][1-8]/);
    await engine.quit();
  });

  test('a search that runs is ended first', async (t) => {
    const engine = await startBeside(t, line(drawn, '1-0'));
    engine.send('go infinite', 'texel');
    await engine.until('Ending error 0.25 Minimum error 0.25', 60000);
    await engine.quit();
    assert.equal(engine.count(/^bestmove /), 1);
  });

  test('help does not tell of it, and the tuning build\'s words are unknown', async (t) => {
    const engine = await startEngine(t);
    const help = await engine.reply('help');
    assert.equal(help.length, 2);
    for (const text of help) assert.doesNotMatch(text, /texel/i);
    assert.deepEqual(await engine.reply('zero EVALTEMPO'), ['Unknown command']);
    await engine.quit();
  });
});

describe('the tuning build', () => {
  const tuner = { file: tunePath };

  test('it tunes the tables that are named and prints them before and after', async (t) => {
    // White has won one game and drawn one: a share of 3/4, which the first move is worth when it
    // counts 111.
    const engine = await startBeside(t, line(start, '1-0') + line(start, '1/2-1/2'), tuner);
    const lines = await engine.reply('texel EVALTEMPO', 60000);
    assert.deepEqual(lines.slice(0, 26), [
      ...letsGo,
      'Starting texel tuning....',
      'TCONST combEval EVALTEMPO = X(  25,  17);',
    ]);
    assert.match(lines[26], /^Starting error 0\.\d+$/);
    assert.match(lines[27], /^Min error 0\.\d+ parameter 0 EVALTEMPO$/);
    assert.deepEqual(lines.slice(-2), [
      'Ending error 0.0625 Minimum error 0.0625',
      'TCONST combEval EVALTEMPO = X( 111,  17);',
    ]);
    const errors = lines
      .map((text) => /^Min error (\S+) /.exec(text))
      .filter(Boolean)
      .map((match) => Number(match[1]));
    assert.equal(errors.length, 111 - 25);
    for (let i = 1; i < errors.length; i++) assert.ok(errors[i] <= errors[i - 1]);
    await engine.quit();
  });

  test('zero empties the named tables and names those that it does not know', async (t) => {
    const engine = await startBeside(t, '', tuner);
    assert.deepEqual(await engine.reply('zero EVALTEMPO EVALNOSUCH EVALTEST'), [
      'No table is named EVALNOSUCH',
    ]);
    const lines = await engine.reply('texel EVALTEMPO EVALTEST EVALCHECKSAFEROOK', 60000);
    const tables = [
      'TCONST combEval EVALTEMPO = X(   0,   0);',
      'TCONST combEval EVALTEST = X(   0,   0);',
      'TCONST combEval EVALCHECKSAFEROOK = 475;',
    ];
    assert.deepEqual(lines.slice(25, 28), tables);
    assert.match(lines[28], /^Starting error -?nan$/);
    assert.deepEqual(lines.slice(29, 31), ['', ' Improving: 1']);
    assert.match(lines[31], /^Ending error -?nan Minimum error -?nan$/);
    assert.deepEqual(lines.slice(32), tables);
    await engine.quit();
  });

  test('without a name it prints every table', async (t) => {
    const engine = await startBeside(t, '', tuner);
    const lines = await engine.reply('texel', 60000);
    const names = lines
      .map((text) => /^TCONST combEval (\w+)/.exec(text))
      .filter(Boolean)
      .map((match) => match[1]);
    // Before and after.
    const half = names.length / 2;
    assert.deepEqual(names.slice(0, half), names.slice(half));
    assert.equal(new Set(names).size, half);
    for (const name of ['pieceValue', 'pieceSquareScore', 'EVALPAWNSHIELD', 'EVALKINGDANGER']) {
      assert.ok(names.includes(name), name);
    }
    await engine.quit();
  });
});
