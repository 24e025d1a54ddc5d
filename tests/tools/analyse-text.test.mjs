// SPDX-License-Identifier: MIT
// Scores, records, the table of a position, swings and the graph. The expectations are worked out
// by hand.

import assert from 'node:assert/strict';
import test from 'node:test';
import { formatRows, kindOf, readGame as readGameOf, readJobs } from '../../tools/lib/analysis.mjs';
import { endOf, readFen, readScore } from '../../tools/lib/chess.mjs';
import { movesOf, parseEpd, taskOf } from '../../tools/lib/epd.mjs';
import { makeReport, swingsOf } from '../../tools/lib/report.mjs';
import { drawScores } from '../../tools/lib/score-graph.mjs';

const mate = (value) => ({ kind: 'mate', value });
const cp = (value) => ({ kind: 'cp', value });

test("scores become White's, and mates of Quillon are counted as usual", () => {
  const [isBlack, isQuillon] = [true, true];
  for (const [score, how, expected] of [
    [cp(31), {}, { cp: 31 }],
    [cp(31), { isBlack }, { cp: -31 }],
    [cp(0), { isBlack }, { cp: 0 }],
    [mate(3), { isBlack }, { mate: -3 }],
    [mate(-2), {}, { mate: -2 }],
    // Quillon counts one move too many for the side that is mated.
    [mate(-3), { isQuillon }, { mate: -2 }],
    [mate(-3), { isQuillon, isBlack }, { mate: 2 }],
    [mate(2), { isQuillon }, { mate: 2 }],
    // Its centipawns are 32000 less the plies: 5 to mate in three, 4 to be mated in two.
    [cp(31995), { isQuillon }, { mate: 3 }],
    [cp(-31996), { isQuillon }, { mate: -2 }],
    [cp(31999), { isQuillon }, { mate: 1 }],
    [cp(31995), {}, { cp: 31995 }],
  ]) {
    assert.deepEqual(readScore(score, how), expected);
  }
});

test('the end of a game has a reason; draws that must be claimed count on request', () => {
  for (const [end, fen] of [
    ['checkmate', 'R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1'],
    ['stalemate', '7k/5Q2/6K1/8/8/8/8/8 b - - 0 1'],
    ['insufficient material', '8/8/4k3/8/8/3NK3/8/8 w - - 0 1'],
    ['fifty moves', '4k3/8/8/8/8/8/4R3/4K3 b - - 100 90'],
    [null, 'startpos'],
  ]) {
    assert.equal(endOf(readFen(fen)), end);
    assert.equal(endOf(readFen(fen), false), end === 'fifty moves' ? null : end);
  }
});

const rook = '4k3/8/8/8/8/8/8/R3K2R w KQ -';

test('a record is a position and operations, whose texts may contain anything but quotes', () => {
  const { fen, operations } = parseEpd(
    `${rook} bm O-O Ra8+; id "a; b (c)"; c0 ""; hmvc 7; fmvn 40; ce -30`,
  );
  assert.equal(fen, `${rook} 7 40`);
  assert.deepEqual(Object.fromEntries(operations), {
    bm: 'O-O Ra8+', id: 'a; b (c)', c0: '', hmvc: '7', fmvn: '40', ce: '-30',
  });
  assert.equal(parseEpd(`${rook} 3 9 bm Ra8#;`).fen, `${rook} 3 9`);
  assert.deepEqual([...movesOf(fen, 'O-O Ra8+! 0-0-0')], ['e1g1', 'a1a8', 'e1c1']);
});

test('a record without a task, or with an impossible one, is refused', () => {
  const task = (operations) => taskOf(parseEpd(`${rook} ${operations}`));
  assert.deepEqual(task('dm 3; am Ra8;'), { best: null, avoid: new Set(['a1a8']), mate: 3 });
  assert.throws(() => task('id "x";'), /no "bm", "am" or "dm"/);
  assert.throws(() => task('bm Ra9;'), /Ra9 is not a legal move/);
  assert.throws(() => task('bm;'), /"bm" names no move/);
  assert.throws(() => task('dm three;'), /"dm" takes a number of moves, not "three"/);
  assert.throws(() => task('bm "Ra8;'), /not an operation/);
  assert.throws(() => parseEpd('bm e4;'), /not a position/);
});

/** The jobs and problems of a text. */
async function read(...pieces) {
  const [jobs, problems] = [[], []];
  for await (const job of readJobs('f', pieces, (each) => problems.push(each))) jobs.push(job);
  return { jobs, problems };
}

test('records are told from games; wrong ones are reported and the others kept', async () => {
  assert.equal(kindOf('# comment\n\n4k3/8/8/8/8/8/8/4K3 w - -\n'), 'epd');
  assert.equal(kindOf('[Event "x"]\n1. e4'), 'pgn');
  assert.equal(kindOf('1. e4 e5'), 'pgn');
  for (const [text, names, problem] of [
    ['Dear Sir, thank you.\n', [], 'f, line 1, column 1: this is neither a position nor a game'],
    [' \n', [], 'f: the file is empty'],
    ['4k3/8/8/8/8/8/8/R3K3 w - - id "r";\n8/8/8/8/8/8/8/8 w - -\n\nstartpos\n', ['r', '2'],
      'f, line 2: not a position: missing white king'],
  ]) {
    const { jobs, problems } = await read(text);
    assert.deepEqual(jobs.map(({ position }) => position.name), names);
    assert.deepEqual(problems, [problem]);
  }
});

const readGame = (text) => readGameOf({ isOnly: true, text, line: 1, column: 1 });
const resultsOf = (scores) => scores.map((score) => ({ score }));

test('the swings are the moves that lost most, in the order of the game', () => {
  const { tree } = readGame('1. e4 e5 2. Nf3 Nc6 *');
  const results = [0, -120, 400, -400, 0].map((value) => ({ score: { cp: value } }));
  results[1].line = ['c7c5'];
  const swings = swingsOf(makeReport(tree, results), 2);
  assert.deepEqual(swings.map(({ index, mark, text }) => [index, mark, text]), [
    [1, '??', '1... e5?? (-1.20 -> +4.00; better 1... c5)'],
    [2, '??', '2. Nf3?? (+4.00 -> -4.00)'],
  ]);
  // From 81.3487 to 18.6513 %.
  assert.ok(Math.abs(swings[1].loss - 62.6975) < 0.0001);
});

test('a position has a row for each line in the table, with "?" for a missing score', () => {
  const [position, end] = readGame('1. e4 *').positions;
  const line = { score: { cp: 25 }, depth: 12, san: ['d4', 'd5'] };
  const none = { score: null, depth: null, san: ['c4'] };
  assert.deepEqual(formatRows(position, { lines: [line, none] }, 5), [
    '1. e4    +0.25     12  d4       1. d4 d5',
    '             ?      -  c4       1. c4',
  ]);
  const mated = { ...end, end: 'checkmate' };
  const [row] = formatRows(mated, { score: { mate: 0, winner: 'w' }, lines: [] }, 5);
  assert.equal(row, 'end        1-0      -  -        checkmate');
});

test("the graph has a point for each score, at the height of White's win %", () => {
  const { positions } = readGame('1. e4 e5 2. Nf3 *');
  const draw = (...scores) =>
    drawScores({ title: 'A & <B>', positions, results: resultsOf(scores) });
  const svg = draw({ cp: 0 }, { cp: 400 }, null, { mate: -3 });
  // The field reaches from 64 to 352 and from 64 to 936; 81.35 % of it is 234.3 above its foot.
  assert.match(svg, /<path d="M64 208L354\.7 117\.7L936 352" class="line"/);
  assert.match(svg, /A &amp; &lt;B&gt;/);
  assert.match(svg, /prefers-color-scheme: dark/);
  for (const scores of [[], [{ cp: 5 }], [null, null]]) {
    assert.doesNotMatch(draw(...scores), /NaN|undefined|class="line"/);
  }
  const lone = readGame('[White "x"]\n\n*');
  assert.doesNotMatch(drawScores({ ...lone, results: [] }), /NaN|undefined/);
});

test('the graph marks swings, and numbers moves at least 40 units apart', () => {
  const words = Array.from({ length: 400 }, (_, i) => ['Nf3', 'Nf6', 'Ng1', 'Ng8'][i % 4]);
  const scores = Array.from({ length: 401 }, (_, i) => ({ cp: i > 200 ? -500 : 0 }));
  const { tree, positions } = readGame(`${words.join(' ')} *`);
  const results = resultsOf(scores);
  const swings = swingsOf(makeReport(tree, results));
  const svg = drawScores({ title: 'long', positions, results, swings });
  assert.match(svg, /class="large"/);
  assert.match(svg, />101\. Nf3\?\?</);
  const ticks = [...svg.matchAll(/<line x1="([\d.]+)"[^>]*class="tick"/g)];
  assert.ok(ticks.length > 5);
  for (let i = 1; i < ticks.length; i++) assert.ok(ticks[i][1] - ticks[i - 1][1] >= 40);
});
