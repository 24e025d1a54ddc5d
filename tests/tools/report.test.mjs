// SPDX-License-Identifier: MIT
// Reports of games: the formulas, games with known blunders, the output.

import assert from 'node:assert/strict';
import test from 'node:test';
import { GameTree, listGames, readGame } from '../../tools/lib/game-tree.mjs';
import {
  addReasons,
  annotatedPgn,
  betterText,
  formatReport,
  makeReport,
  markOf,
  markText,
  moveAccuracy,
  timeText,
} from '../../tools/lib/report.mjs';

const near = (actual, expected) =>
  assert.ok(Math.abs(actual - expected) < 0.0001, `${actual} is not ${expected}`);

/** A game and its report. A score is centipawns, "#-1" or null; lines are those of the engine. */
function reportOn(pgn, scores, lines = {}) {
  const tree = readGame(pgn);
  const scoreOf = (text) =>
    typeof text === 'string' ? { mate: Number(text.slice(1)) } : { cp: text };
  const results = scores.map((each, i) => ({
    score: each === null ? null : scoreOf(each),
    line: lines[i]?.split(' ') ?? [],
  }));
  return { tree, report: makeReport(tree, results) };
}

const marksOf = ({ moves }) =>
  moves.filter(({ mark }) => mark).map(({ name, mark }) => name + mark.text);

// The numbers were computed with a pocket calculator.
test('the accuracy of a move follows the published formula', () => {
  for (const [loss, accuracy] of [
    [0, 99.9999], [1, 95.6044], [5, 79.817], [15, 50.5242], [50, 8.5303], [100, 0],
  ]) {
    near(moveAccuracy(loss), accuracy);
  }
});

test('a move is an inaccuracy from 5 points of win %, a mistake from 10, a blunder from 15', () => {
  const texts = [4.99, 5, 9.99, 10, 14.99, 15, 100].map((loss) => markOf(loss)?.text);
  assert.deepEqual(texts, [undefined, '?!', '?!', '?', '?', '??', '??']);
});

test("fool's mate: both of White's moves are bad, Black's are exact", () => {
  // A line ends before an illegal move.
  const lines = { 0: 'e2e4 e7e5 a1a8 g1f3', 2: 'd4 exd4 Qxd4' };
  const { report } = reportOn('1. f3 e5 2. g4 Qh4# 0-1', [20, -60, -70, '#-1', null], lines);
  assert.deepEqual(marksOf(report), ['1. f3?!', '2. g4??']);
  // From 51.84 to 44.50, and from 43.59 to 0.
  near(report.moves[0].loss, 7.341);
  near(report.moves[2].loss, 43.5918);
  // A mate counts for ten pawns: 80 and 930.
  const { w, b } = report.sides;
  assert.deepEqual([w.acpl, w.inaccuracies, w.mistakes, w.blunders], [505, 1, 0, 1]);
  assert.deepEqual([b.acpl, b.inaccuracies, b.mistakes, b.blunders], [0, 0, 0, 0]);
  near(w.accuracy, 23.6101);
  near(b.accuracy, 99.9999);
  // A move that throws a win away counts for at least 1 in the harmonic mean.
  const { report: won } = reportOn('1. f3 e5 2. g4 Qh4# 0-1', [20, 20, 300, '#-1', null]);
  near(won.sides.w.accuracy, 3.3513);
  assert.deepEqual(report.turningPoints, [3]);
  assert.deepEqual(report.scores[4], { mate: 0, winner: 'b' });
  assert.deepEqual(report.opening, { name: 'Barnes Opening', ply: 1 });
  assert.equal(betterText(report.moves[0]), '1. e4 e5');
  assert.equal(markText(report.moves[2], report), 'Blunder: -0.70 to #-1; better 2. d4.');
});

test("a side's accuracy weighs its moves by how much the score moves around them", () => {
  // What each pair of moves changes: White's and Black's losses, in centipawns.
  const pairs = [
    [0, 0], [-30, 0], [0, 0], [-120, 40], [0, 0], [0, 90], [-250, 0], [0, 0], [0, 200],
  ];
  const scores = [20];
  for (const change of [...pairs, [-40, 10], ...pairs, [-40, 10]].flat()) {
    scores.push(scores.at(-1) + change);
  }
  const words = Array.from({ length: 40 }, (_, i) => ['Nf3', 'Nf6', 'Ng1', 'Ng8'][i % 4]);
  const { report } = reportOn(`${words.join(' ')} *`, scores.slice(0, 40).concat(-180));
  // The last position is a draw by repetition, so Black's last move loses nothing.
  assert.deepEqual(report.scores[40], { cp: 0 });
  words[39] = 'Nd5';
  const { report: other } = reportOn(`${words.join(' ')} *`, scores);
  const { w, b } = other.sides;
  assert.deepEqual([w.acpl, b.acpl], [44, 34]);
  // A second implementation, made of lists of windows as lichess describes them.
  near(w.accuracy, 80.0619);
  near(b.accuracy, 84.7516);
  assert.deepEqual(marksOf(other), [
    '4. Ng1?', '6... Ng8?!', '7. Nf3??', '9... Nf6??',
    '14. Ng1?', '16... Ng8?!', '17. Nf3??', '19... Nf6?',
  ]);
  // To 28.5 % and so losing, to 45.4 and so even; again, to 21.6 and 36.5. Ply 27 ends at 30.01.
  assert.deepEqual(other.turningPoints, [13, 18, 33, 38]);
});

test('a forced move is scored, by the position after it, and so is never at fault', () => {
  const { report } = reportOn('[FEN "7k/6Q1/8/8/8/7r/8/K7 b - - 0 1"]\nKxg7 Ka2 *', [900, 0, 0]);
  assert.deepEqual(
    report.moves.map(({ isForced }) => isForced),
    [true, false],
  );
  assert.deepEqual(report.scores[0], { cp: 0 });
  assert.deepEqual([report.sides.b.acpl, marksOf(report)], [0, []]);
  assert.equal(report.moves[0].accuracy, moveAccuracy(0));
  // Kh7 is forced, so White mates in one after it as before it.
  const rook = '[FEN "7k/5KR1/8/8/8/8/8/8 w - - 0 1"]\n1. Rg1 Kh7 2. Rh1# 1-0';
  const { scores } = reportOn(rook, ['#2', null, '#1', null]).report;
  assert.deepEqual(scores, [{ mate: 2 }, { mate: 1 }, { mate: 1 }, { mate: 0, winner: 'w' }]);
  // Kxb2 is forced and one of White's moves to the mate.
  const queen = '[FEN "7k/8/8/8/8/8/1q5P/K7 w - - 0 1"]\nKxb2 *';
  assert.deepEqual(reportOn(queen, [null, '#5']).report.scores[0], { mate: 6 });
  assert.deepEqual(reportOn(queen, [null, '#-5']).report.scores[0], { mate: -5 });
});

test('mates that are missed, delayed and allowed are told apart', () => {
  const moves = '1. e4 e5 2. Bc4 Nc6 3. Qh5 Nf6 4. Qxf7# 1-0';
  const { report } = reportOn(moves, [20, 20, 20, 0, 0, -30, '#1', null]);
  assert.deepEqual(marksOf(report), ['3... Nf6??']);
  assert.equal(report.moves[5].cpLoss, 1000 + 30);
  // A mate in 1 that becomes +5 loses 13.7 points; one that becomes a mate in 3 nothing.
  for (const [after, marks] of [[500, ['3... Nf6??', '4. Nh3?']], ['#3', ['3... Nf6??']]]) {
    const game = '1. e4 e5 2. Bc4 Nc6 3. Qh5 Nf6 4. Nh3 *';
    const { report: missed } = reportOn(game, [20, 20, 20, 0, 0, -30, '#1', after]);
    assert.deepEqual(marksOf(missed), marks);
  }
});

test('moves without scores are left out; there may be none at all', () => {
  const { report } = reportOn('1. e4 e5 2. Nf3 *', [20, null, 30, -400]);
  assert.deepEqual(
    report.moves.map(({ loss }) => loss === null),
    [true, true, false],
  );
  assert.deepEqual([report.sides.w.moves, report.sides.b.acpl], [2, null]);
  assert.deepEqual(marksOf(report), ['2. Nf3??']);
  const nothing = makeReport(new GameTree(), []);
  assert.deepEqual([nothing.moves, nothing.opening, nothing.sides.w.accuracy], [[], null, null]);
  assert.match(formatReport(nothing), /^accuracy +- +-$/m);
});

test("the engine's own moves are never at fault: its view has changed", () => {
  // 1... e5 is the engine's move, so Black was at -400 before it, too, after a better 1. e4.
  const { report } = reportOn('1. e4 e5 2. d4 *', [20, 10, -400, -400], {
    0: 'd4',
    1: 'e7e5 d2d4',
  });
  assert.deepEqual(report.scores, [{ cp: 20 }, { cp: -400 }, { cp: -400 }, { cp: -400 }]);
  assert.deepEqual(marksOf(report), ['1. e4??']);
  assert.equal(markText(report.moves[0], report), 'Blunder: +0.20 to -4.00; better 1. d4.');
  // Without a line there is no advice.
  const { report: other } = reportOn('1. e4 e5 *', [20, -400, 0]);
  assert.deepEqual(other.moves[0].better, []);
  assert.equal(markText(other.moves[0], other), 'Blunder: +0.20 to -4.00.');
});

test('time is added up by phase, from clocks, increments and what moves took', () => {
  const pgn = `[TimeControl "60+1"]
1. e4 {[%clk 0:00:58]} e5 {[%clk 0:01:00]} 2. Nf3 {[%clk 0:00:49]} Nc6 {[%emt 0:00:02.5]}
3. Bc4 {[%clk 0:05:00]} Bc5 4. O-O {[%clk 0:05:01.5]} *`;
  const { report } = reportOn(pgn, []);
  // 3. Bc4 has been given time; 3... Bc5 has no clock; 4. O-O is rounded.
  const times = report.moves.map(({ elapsed }) => elapsed);
  assert.deepEqual(times, [2000, 0, 10000, 2500, null, null, 0]);
  const phases = report.phases.map(({ name, w, b }) => [name, w.time, b.time]);
  assert.deepEqual(phases, [['opening', 12000, 2500]]);
  assert.match(formatReport(report), /^time in the opening +0:12 +0:03$/m);
  assert.deepEqual([59499, 3723000].map(timeText), ['0:59', '1:02:03']);
});

test('the phases of a game follow the pieces that are left', () => {
  for (const [fen, moves, ...expected] of [
    // Eleven pieces besides kings and pawns, ten after 3... Bxe7.
    ['rnbqkb2/pppppppp/8/8/8/8/PPPPPPPP/RNBQKB1R w KQq - 0 1',
      '1. Nc3 Nc6 2. Nd5 Nd4 3. Nxe7 Bxe7 4. d3', ['opening', 1, 6], ['middlegame', 7, 7]],
    // Three of Black's are on its first rank.
    ['r3k2r/pppppppp/nbnqb3/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1', '1. a3', ['middlegame', 1, 1]],
    // Seven pieces, then six.
    ['2bqkr2/P7/1n6/8/8/8/8/R2QK2R b - - 0 1', '1... Nd7 2. Qxd7+ Bxd7',
      ['middlegame', 1, 2], ['endgame', 3, 3]],
    // A promotion doesn't lead back.
    ['2bqkr2/P7/8/8/8/8/8/R2QK2R w - - 0 1', '1. a8=Q Kf7', ['endgame', 1, 2]],
  ]) {
    const { phases } = reportOn(`[FEN "${fen}"]\n${moves} *`, []).report;
    assert.deepEqual(phases.map(({ name, from, to }) => [name, from, to]), expected);
  }
});

test('a blunder has a sentence on what it costs: a mate, pieces, or the answer', async () => {
  const scholar = '1. e4 e5 2. Bc4 Nc6 3. Qh5 Nf6 4. Nh3 *';
  const knight = '1. e4 e5 2. Nf3 Nc6 3. Nxe5 *';
  const knightLines = { 4: 'Bb5 a6', 5: 'c6e5 d2d4' };
  for (const [pgn, scores, lines, reason] of [
    ['1. f3 e5 2. g4 *', [20, -60, -70, '#-1'], {}, '2. g4 Black mates in 1'],
    [scholar, [0, 0, 0, 0, 0, 0, '#1', 300], {}, '4. Nh3 the mate in 1 is gone'],
    // White gives the knight for a pawn, where it could have kept everything.
    [knight, [20, 20, 20, 20, 30, -250], knightLines, '3. Nxe5 White loses a knight for a pawn'],
    // The loss is far larger than the pieces, and no evaluation is available.
    [knight, [20, 20, 20, 20, 30, -900], knightLines, '3. Nxe5 Black has 3... Nxe5'],
    // The pieces are worth far more than the loss: Black's line ends before White recaptures.
    ['1. e4 d5 2. Qg4 *', [20, 20, 20, -150], { 2: 'exd5', 3: 'Bxg4' },
      '2. Qg4 Black has 2... Bxg4'],
  ]) {
    const { report } = reportOn(pgn, scores, lines);
    await addReasons(report);
    assert.equal(report.moves.at(-1).reason, `After ${reason}.`);
  }
});

// Numbers in a colour are good for that colour.
test('without mates and captures the sentence is on the term that lost most', async () => {
  const change = (white, black) => ({ white: { cp: white }, black: { cp: black } });
  const passed = { name: 'passed pawns', group: 'passed pawns', ...change(140, -10) };
  const material = { name: 'material', group: 'material', ...change(900, 0) };
  const mobility = { name: 'bishop mobility', group: 'mobility and activity', ...change(5, -60) };
  const pawns = [
    { cp: 20, text: 'The pawn on a2 is passed' },
    { cp: 120, text: 'The pawn on c6 is passed' },
  ];
  const bishop = [{ cp: -45, text: 'The mobility of the bishop on c8' }];
  for (const [terms, squares, reason] of [
    [[passed, material], { white: { squares: pawns } },
      'the pawn on c6 is passed, which costs Black 1.4 pawns'],
    [[mobility], { black: { squares: bishop } },
      'the mobility of the bishop on c8 costs Black 0.6 pawns'],
    // No square has half of it.
    [[mobility], { black: { squares: [{ cp: 10, text: 'x' }] } },
      'Black has 0.6 pawns less for bishop mobility'],
    [[passed], {}, 'White has 1.4 pawns more for passed pawns'],
    // A term that is less than a quarter of the loss explains nothing.
    [[{ ...passed, ...change(54, 0) }], {}, 'White has 2. d4'],
  ]) {
    const { report } = reportOn('1. e4 a5 *', [20, 20, 240], { 1: 'e5', 2: 'd4' });
    const asked = [];
    await addReasons(report, (...fens) => {
      asked.push(...fens.map((fen) => fen.split(' ')[0]));
      const colours = { white: { squares: [] }, black: { squares: [] }, ...squares };
      return { terms, after: { terms: [{ name: terms[0].name, ...colours }] } };
    });
    assert.equal(report.moves.at(-1).reason, `After 1... a5 ${reason}.`);
    assert.deepEqual(asked, [
      'rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR',
      'rnbqkbnr/1ppppppp/8/p7/3PP3/8/PPP2PPP/RNBQKBNR',
    ]);
  }
});

test('an annotated game has scores, marks, sentences and better lines, and keeps its own', async () => {
  const pgn = '[White "a"]\n\n1. f3 {so} e5 (1... d5) 2. g4! Qh4# 0-1';
  const scores = [20, -60, -70, '#-1', null];
  const { tree, report } = reportOn(pgn, scores, { 2: 'd2d4 e5d4' });
  await addReasons(report);
  const saved = annotatedPgn(tree, report, 'Quillon');
  const moves = saved.split('\n\n')[1].replace(/\s+/g, ' ');
  assert.equal(
    moves,
    '{[%eval 0.20]} 1. f3 $6 {[%eval -0.60] so Inaccuracy: +0.20 to -0.60.} ' +
      '1... e5 {[%eval -0.70]} (1... d5) 2. g4 $4 ' +
      '{[%eval #-1] Blunder: -0.70 to #-1; better 2. d4. After 2. g4 Black mates in 1.} ' +
      '(2. d4 exd4) 2... Qh4# 0-1 ',
  );
  const [, annotator] = saved.match(/\[Annotator "(.*)"\]/);
  assert.equal(annotator, 'Quillon');
  // The given game is as it was; doing it again changes nothing.
  assert.match(tree.toPgn(), /^1\. f3 \{so\} 1\.\.\. e5 \(1\.\.\. d5\) 2\. g4 \$1 Qh4# 0-1$/m);
  const [again] = listGames(saved).map((game) => game.read());
  assert.equal(annotatedPgn(again, report, 'Quillon'), saved);
});
