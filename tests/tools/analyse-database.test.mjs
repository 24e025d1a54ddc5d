// SPDX-License-Identifier: MIT
// tools/analyse on files of many games: workers, shards, files of results, engines that crash. The
// engines are fake.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { GameTree } from '../../tools/lib/game-tree.mjs';
import { csvRows, lastGame } from '../../tools/lib/results.mjs';
import { fake, file, linesOf, pause, read, root, run, until } from './support.mjs';

/** Games of different lengths, so that they are not finished in order. */
const moves = ['1. e4 e5 2. Nf3 Nc6 3. Bb5', '1. d4', '1. c4 c5 2. g3', '', '1. Nf3 d5'];
const games = Array.from({ length: 7 }, (_, i) => {
  return `[Event "x"]\n[White "W, ${i + 1}"]\n\n${moves[i % moves.length]} 1-0\n\n`;
});
const pgn = file('many.pgn', games.join(''));
const kinds = ['pgn', 'jsonl', 'csv'];

function analyse(args, { program = fake(), ...how } = {}) {
  return run('analyse', ['--engine', program, '--depth', '1', ...args], how);
}
const done = { status: 0, out: '', err: '' };
const failed = (message) => ({ status: 1, out: '', err: `analyse: ${message}\n` });

/** Writes the analysis of the games to a file, and returns its name. */
async function analyseTo(name, ...args) {
  assert.deepEqual(await analyse(['--workers', '1', '--out', file(name), ...args, pgn]), done);
  return file(name);
}
const whole = await Promise.all(kinds.map((kind) => analyseTo(`whole.${kind}`)));
const wholeOf = (kind) => read(whole[kinds.indexOf(kind)]);

test('several workers print and write what one does, in the order of the games', async () => {
  const of = (workers) => ['--workers', workers, '--pgn', file(`by-${workers}.pgn`), pgn];
  const [one, three] = await Promise.all(['1', '3'].map((workers) => analyse(of(workers))));
  assert.deepEqual(three, one);
  assert.deepEqual(one.out.match(/game \d+/g), games.map((_, i) => `game ${i + 1}`));
  assert.equal(read(file('by-3.pgn')), read(file('by-1.pgn')));
});

test('a list of positions is spread over workers too', async () => {
  const fens = [1, 2, 3, 4].map((i) => `4k3/8/8/8/8/8/${i}P${7 - i}/4K3 w - -\n`);
  const list = file('list.epd', fens.join(''));
  const [one, three] = await Promise.all(
    ['1', '3'].map((workers) => analyse(['--workers', workers, list])),
  );
  assert.deepEqual(three, one);
  assert.equal(linesOf(one.out).length, 5);
});

for (const kind of kinds) {
  test(`shards are merged to the ${kind} file of one run; faulty sets are refused`, async () => {
    const parts = [3, 2, 1].map((i) => analyseTo(`shard-${i}.${kind}`, '--shard', `${i}/3`));
    const [third, second, first] = await Promise.all(parts);
    const merge = (...args) => run('analyse', ['--merge', ...args]);
    const merged = file(`merged.${kind}`);
    assert.deepEqual(await merge('--out', merged, third, second, first), done);
    assert.equal(read(merged), wholeOf(kind));

    const cut = file(`cut.${kind}`, read(second).slice(0, -3));
    const faulty = [
      ['game 2 is missing; is there a file for each shard?', first, third],
      [`game 3 is in ${third} and in ${third}`, first, third, second, third],
      [`${cut} is incomplete; please finish it with --resume`, first, cut, third],
    ];
    for (const [message, ...files] of kind === 'csv' ? faulty : faulty.slice(2)) {
      assert.deepEqual(await merge(...files), failed(message));
    }
  });

  test(`a ${kind} file that was cut anywhere is continued where it was whole`, async () => {
    const text = wholeOf(kind);
    const starts = { pgn: /^\[Event /gm, jsonl: /^\{/gm, csv: /^\d+,0,/gm }[kind];
    const ends = [...text.matchAll(starts)].map(({ index }) => index).concat(text.length);
    const cut = file(`cut-anywhere.${kind}`);
    for (let length = 0; length <= text.length; length++) {
      const isNear = ends.some((end) => Math.abs(end - length) < 4);
      if (length % 11 && !isNear) continue;
      fs.writeFileSync(cut, text.slice(0, length));
      const count = ends.filter((end) => end <= length).length - 1;
      assert.equal(await lastGame(cut), Math.max(0, count), `${length} bytes`);
      if (count > 0) assert.equal(read(cut), text.slice(0, ends[count]));
    }
  });
}

test('--resume goes on after a kill, and does no game again', async (t) => {
  const out = file('killed.jsonl');
  const args = ['--engine', fake('waits', 9), '--depth', '1', '--workers', '1', '--out', out, pgn];
  const child = spawn(path.join(root, 'tools/analyse'), args, { stdio: 'ignore' });
  t.after(() => child.kill());
  // The ninth position is in the third game.
  await until(() => fs.existsSync(out) && read(out).includes('W, 2'), 'two games');
  child.kill('SIGKILL');
  const { length } = read(out);
  assert.equal(read(out), wholeOf('jsonl').slice(0, length));
  assert.equal(linesOf(read(out)).length, 2);
  fs.appendFileSync(out, wholeOf('jsonl').slice(length, length + 30));
  const refused = await analyse(['--out', out, pgn]);
  assert.deepEqual(refused, failed(`${out} exists; --resume goes on where it ends`));
  const other = await analyse(['--out', out, '--resume', '--shard', '1/2', pgn]);
  assert.deepEqual(other, failed(`${out} ends with game 2, which isn't in shard 1/2`));
  // 18 positions are left, and each engine would die in the nineteenth.
  const program = fake('dies', 19);
  const resumed = await analyse(['--resume', '--workers', '1', '--out', out, pgn], { program });
  assert.deepEqual(resumed, done);
  assert.equal(read(out), wholeOf('jsonl'));
});

test('--resume leaves files alone that are not results', async () => {
  for (const [name, text, message] of [
    ['own.pgn', games[0], "has a record that --out didn't write"],
    ['one.pgn', '[Event "x"]\n\n1. e4 *\n', "has a record that --out didn't write"],
    ['other.csv', 'a,b\n', "isn't a file of results from --out"],
  ]) {
    const out = file(name, text);
    assert.deepEqual(await analyse(['--resume', '--out', out, pgn]), failed(`${out} ${message}`));
    assert.equal(read(out), text);
  }
});

test('an engine that crashes is started again; the second time costs only its game', async () => {
  const out = file('crash.csv');
  const env = { QUILLON_MARK: file('mark') };
  const once = ['--workers', '2', '--out', out, pgn];
  assert.deepEqual(await analyse(once, { program: fake('once', 4), env }), done);
  assert.equal(read(out), wholeOf('csv'));
  fs.rmSync(out);
  // The first game has six positions.
  const dies = { program: fake('dies', 5) };
  const { status, err } = await analyse(['--workers', '1', '--out', out, pgn], dies);
  const place = '3. Bb5: Fake 1.0 has ended with status 3';
  const message = (game) => `analyse: ${pgn}, game ${game}, ${place}\n`;
  assert.deepEqual([status, err], [1, message(1) + message(6)]);
  const rows = (text) => linesOf(text).filter((line) => /^[23457],/.test(line));
  assert.deepEqual(rows(read(out)), rows(wholeOf('csv')));
  assert.match(read(out), /^1,3,Nc6,.*\n1,,,.*,"?3\. Bb5: Fake/m);
});

test('what is broken is named by game, line and column; the rest goes on', async () => {
  const text = [
    '\uFEFFDear Sir,\r\n\r\n',
    '[Event "a"]\r\n\r\n1. e4 e5\r\n2. Ke3 Nf6 1-0\r\n\r\n',
    '[Event "b"]\n\n1. d4 d5 {never closed\n2. c4\n\n',
    '[Event "c"]\n[FEN "8/8"]\n\n1. e4 *\n\n',
    '\0\0\0\n[Event "d"]\n\n1. e4 e5 (1... e9) 2. -- d5 *\n\n',
    `1. c4 {${'long '.repeat(1e5)}} c5 1/2-1/2 and so on\n`,
    '[Event "e"]\n1. Nf3',
  ];
  const out = file('broken-out.pgn');
  const input = file('broken.pgn', text.join(''));
  const { status, err } = await analyse(['--workers', '2', '--out', out, input]);
  assert.equal(status, 1);
  const problems = linesOf(err).map((line) => line.replace(`analyse: ${input}, `, ''));
  assert.deepEqual(problems.sort(), [
    'game 1, line 6, column 4: 2. Ke3 is not a legal move',
    'game 2, line 10, column 10: the comment that begins here has no end',
    'game 3, line 14, column 1: not a position: must contain six space-delimited fields',
    'game 4, line 18, column 1: "\\u0000" is unexpected here (and 2 more)',
    'line 1, column 1: this is neither a position nor a game',
    'line 23, column 500021: this is neither a position nor a game',
  ]);
  const written = read(out);
  assert.deepEqual(written.match(/(?<=GameNumber ")\d+/g), ['1', '2', '3', '4', '5', '6']);
  assert.match(written, /Incomplete: line 6, column 4: 2\. Ke3 is not a legal move\} 1-0\n\n/);
});

test('CSV has a row per position; texts are quoted where they have to be', () => {
  const tree = new GameTree(undefined, { White: 'A "B", C', Black: 'D\nE' });
  const [node] = tree.playLine(tree.root, ['e4']);
  const positions = [{ fen: 'first', played: 'e4' }, { fen: node.fen, played: null }];
  const results = [
    { score: { cp: -12 }, depth: 9, best: 'd4', line: ['d4', 'd5'] },
    { score: { mate: 2 }, depth: 8, best: null, line: [] },
  ];
  const report = { moves: [{ loss: 5.126, mark: { text: '?!' } }] };
  const players = '"A ""B"", C",D E,*';
  assert.equal(csvRows(3, { tree, positions, problem: 'x\ny' }, results, report), [
    `3,0,e4,first,-12,,9,d4,d4 d5,5.13,?!,${players},`,
    `3,1,,${node.fen},,2,8,,,,,${players},`,
    `3,,,,,,,,,,,${players},x y`, '',
  ].join('\n'));
});

test('--progress reports how much is done, at once and at the end', async () => {
  const out = file('progress.csv');
  const { err } = await analyse(['--progress', '--workers', '1', '--out', out, pgn]);
  const lines = linesOf(err);
  assert.match(lines[0], /^0 games, 0 per hour, \d %/);
  assert.match(lines.at(-1), /^7 games, \d+ per hour, 100 %, 0:00:00 left$/);
});

test('the input is read no further than a few games ahead', async (t) => {
  const args = ['--engine', fake('waits', 1), '--workers', '2', '-'];
  const stdio = ['pipe', 'ignore', 'ignore'];
  const child = spawn(path.join(root, 'tools/analyse'), args, { stdio });
  t.after(() => child.kill('SIGKILL'));
  child.stdin.on('error', () => {});
  const piece = `[Event "x"]\n\n1. e4 {${'a '.repeat(5e4)}} *\n\n`;
  let taken = 0;
  const give = () => child.stdin.write(piece, () => (taken++, taken < 500 && give()));
  give();
  let before = 0;
  await until(async () => {
    before = taken;
    await pause(500);
    return taken > 2 && taken === before;
  }, 'the end of reading');
  assert.ok(taken < 50, `${taken} of 500 games`);
});
