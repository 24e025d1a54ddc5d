// SPDX-License-Identifier: MIT
// The self-test of the move generator: the file of known counts, the command `rtest` that checks
// the engine against it, and the command `perft`.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { test } from 'node:test';
import { startFen } from '../../tools/lib/chess.mjs';
import { readUse } from './process.mjs';
import { banner, conversation, leaves, makeFolder, pictureOf, sourceDir } from './talk.mjs';

const text = fs.readFileSync(path.join(sourceDir, 'data', 'perft.txt'), 'utf8');
const [base, ...others] = text.split(/^(?:extended|full)\n/m)
  .map((section) => section.match(/.+\n/g).map((line) => line.split(';')));

test('the perft file has its three sections, the base one with at least 80 records', () => {
  assert.ok(base.length >= 80, `${base.length} records`);
  assert.equal(others.length, 2);
  for (const fields of [base, ...others].flat()) {
    assert.match(fields.join(';'), /^[^;]+;\d+;\d+;[^;]+\n$/);
  }
});

conversation('rtest finds every count of the base section and says so', async (talk) => {
  talk.send('rtest');
  const lines = await talk.until(/^Results of the perft checks/, 120000);
  assert.equal(lines.at(-1), 'Results of the perft checks is OK: 1');
  assert.equal(lines.length - 1, base.length, 'one line for each base record');
  for (const [i, [fen, depth, count]] of base.entries()) {
    assert.match(lines[i], /; \d+$/, 'the time in nanoseconds comes last');
    assert.equal(lines[i].replace(/\d+$/, ''), `1; ${fen}; ${depth}; ${count}; ${count}; `);
  }
  // The check has its own position record.
  await talk.checkPerft(1);
});

conversation('perft leaves a table of 256 MB and rtest one of 128 MB', async (talk) => {
  const megabytes = () => readUse(talk.child.pid).data / 1024;
  talk.send('setoption name Hash value 64');
  await talk.ready();
  const before = megabytes() - 64;
  // Rounded, because thread stacks come and go.
  const tableSize = () => Math.round((megabytes() - before) / 64) * 64;
  await talk.perft(1);
  assert.equal(tableSize(), 256);
  talk.send('rtest');
  await talk.until(/^Results of the perft checks/, 120000);
  assert.equal(tableSize(), 128);
});

test('rtest reads perft.txt from the first place that has one', (t) => {
  const folder = makeFolder(t);
  const file = (...parts) => {
    const name = path.join(folder, ...parts);
    fs.mkdirSync(path.dirname(name), { recursive: true });
    return name;
  };
  assert.ok(process.env.QUILLON_PLACES, 'QUILLON_PLACES is set by the build');
  fs.copyFileSync(process.env.QUILLON_PLACES, file('root/bin/quillon'));
  // Started through a link in a folder where the engine must not look.
  fs.symlinkSync('../root/bin/quillon', file('links/quillon'));
  fs.writeFileSync(file('links/perft.txt'), 'not a record\n');
  const rtest = () =>
    execFileSync(file('links/quillon'), ['rtest'], { cwd: folder, encoding: 'utf8' });

  const greeting = `${banner.join('\n')}\n`;
  assert.equal(rtest(), `${greeting}There seems to be a problem with the perftFile. check of the `
    + 'move generator not executed\n');
  // From the last place to the first, so that each new file takes precedence over the earlier ones.
  // The first place is compiled into this engine.
  const places = ['.', 'root/share/games/quillon', 'root/share/quillon', 'root/bin', 'compiled-in'];
  for (const [i, place] of places.entries()) {
    const board = startFen.replace(/1$/, i + 1);
    fs.writeFileSync(file(place, 'perft.txt'), `${board};1;20\n`);
    const output = rtest();
    assert.ok(output.startsWith(`${greeting}1; ${board}; 1; 20; 20; `), `${place}: ${output}`);
    assert.ok(output.endsWith('\nResults of the perft checks is OK: 1\n'), output);
  }
});

conversation('perft draws the board, then prints time, depth, count and speed', async (talk) => {
  const fen = 'r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1';
  talk.send(`position fen ${fen}`);
  const { lines, count } = await talk.perft(2);
  assert.equal(lines.length, 19);
  assert.deepEqual(lines.slice(0, 17), pictureOf(fen));
  const time = /^(\d+) ns and (\S+) in seconds$/.exec(lines[17]);
  assert.ok(time, lines[17]);
  assert.ok(Math.abs(Number(time[1]) / 1e9 - Number(time[2])) <= Number(time[2]) * 1e-4);
  assert.equal(count, leaves(`fen ${fen}`, 2));
});
