// SPDX-License-Identifier: MIT
//
// quillon-tune-mpi on several ranks: it ends in the same state, bit for bit, as quillon-tune with
// as many workers, whatever the training file looks like, even if a rank is killed on the way.

import assert from 'node:assert/strict';
import { spawn, spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { makeFolder } from '../console/talk.mjs';

const { QUILLON_SOURCE_DIR: root, QUILLON_TUNE: tuner, QUILLON_TUNE_MPI: mpiTuner } = process.env;
const env = { ...process.env, OMPI_ALLOW_RUN_AS_ROOT: '1', OMPI_ALLOW_RUN_AS_ROOT_CONFIRM: '1' };
const tables = ['EVALTEMPO', 'EVALPINNED', 'EVALTHREADROOKABLESS'];
const state = 'quillon-tune.state';

const fens = fs.readFileSync(path.join(root, 'data', 'perft.txt'), 'utf8')
  .split('\n').map((line) => line.split(' ').slice(0, 4).join(' ')).filter((fen) => /^\S+\/\S+ [wb] /.test(fen));
const records = fens.map((fen, i) => `${fen} c9 "${['1-0', '0-1', '1/2-1/2'][i * i % 5 % 3]}";`);

// A folder with a training file; null for none.
function folder(t, file) {
  const name = makeFolder(t);
  if (file !== null) fs.writeFileSync(path.join(name, 'quiet-labeled.epd'), file);
  return name;
}

const mpirun = (ranks) =>
  ['mpirun', '--oversubscribe', '--bind-to', 'none', '-n', String(ranks), mpiTuner, 'texel'];

function run(cwd, command, ...words) {
  const [program, ...args] = [...command, ...words];
  const { status, stdout, stderr } = spawnSync(program, args, { cwd, env, encoding: 'utf8' });
  return { status, stdout, stderr };
}

const read = (cwd) => fs.readFileSync(path.join(cwd, state), 'utf8');
// What is printed, without the banner and the lines that tell the time.
const told = (text) => text.slice(text.indexOf('Starting texel')).replace(/^Pass .*\n/gm, '');

test('ranks x workers end in the state and the output of one process, bit for bit', (t) => {
  assert.ok(records.length > 50);
  const cwd = folder(t, `${records.join('\n')}\n`);
  const alone = run(cwd, [tuner, 'texel'], '--workers', '4', ...tables);
  const expected = read(cwd);
  assert.match(alone.stdout, / Improving: [1-9]\d/);
  for (const [ranks, workers] of [[1, 4], [2, 2], [4, 1]]) {
    const result = run(cwd, mpirun(ranks), '--workers', String(workers), ...tables);
    assert.deepEqual([result.status, result.stderr], [0, '']);
    assert.equal(result.stdout.match(/Lets go/g).length, workers, 'rank 0 alone prints');
    assert.equal(told(result.stdout), told(alone.stdout));
    assert.equal(read(cwd), expected, `${ranks}x${workers}`);
  }
});

test('bad lines, CR LF, no last line end, empty shares: as in one process', (t) => {
  const files = [
    records.join('\r\n'),
    `\n\nno result\nc99 "1-0";\n${records.join('\n \nbad w - -\n')}`,
    `${'x'.repeat(10000)}\n${records.slice(0, 5).join('\n')}\n`,
    records.slice(0, 2).join('\n'),
  ];
  for (const file of files) {
    const cwd = folder(t, file);
    const words = ['--passes', '2', ...tables];
    run(cwd, [tuner, 'texel'], '--workers', '3', ...words);
    const expected = read(cwd);
    const result = run(cwd, mpirun(3), ...words);
    assert.deepEqual([result.status, result.stderr], [0, '']);
    assert.equal(read(cwd), expected, file.slice(0, 100));
  }
});

test('a killed rank ends the run, and a resumed run ends as an unbroken one', async (t) => {
  const file = `${Array(20).fill(records.join('\n')).join('\n')}\n`;
  const words = ['--passes', '12', ...tables];
  const whole = folder(t, file);
  run(whole, [tuner, 'texel'], '--workers', '2', ...words);

  const cwd = folder(t, file);
  const [program, ...args] = [...mpirun(2), ...words];
  const child = spawn(program, args, { cwd, env, stdio: ['ignore', 'pipe', 'pipe'] });
  let said = '';
  child.stderr.on('data', (text) => { said += text; });
  const closed = new Promise((done) => { child.on('close', (status) => done(status)); });
  let printed = '';
  await new Promise((done) => {
    child.stdout.on('data', (text) => {
      printed += text;
      if (/^ Improving: 2$/m.test(printed)) done();
    });
    closed.then(done);
  });
  const ranks = fs.readFileSync(`/proc/${child.pid}/task/${child.pid}/children`, 'utf8');
  process.kill(Number(ranks.trim().split(' ')[1]), 'SIGKILL');
  assert.notEqual(await closed, 0);
  assert.match(said, /rank 1 .* on signal 9/);
  assert.match(said, /With --resume it goes on from the state it saved last\./);
  assert.doesNotMatch(printed, /Ending error/);
  assert.notEqual(read(cwd), read(whole));

  const result = run(cwd, mpirun(2), '--resume', ...words);
  assert.deepEqual([result.status, result.stderr], [0, '']);
  assert.equal(read(cwd), read(whole));
});

test('a run that can\'t start says why and fails', (t) => {
  for (const [file, words, message] of [
    [null, [], "Rank 0 can't read it."],
    ['', [], 'There is no position in the training file'],
    [records[0], ['EVALNOSUCH'], 'No table is named EVALNOSUCH'],
    [records[0], ['--workers', '0'], "Can't understand --workers. The command is: texel "],
    [records[0], ['--resume'], "Can't go on from quillon-tune.state: "],
    [records[0], ['--state', 'no/such'], "Can't write no/such, "],
  ]) {
    const { status, stdout } = run(folder(t, file), mpirun(2), ...words);
    assert.notEqual(status, 0, message);
    assert.equal(stdout.split(message).length, 2, `${message} once in: ${stdout}`);
  }
  const cwd = folder(t, null);
  const { status, stdout } = run(cwd, [mpiTuner], 'go');
  assert.deepEqual([status, stdout.startsWith('usage: mpirun ')], [2, true]);
});
