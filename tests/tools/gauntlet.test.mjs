// SPDX-License-Identifier: MIT
// Matches: what results say about strength, who wins and who is to blame, and that an interrupted
// gauntlet goes on where it has stopped.

import assert from 'node:assert/strict';
import { execFile } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';
import { eloOf, evaluateMatch } from '../../tools/lib/elo.mjs';

const here = path.dirname(fileURLToPath(import.meta.url));
const root = path.resolve(here, '..', '..');
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'quillon-gauntlet-'));
test.after(() => fs.rmSync(folder, { recursive: true }));

/** Runs a tool and returns { status, out, err }. */
function run(tool, ...args) {
  return new Promise((resolve) => {
    execFile(path.join(root, 'tools', tool), args, { cwd: root }, (error, out, err) => {
      resolve({ status: error ? error.code : 0, out, err });
    });
  });
}

const fake = (manner) =>
  `${process.execPath},name=${manner},args=${path.join(here, 'fake-player.mjs')} ${manner}`;

function write(name, text) {
  const file = path.join(folder, name);
  fs.writeFileSync(file, text);
  return file;
}

// White and Black both mate at once if it is their turn; White begins, so White wins.
const mateInOne = write('mate.epd', '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - id "back rank";\n');
const start = write('start.epd', 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -\n');
// A king and a knight are no mating material.
const bare = write('bare.epd', '8/8/4k3/8/8/3NK3/8/8 w - -\n');

async function gauntlet(name, opponent, ...args) {
  const pgn = path.join(folder, `${name}.pgn`);
  const result = await run('gauntlet', '--engine', fake('mate'), '--opponent', opponent, '--pgn', pgn,
    '--time', '1+0', ...args);
  return { ...result, pgn, row: result.out.trim().split('\n').at(-1).split('|').map((s) => s.trim()) };
}

test('Elo differences are those of the logistic curve', () => {
  assert.equal(eloOf(0.5), 0);
  // 400 log10 3, and its mirror image.
  assert.ok(Math.abs(eloOf(0.75) - 190.849) < 0.001);
  assert.ok(Math.abs(eloOf(0.25) + 190.849) < 0.001);
  assert.ok(Number.isFinite(eloOf(0)) && Number.isFinite(eloOf(1)));
});

test('the error comes from pairs: mean 0.6875, standard error 0.11968 by hand', () => {
  const match = evaluateMatch([[1, 0.5], [0.5, 0.5], [0, 1], [1, 1]]);
  assert.deepEqual(match.pentanomial, [0, 0, 2, 1, 1]);
  assert.deepEqual([match.wins, match.draws, match.losses], [4, 3, 1]);
  assert.equal(match.score, 0.6875);
  assert.ok(Math.abs(match.low + 32.8) < 0.1, String(match.low));
  assert.ok(Math.abs(match.high - 429.2) < 0.1, String(match.high));
});

test('openings that decide every game leave no doubt about equal strength', () => {
  const match = evaluateMatch([[1, 0], [0, 1], [1, 0]]);
  assert.deepEqual([match.elo, match.low, match.high].map(Math.round), [0, 0, 0]);
});

test('a game that has no partner yet counts for the score and not for the error', () => {
  const match = evaluateMatch([[1, 0], [0, 1], [1]]);
  assert.equal(match.games, 5);
  assert.equal(match.score, 0.6);
  assert.deepEqual(match.pentanomial, [0, 0, 2, 0, 0]);
});

test('White mates from the opening, so that each side of a pair wins once', async () => {
  const { status, row, pgn } = await gauntlet('mates', fake('mate two'), '--games', '2',
    '--openings', mateInOne);
  assert.equal(status, 0);
  assert.deepEqual(row.slice(1, 7), ['mate two', '2', '1', '0', '1', '50.0 %']);
  assert.equal(row[8], '0, 0, 1, 0, 0');
  const text = fs.readFileSync(pgn, 'utf8');
  assert.match(text, /\[White "mate"\]\n\[Black "mate two"\]\n\[Result "1-0"\]/);
  assert.match(text, /\[White "mate two"\]\n\[Black "mate"\]\n\[Result "1-0"\]/);
  assert.match(text, /\[FEN "6k1\/5ppp\/8\/8\/8\/8\/5PPP\/R5K1 w - - 0 1"\]/);
  assert.match(text, /\[Termination "checkmate"\]/);
  assert.match(text, /1\. Ra8# \{\+0\.12\/3 0\.\d+s\} 1-0/);
});

test('a position without mating material is a draw at once', async () => {
  const { row, pgn } = await gauntlet('bare', fake('other'), '--games', '2', '--openings', bare);
  assert.deepEqual(row.slice(2, 6), ['2', '0', '2', '0']);
  assert.match(fs.readFileSync(pgn, 'utf8'), /\[Termination "insufficient material"\]/);
});

for (const [fault, ending] of [
  ['illegal', 'illegal move'],
  ['crash', 'engine has ended'],
  ['late', 'time forfeit'],
]) {
  test(`an opponent loses by its fault, and the fault is counted: ${ending}`, async () => {
    const { status, row, pgn } = await gauntlet(fault, fake(fault), '--games', '2', '--openings', start);
    assert.equal(status, 0);
    assert.deepEqual(row.slice(2, 6), ['2', '2', '0', '0']);
    assert.deepEqual(row.slice(9, 11), ['0', '2']);
    const endings = fs.readFileSync(pgn, 'utf8').match(/\[Termination ".*"\]/g);
    assert.deepEqual(endings, Array(2).fill(`[Termination "${ending}"]`));
  });
}

test('a gauntlet goes on where its file of games ends, and plays nothing twice', async () => {
  const first = await gauntlet('resumed', fake('other'), '--games', '1', '--openings', bare);
  assert.equal(first.row[2], '1');
  const second = await gauntlet('resumed', fake('other'), '--games', '3', '--openings', bare);
  assert.equal(second.row[2], '3');
  const rounds = fs.readFileSync(second.pgn, 'utf8').match(/\[Round ".*"\]/g);
  assert.deepEqual(rounds, ['[Round "1"]', '[Round "2"]', '[Round "3"]']);
});

test('wrong use and missing files get one line and a status', async () => {
  const opponent = ['--opponent', fake('other')];
  const pgn = ['--pgn', path.join(folder, 'none.pgn')];
  const cases = [
    [[], 2, /^gauntlet: please name an opponent/],
    [[...opponent], 2, /^gauntlet: please name a file/],
    [[...opponent, ...pgn, '--games', 'many'], 2, /^gauntlet: --games takes a whole number/],
    [[...opponent, ...pgn, '--time', '2'], 2, /^gauntlet: --time takes seconds/],
    [[...opponent, '--pgn', '/nowhere/games.pgn'], 1, /^gauntlet: cannot write .*no such folder/],
    [[...opponent, ...pgn, 'more'], 2, /^gauntlet: what is "more"\?/],
    [[...opponent, ...pgn, '--nonsense'], 2, /^gauntlet: Unknown option '--nonsense'/],
    [[...opponent, ...pgn, '--openings', '/nowhere.epd'], 1, /^gauntlet: \/nowhere\.epd: there is no such file/],
    [['--opponent', '/nowhere/engine', ...pgn], 1, /^gauntlet: cannot start \/nowhere\/engine/],
    [['--opponent', `${fake('other')},Book=x`, ...pgn], 1, /^gauntlet: fake other has no option Book/],
  ];
  for (const [args, status, message] of cases) {
    const result = await run('gauntlet', '--engine', fake('mate'), ...args);
    assert.equal(result.status, status, result.err);
    assert.match(result.err, message);
    assert.equal(result.err.trim().split('\n').length, 1, result.err);
  }
  assert.ok(!fs.existsSync(path.join(folder, 'none.pgn')));
});

test('openings need a judge that runs, and draw the same moves from the same seed', async () => {
  assert.match((await run('openings', '--help')).out, /^usage: tools\/openings/);
  assert.equal((await run('openings')).status, 2);
  const missing = await run('openings', '--judge', '/nowhere/engine');
  assert.equal(missing.status, 1);
  assert.match(missing.err, /^openings: cannot start \/nowhere\/engine/);
  // The fake finds everything even at 12 centipawns, which is printed.
  const judge = write('judge', `#!/bin/sh\nexec ${process.execPath} ${here}/fake-player.mjs judge\n`);
  fs.chmodSync(judge, 0o755);
  const draw = (seed, limit, count = '5') =>
    run('openings', '--judge', judge, '--count', count, '--seed', seed, '--limit', limit);
  const [one, again, other] = [await draw('1', '12'), await draw('1', '12'), await draw('2', '12')];
  const lines = one.out.trim().split('\n');
  assert.equal(new Set(lines).size, 5);
  for (const line of lines) assert.match(line, / w [KQkq-]+ [a-h36-]+ ce 12;$/);
  assert.equal(one.out, again.out);
  assert.notEqual(one.out, other.out);
  const none = await draw('1', '11', '1');
  assert.equal(none.status, 1);
  assert.equal(none.err, 'openings: only 0 of 1 openings are balanced\n');
});

test('the openings of the matches are 250 different positions that stand evenly', () => {
  const lines = fs.readFileSync(path.join(root, 'data', 'openings.epd'), 'utf8').trim().split('\n');
  const keys = lines.map((line) => line.split(' ').slice(0, 4).join(' '));
  assert.equal(new Set(keys).size, 250);
  for (const line of lines) {
    assert.match(line, / w [KQkq-]+ [a-h36-]+ ce -?\d+;$/);
    assert.ok(Math.abs(Number(line.match(/ce (-?\d+);/)[1])) <= 40, line);
  }
});
