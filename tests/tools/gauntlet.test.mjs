// SPDX-License-Identifier: MIT
// Matches: Elo differences, who wins and whose fault it was; an interrupted gauntlet resumes.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import test from 'node:test';
import { eloOf, evaluateMatch } from '../../tools/lib/elo.mjs';
import { checkUse, fake, file, linesOf, read, run } from './support.mjs';

const fakeNamed = (name, ...manner) => `${fake(...manner)},name=${name}`;

// The side to move mates at once, so White wins.
const mateInOne = file('mate.epd', '6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - id "back rank";\n');
const start = file('start.epd', 'rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq -\n');
// No mating material.
const bare = file('bare.epd', '8/8/4k3/8/8/3NK3/8/8 w - -\n');

/** Runs a gauntlet; row: the cells of the last row of its table. */
async function gauntlet(name, opponent, games, openings) {
  const pgn = file(`${name}.pgn`);
  const args = ['--engine', fakeNamed('mate'), '--opponent', opponent, '--pgn', pgn];
  const limits = ['--time', '1+0', '--games', String(games), '--openings', openings];
  const result = await run('gauntlet', [...args, ...limits]);
  const row = linesOf(result.out).at(-1).split('|').map((cell) => cell.trim());
  return { ...result, row, text: read(pgn) };
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
  // If the opening decides every game, the engines are certainly equal.
  const even = evaluateMatch([[1, 0], [0, 1], [1, 0]]);
  assert.deepEqual([even.elo, even.low, even.high].map(Math.round), [0, 0, 0]);
});

test('a game without its partner counts for the score but not for the error', () => {
  const match = evaluateMatch([[1, 0], [0, 1], [1]]);
  assert.deepEqual([match.games, match.score], [5, 0.6]);
  assert.deepEqual(match.pentanomial, [0, 0, 2, 0, 0]);
});

test('White mates in the opening, so each engine wins once in a pair', async () => {
  const { status, row, text } = await gauntlet('mates', fakeNamed('mate two'), 2, mateInOne);
  assert.equal(status, 0);
  assert.deepEqual(row.slice(1, 7), ['mate two', '2', '1', '0', '1', '50.0 %']);
  assert.equal(row[8], '0, 0, 1, 0, 0');
  assert.match(text, /\[White "mate"\]\n\[Black "mate two"\]\n\[Result "1-0"\]/);
  assert.match(text, /\[White "mate two"\]\n\[Black "mate"\]\n\[Result "1-0"\]/);
  assert.match(text, /\[FEN "6k1\/5ppp\/8\/8\/8\/8\/5PPP\/R5K1 w - - 0 1"\]/);
  assert.match(text, /\[Termination "checkmate"\]/);
  assert.match(text, /1\. Ra8# \{\+0\.10\/12 0\.\d+s\} 1-0/);
});

for (const [fault, ending] of [
  ['illegal', 'illegal move'],
  ['dies', 'engine has ended'],
  ['late', 'time forfeit'],
  ['waits', 'engine does not answer'],
]) {
  test(`an opponent loses by its own fault, which is counted: ${ending}`, async () => {
    const { status, row, text } = await gauntlet(fault, fakeNamed(fault, fault, 3), 2, start);
    assert.equal(status, 0);
    assert.deepEqual(row.slice(2, 6), ['2', '2', '0', '0']);
    assert.deepEqual(row.slice(9, 11), ['0', '2']);
    assert.equal(text.split(`[Termination "${ending}"]`).length, 3);
  });
}

test('a gauntlet resumes where its file of games ends, and plays no game twice', async () => {
  const first = await gauntlet('resumed', fakeNamed('other'), 1, bare);
  assert.deepEqual(first.row.slice(2, 6), ['1', '0', '1', '0']);
  const { row, text } = await gauntlet('resumed', fakeNamed('other'), 3, bare);
  assert.deepEqual(row.slice(2, 6), ['3', '0', '3', '0']);
  const tags = text.match(/\[(Round|Termination) ".*"\]/g);
  const end = '[Termination "insufficient material"]';
  assert.deepEqual(tags, ['[Round "1"]', end, '[Round "2"]', end, '[Round "3"]', end]);
});

test('wrong arguments and missing files get one line and a status', async () => {
  const opponent = ['--opponent', fakeNamed('other')];
  const pgn = ['--pgn', file('none.pgn')];
  const both = [...opponent, ...pgn];
  await checkUse([
    ['gauntlet', [], 2, /please name an opponent/],
    ['gauntlet', [...opponent], 2, /please name a file/],
    ['gauntlet', [...both, '--games', 'many'], 2, /--games takes a whole number/],
    ['gauntlet', [...both, '--time', '2'], 2, /--time takes seconds/],
    ['gauntlet', [...opponent, '--pgn', '/nowhere/games.pgn'], 1, /cannot write .*no such folder/],
    ['gauntlet', [...both, 'more'], 2, /what is "more"\?/],
    ['gauntlet', [...both, '--nonsense'], 2, /Unknown option '--nonsense'/],
    ['gauntlet', [...both, '--openings', '/nowhere.epd'], 1, / \/nowhere\.epd: no such file/],
    ['gauntlet', ['--opponent', '/nowhere/engine', ...pgn], 1, /cannot start \/nowhere\/engine/],
    ['gauntlet', ['--opponent', `${fakeNamed('other')},Book=x`, ...pgn], 1, /has no option Book/],
  ]);
  assert.ok(!fs.existsSync(file('none.pgn')));
});
