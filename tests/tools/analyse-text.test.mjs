// SPDX-License-Identifier: MIT
// Chess as text: games and records, scores, swings and the graph. The expectations are worked out
// by hand.

import assert from 'node:assert/strict';
import test from 'node:test';
import { formatRows, kindOf, readWork, swingsOf } from '../../tools/lib/analysis.mjs';
import {
  endOf, expectation, numbered, playText, readFen, readGames, readScore, sanLine, scoreText,
  startFen,
} from '../../tools/lib/chess.mjs';
import { movesOf, parseEpd, taskOf } from '../../tools/lib/epd.mjs';
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

test('scores have a text, and a share of the point: four pawns are ten to one', () => {
  for (const [score, text, share] of [
    [{ cp: 0 }, '0.00', 0.5], [{ cp: 400 }, '+4.00', 10 / 11], [{ cp: -400 }, '-4.00', 1 / 11],
    [{ mate: 3 }, '#3', 1], [{ mate: -9 }, '#-9', 0], [{ mate: 0, winner: 'w' }, '1-0', 1],
    [{ mate: 0, winner: 'b' }, '0-1', 0],
  ]) {
    assert.equal(scoreText(score), text);
    assert.ok(Math.abs(expectation(score) - share) < 1e-12);
  }
  assert.equal(scoreText(null), '?');
});

test('games are read: comments, NAGs, variations, stray numbers, any start, wrong moves', () => {
  const hard = `
% this line is escaped 1. h4
[Event "one [two] {three}"]
[White "a \\"b\\" c"]

1.e4 {a (comment) 1-0 [here} e5! $14 2 Nf3 (2. f4 exf4 (2... d5 {so}) 3. Nf3) 2 ... Nc6 ; rest 3. h4
3. Bb5 a6?! 4. Ba4 Nf6 5. 0-0 {open`;
  const tag = '[FEN "r3k2r/4P3/8/8/8/8/1p6/4K2R b kq - 0 9"]\n';
  // Each game is its moves, and what is wrong with the next one.
  for (const [text, ...expected] of [
    [hard, 'e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O'],
    ['1. g1f3 d7-d5 2. Nfh4 0-1', 'Nf3 d5 Nh4'],
    ['[White "a"]\n1. e4 e5 1-0\n[White "b"]\n1. d4 *\n', 'e4 e5', 'd4'],
    ['1. e4 e5 1-0 1. d4 1/2-1/2 1. c4 c5 2. g3', 'e4 e5', 'd4', 'c4 c5 g3'],
    ['[White "a"]\n\n1. e4 (1. d4 \n[White "b"]\n\n1. d4 d5\n', 'e4', 'd4 d5'],
    ['[White "a"]\n[White "b"]\n1. d4\n', '', 'd4'],
    [`${tag}9... b1Q+ 10. Ke2 Qa2+ *`, 'b1=Q+ Ke2 Qa2+'],
    [`${tag}9... 0-0 *`, ': 9... 0-0 is not a legal move'],
    ['1. e4 e5 2. Ke3 Nf6 *\n\n1. d4 *', 'e4 e5: 2. Ke3 is not a legal move', 'd4'],
    ['1. e4 Nf3', 'e4: 1... Nf3 is not a legal move'],
    ['1. e4 --', 'e4: 1... -- is not a legal move'],
    ['[FEN "8/8"]\n1. e4', ': not a position: must contain six space-delimited fields'],
  ]) {
    const games = readGames(text).map(({ moves, error }) => {
      const line = moves.map(({ san }) => san).join(' ');
      return error ? `${line}: ${error}` : line;
    });
    assert.deepEqual(games, expected);
  }
  const [{ tags }] = readGames(hard);
  assert.deepEqual([...tags.values()], ['one [two] {three}', 'a "b" c']);
  assert.equal(readGames('1. e4 0-1')[0].result, '0-1');
});

test('moves are understood as people write them, and illegal ones change nothing', () => {
  const fen = '4k3/P7/8/8/8/8/8/R3K2R w KQ - 0 1';
  for (const [text, san] of [['Kd8'], ['0-0-0', 'O-O-O'], ['a8Q', 'a8=Q+']]) {
    const chess = readFen(fen);
    assert.equal(playText(chess, text)?.san, san);
    if (!san) assert.equal(chess.fen(), fen);
  }
});

test('a position needs two kings, and the side not to move may not be in check', () => {
  assert.equal(readFen('startpos').fen(), startFen);
  assert.equal(readFen('4k3/8/8/8/8/8/8/4K3 b - -').fen(), '4k3/8/8/8/8/8/8/4K3 b - - 0 1');
  for (const text of [
    '8/8/8/8/8/8/8/8 w - - 0 1', '4k3/8/8/8/8/8/8/4K2P w - - 0 1', '4k3/8/8/8/8/8/8 w - - 0 1',
    'startpos moves e2e4', '', '4k2R/8/8/8/8/8/8/4K3 w - - 0 1',
  ]) {
    assert.throws(() => readFen(text), /^Error: not a position: /, text);
  }
});

test('a line is numbered from its first position, and ends before an illegal move', () => {
  const fen = 'rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1';
  assert.deepEqual(sanLine(fen, ['e7e5', 'g1f3', 'a1a8', 'b8c6']), ['e5', 'Nf3']);
  assert.equal(numbered(fen, ['e5', 'Nf3', 'Nc6']), '1... e5 2. Nf3 Nc6');
  assert.equal(numbered(startFen, ['e4', 'e5']), '1. e4 e5');
  assert.equal(numbered(fen, []), '');
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

test('a record is a position and operations, whose texts may hold anything but quotes', () => {
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

test('records and games are told apart; wrong records are reported and the others kept', () => {
  assert.equal(kindOf('# comment\n\n4k3/8/8/8/8/8/8/4K3 w - -\n'), 'epd');
  assert.equal(kindOf('[Event "x"]\n1. e4'), 'pgn');
  assert.equal(kindOf('1. e4 e5'), 'pgn');
  for (const [text, names, problem] of [
    ['Dear Sir, thank you.\n', [], 'f: neither positions nor games'],
    [' \n', [], 'f: the file is empty'],
    ['4k3/8/8/8/8/8/8/R3K3 w - - id "r";\n8/8/8/8/8/8/8/8 w - -\n\nstartpos\n', ['r', '2'],
      'f, line 2: not a position: missing white king'],
  ]) {
    const problems = [];
    const works = readWork('f', text, (each) => problems.push(each));
    assert.deepEqual(works.flatMap(({ positions }) => positions.map(({ name }) => name)), names);
    assert.deepEqual(problems, [problem]);
  }
});

const readGame = (text) => readWork('f', text, assert.fail)[0];
const resultsOf = (scores, bests = []) =>
  scores.map((score, i) => ({ score, best: bests[i] ?? null, line: [], depth: 12 }));

test('a swing is a share of the point that the mover loses', () => {
  const { positions } = readGame('1. e4 e5 2. Nf3 Nc6 *');
  const swings = (scores, bests, count) =>
    swingsOf(positions, resultsOf(scores, bests.split(' ')), count);
  // Four pawns move the share between 0.5 and 10/11.
  const found = swings([{ cp: 0 }, { cp: 0 }, { cp: 400 }, { cp: 0 }], 'e4 c5 d4');
  assert.deepEqual(found.map(({ index, text }) => [index, text]), [
    [1, '1... e5?? (0.00 -> +4.00; better 1... c5)'],
    [2, '2. Nf3?? (+4.00 -> 0.00; better 2. d4)'],
  ]);
  assert.ok(Math.abs(found[0].loss - (10 / 11 - 0.5)) < 1e-12);
  for (const [why, scores, bests] of [
    ['half a pawn is 7 %', [{ cp: 0 }, { cp: -50 }, { cp: 0 }, { cp: 0 }], 'd4 c5 d4'],
    ["the engine's own move", [{ cp: 0 }, { cp: -400 }], 'e4'],
    ['no score', [{ cp: 0 }, null, { cp: -400 }], 'd4 c5'],
    ['a pawn in a won game: 10/11 to 0.849', [{ cp: 400 }, { cp: 300 }], 'd4'],
    ['nothing after it', [{ cp: 0 }], 'd4'],
  ]) {
    assert.deepEqual(swings(scores, bests), [], why);
  }
  const many = [0, -120, 400, -400, 0].map((value) => ({ cp: value }));
  const largest = swings(many, 'a3 a6 a3 a6', 2);
  assert.deepEqual(largest.map(({ index }) => index), [1, 2]);
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

test("the graph has a point for each score, at the height of White's share", () => {
  const { positions } = readGame('1. e4 e5 2. Nf3 *');
  const draw = (...scores) =>
    drawScores({ title: 'A & <B>', positions, results: resultsOf(scores) });
  const svg = draw({ cp: 0 }, { cp: 400 }, null, { mate: -3 });
  // The field reaches from 64 to 352 and from 64 to 936; 10/11 of it is 261.8 above its foot.
  assert.match(svg, /<path d="M64 208L354\.7 90\.2L936 352" class="line"/);
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
  const { positions } = readGame(`${words.join(' ')} *`);
  const results = resultsOf(scores, Array(401).fill('a3'));
  const swings = swingsOf(positions, results);
  const svg = drawScores({ title: 'long', positions, results, swings });
  assert.match(svg, /class="large"/);
  assert.match(svg, />101\. Nf3\?\?</);
  const ticks = [...svg.matchAll(/<line x1="([\d.]+)"[^>]*class="tick"/g)];
  assert.ok(ticks.length > 5);
  for (let i = 1; i < ticks.length; i++) assert.ok(ticks[i][1] - ticks[i - 1][1] >= 40);
});
