// SPDX-License-Identifier: MIT
// Chess as text: games and records as people write them, scores as they read them, swings and the
// picture. The expectations are worked out by hand.

import assert from 'node:assert/strict';
import test from 'node:test';
import {
  analysePosition, formatRow, kindOf, pictureFile, readWork, swingsOf,
} from '../../tools/lib/analysis.mjs';
import {
  endOf, expectation, numbered, playText, readFen, readGames, readScore, sanLine, scoreText,
  startFen,
} from '../../tools/lib/chess.mjs';
import { movesOf, parseEpd, taskOf } from '../../tools/lib/epd.mjs';
import { drawScores } from '../../tools/lib/score-graph.mjs';

const mate = (value) => ({ kind: 'mate', value });
const cp = (value) => ({ kind: 'cp', value });

test("scores are turned to White's view, and Quillon's mates are counted as people do", () => {
  for (const [score, how, expected] of [
    [cp(31), {}, { cp: 31 }],
    [cp(31), { isBlack: true }, { cp: -31 }],
    [cp(0), { isBlack: true }, { cp: 0 }],
    [mate(3), { isBlack: true }, { mate: -3 }],
    [mate(-2), {}, { mate: -2 }],
    // A lost mate of Quillon is one move shorter than it says.
    [mate(-3), { isQuillon: true }, { mate: -2 }],
    [mate(-3), { isQuillon: true, isBlack: true }, { mate: 2 }],
    [mate(2), { isQuillon: true }, { mate: 2 }],
    // In centipawns it is 32000 less the plies: mate by the third move is 5 plies away, to be mated
    // by the second one 4.
    [cp(31995), { isQuillon: true }, { mate: 3 }],
    [cp(-31996), { isQuillon: true }, { mate: -2 }],
    [cp(31999), { isQuillon: true }, { mate: 1 }],
    [cp(31995), {}, { cp: 31995 }],
  ]) {
    assert.deepEqual(readScore(score, how), expected);
  }
});

test('scores are printed in pawns with a sign, mates with their moves', () => {
  for (const [score, text] of [
    [{ cp: 31 }, '+0.31'], [{ cp: -150 }, '-1.50'], [{ cp: 0 }, '0.00'], [{ mate: 3 }, '#3'],
    [{ mate: -3 }, '#-3'], [{ mate: 0, winner: 'b' }, '0-1'], [null, '?'],
  ]) {
    assert.equal(scoreText(score), text);
  }
});

test('four pawns are ten to one, and mates are certain', () => {
  assert.equal(expectation({ cp: 0 }), 0.5);
  assert.ok(Math.abs(expectation({ cp: 400 }) - 10 / 11) < 1e-12);
  assert.ok(Math.abs(expectation({ cp: -400 }) - 1 / 11) < 1e-12);
  assert.equal(expectation({ mate: -9 }), 0);
  assert.equal(expectation({ mate: 0, winner: 'w' }), 1);
});

const movesOfGame = (text) => readGames(text)[0].moves.map((move) => move.san);

test('a game is read through comments, glyphs, variations and loose numbers', () => {
  const text = `
% this line is escaped 1. h4
[Event "one [two] {three}"]
[White "a \\"b\\" c"]

1.e4 {a (comment) 1-0 [here} e5! $14 2 Nf3 (2. f4 exf4 (2... d5 {so}) 3. Nf3) 2 ... Nc6 ; rest 3. h4
3. Bb5 a6?! 4. Ba4 Nf6 5. 0-0 {open`;
  const [game] = readGames(text);
  assert.equal(game.error, null);
  assert.equal(movesOfGame(text).join(' '), 'e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O');
  assert.equal(game.tags.get('White'), 'a "b" c');
  assert.equal(game.tags.get('Event'), 'one [two] {three}');
});

test('a game may begin anywhere, and moves are understood as people write them', () => {
  const tag = '[FEN "r3k2r/4P3/8/8/8/8/1p6/4K2R b kq - 0 9"]\n';
  assert.deepEqual(movesOfGame(`${tag}9... 0-0 10. exf8Q+ Rxf8 *`), []);
  assert.deepEqual(movesOfGame(`${tag}9... b1Q+ 10. Ke2 Qa2+ *`), ['b1=Q+', 'Ke2', 'Qa2+']);
  assert.deepEqual(movesOfGame('1. g1f3 d7-d5 2. Nfh4'), ['Nf3', 'd5', 'Nh4']);
  const chess = readFen('4k3/P7/8/8/8/8/8/R3K2R w KQ - 0 1');
  for (const [text, san] of [['Kd8', undefined], ['0-0-0', 'O-O-O'], ['a8Q', 'a8=Q+']]) {
    assert.equal(playText(chess, text)?.san, san);
    if (san) chess.undo();
    assert.equal(chess.fen(), '4k3/P7/8/8/8/8/8/R3K2R w KQ - 0 1');
  }
});

test('games follow each other with tags, with results, or with both', () => {
  for (const [text, moves] of [
    ['[White "a"]\n1. e4 e5 1-0\n[White "b"]\n1. d4 *\n', [2, 1]],
    ['1. e4 e5 1-0 1. d4 1/2-1/2 1. c4 c5 2. g3', [2, 1, 3]],
    ['[White "a"]\n\n1. e4 (1. d4 \n[White "b"]\n\n1. d4 d5\n', [1, 2]],
    ['[White "a"]\n[White "b"]\n1. d4\n', [0, 1]],
  ]) {
    assert.deepEqual(readGames(text).map((game) => game.moves.length), moves);
  }
  assert.equal(readGames('1. e4 0-1')[0].result, '0-1');
});

test('a game is kept up to an illegal move, which is named with its number', () => {
  const [game, next] = readGames('1. e4 e5 2. Ke3 Nf6 *\n\n1. d4 *');
  assert.equal(game.moves.length, 2);
  assert.equal(next.error, null);
  for (const [text, error] of [
    ['1. e4 e5 2. Ke3 Nf6 *', /^2\. Ke3 is not a legal move$/],
    ['1. e4 Nf3', /^1\.\.\. Nf3 is not a legal move$/],
    ['1. e4 --', /^1\.\.\. -- is not a legal move$/],
    ['[FEN "8/8"]\n1. e4', /^not a position/],
  ]) {
    assert.match(readGames(text)[0].error, error);
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

test('lines are numbered from where they begin, and end before an illegal move', () => {
  const fen = 'rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq - 0 1';
  assert.deepEqual(sanLine(fen, ['e7e5', 'g1f3', 'a1a8', 'b8c6']), ['e5', 'Nf3']);
  assert.equal(numbered(fen, ['e5', 'Nf3', 'Nc6']), '1... e5 2. Nf3 Nc6');
  assert.equal(numbered(startFen, ['e4', 'e5']), '1. e4 e5');
  assert.equal(numbered(fen, []), '');
});

test('the end of a game is told, claims only where they are asked for', () => {
  const ends = {
    checkmate: 'R5k1/5ppp/8/8/8/8/8/4K3 b - - 0 1',
    stalemate: '7k/5Q2/6K1/8/8/8/8/8 b - - 0 1',
    'insufficient material': '8/8/4k3/8/8/3NK3/8/8 w - - 0 1',
    'fifty moves': '4k3/8/8/8/8/8/4R3/4K3 b - - 100 90',
  };
  for (const [end, fen] of Object.entries(ends)) assert.equal(endOf(readFen(fen)), end);
  assert.equal(endOf(readFen(ends['fifty moves']), false), null);
  assert.equal(endOf(readFen('startpos')), null);
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

test('a record that asks for nothing, or for what cannot be, is refused', () => {
  const task = (operations) => taskOf(parseEpd(`${rook} ${operations}`));
  for (const [operations, message] of [
    ['id "x";', /no "bm", "am" or "dm"/],
    ['bm Ra9;', /Ra9 is not a legal move/],
    ['bm;', /"bm" names no move/],
    ['dm three;', /"dm" takes a number of moves, not "three"/],
    ['bm "Ra8;', /not an operation/],
  ]) {
    assert.throws(() => task(operations), message);
  }
  assert.throws(() => parseEpd('bm e4;'), /not a position/);
  assert.deepEqual(task('dm 3; am Ra8;'), { best: null, avoid: new Set(['a1a8']), mate: 3 });
});

test('what a text is, is found out by looking; wrong records are named and the others stay', () => {
  assert.equal(kindOf('# comment\n\n4k3/8/8/8/8/8/8/4K3 w - -\n'), 'epd');
  assert.equal(kindOf('[Event "x"]\n1. e4'), 'pgn');
  assert.equal(kindOf('1. e4 e5'), 'pgn');
  for (const [text, names, problem] of [
    ['Dear Sir, thank you.\n', [], 'f: neither positions nor games'],
    [' \n', [], 'f: there is nothing in it'],
    ['4k3/8/8/8/8/8/8/R3K3 w - - id "r";\n8/8/8/8/8/8/8/8 w - -\n\nstartpos\n', ['r', '2'],
      'f, line 2: not a position: missing white king'],
  ]) {
    const problems = [];
    const works = readWork('f', text, (each) => problems.push(each));
    assert.deepEqual(works.flatMap(({ positions }) => positions.map(({ name }) => name)), names);
    assert.deepEqual(problems, [problem]);
  }
});

/** Positions and results of a game with these scores. */
function gameWith(text, scores, bests = []) {
  const [work] = readWork('f', text, assert.fail);
  const result = { best: null, line: [], depth: 12 };
  const results = scores.map((score, i) => ({ ...result, score, best: bests[i] ?? null }));
  return { ...work, results };
}

test('a swing is what the mover gives away, for either side', () => {
  // From 0 to 4 pawns is 0.5 to 10/11 of the point: 0.41 lost by Black. Back again: lost by White.
  const scores = [{ cp: 0 }, { cp: 0 }, { cp: 400 }, { cp: 0 }];
  const { positions, results } = gameWith('1. e4 e5 2. Nf3 *', scores, ['e4', 'c5', 'd4']);
  const swings = swingsOf(positions, results);
  assert.deepEqual(swings.map(({ index, text }) => [index, text]), [
    [1, '1... e5?? (0.00 -> +4.00; better 1... c5)'],
    [2, '2. Nf3?? (+4.00 -> 0.00; better 2. d4)'],
  ]);
  assert.ok(Math.abs(swings[0].loss - (10 / 11 - 0.5)) < 1e-12);
});

test('small losses, own best moves and positions without a score are no swings', () => {
  for (const [scores, bests] of [
    // Half a pawn is 7 % of the point.
    [[{ cp: 0 }, { cp: -50 }, { cp: 0 }, { cp: 0 }], ['d4', 'c5', 'd4']],
    [[{ cp: 0 }, { cp: -400 }], ['e4']],
    [[{ cp: 0 }, null, { cp: -400 }], ['d4', 'c5']],
    // A pawn in a won game decides nothing: 10/11 to 0.849.
    [[{ cp: 400 }, { cp: 300 }], ['d4']],
    [[{ cp: 0 }], ['d4']],
  ]) {
    const { positions, results } = gameWith('1. e4 e5 2. Nf3 *', scores, bests);
    assert.deepEqual(swingsOf(positions, results), []);
  }
});

test('only the largest swings are named, in the order of the game', () => {
  const scores = [0, -120, 400, -400, 0].map((value) => ({ cp: value }));
  const bests = ['a3', 'a6', 'a3', 'a6'];
  const { positions, results } = gameWith('1. e4 e5 2. Nf3 Nc6 *', scores, bests);
  const swings = swingsOf(positions, results, { count: 2 });
  assert.deepEqual(swings.map(({ index }) => index), [1, 2]);
});

test('a table row has the score, and a mark where there is none', () => {
  const [work] = readWork('f', '1. e4 *', assert.fail);
  const row = (result) => formatRow(work.positions[0], { best: 'd4', ...result }, 5);
  const result = { score: { cp: 25 }, depth: 12, line: ['d4', 'd5'] };
  assert.equal(row(result), '1. e4    +0.25     12  d4       1. d4 d5');
  const none = { score: null, depth: null, line: ['d4'] };
  assert.equal(row(none), '1. e4        ?      -  d4       1. d4');
});

/** An engine that shows lines, answers at once, and keeps what it was asked. */
function stub(answer, infos = []) {
  const asked = [];
  const search = (position, limits, onInfo, patience) => {
    asked.push([position, limits, patience]);
    infos.forEach(onInfo);
    return Promise.resolve({ best: 'e2e4', ponder: null, info: {}, ...answer(position) });
  };
  return { name: 'Stub', asked, search, stop() {} };
}

test('the engine is sent the game only where a move completes a repetition', async () => {
  const [work] = readWork('f', '1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 *', assert.fail);
  for (const [i, position] of work.positions.slice(0, -1).entries()) {
    const engine = stub(() => ({ best: i % 2 ? 'a7a6' : 'a2a3' }));
    await analysePosition(engine, position, { time: 10 });
    // The start has been there before 1. Nf3 and 3. Nf3, so 4... Ng8 makes three of it.
    assert.equal(/ moves /.test(engine.asked[0][0]), i === 7);
  }
  assert.equal(work.positions.at(-1).end, 'threefold repetition');
});

/** What is found in the start position, and how the engine was asked for it. */
async function analyse(answer, limits, infos) {
  const [{ positions }] = readWork('startpos', null, assert.fail);
  const engine = stub(() => answer, infos);
  const { score, depth, best, line } = await analysePosition(engine, positions[0], limits);
  return { found: [score, depth, best, line.join(' ')], asked: engine.asked[0].slice(1) };
}

test('a position has a score, a best move and a line, where the engine has them', async () => {
  const info = (...pv) => ({ score: cp(20), depth: 11, pv });
  for (const [what, answer, limits, infos, found, asked] of [
    ['a search to a depth takes as long as it takes', {}, { depth: 30 }, [],
      [null, null, 'e4', 'e4'], ['depth 30', Infinity]],
    ['a search for a time is given up some time after it', {}, { time: 7, patience: 5 }, [],
      [null, null, 'e4', 'e4'], ['infinite', 12]],
    ['a move without a line has the expected answer', { ponder: 'e7e5' }, { time: 10 }, [],
      [null, null, 'e4', 'e4 e5']],
    ['a last line that begins with another move keeps its score only',
      { info: info('d2d4', 'd7d5') }, { depth: 11 }, [], [{ cp: 20 }, 11, 'e4', 'e4']],
    ['a line goes on as an earlier one did that began like it', { info: info('e2e4', 'e7e5') },
      { time: 10 }, [
        { pv: ['e2e4', 'c7c5', 'g1f3', 'd7d6'] },
        { pv: ['e2e4', 'e7e5', 'g1f3'] },
        { pv: ['e2e4', 'e7e5', 'b1c3', 'g8f6'], multipv: 2 },
        { pv: ['e2e4', 'e7e5'] },
      ], [{ cp: 20 }, 11, 'e4', 'e4 e5 Nf3']],
  ]) {
    const result = await analyse(answer, limits, infos);
    assert.deepEqual(result.found, found, what);
    if (asked) assert.deepEqual(result.asked, asked, what);
  }
  const wrong = analyse({ best: 'a1a1' }, { time: 1 });
  await assert.rejects(wrong, /^Error: Stub answers "a1a1", which is not a legal move$/);
});

test('pictures of several games are numbered', () => {
  assert.equal(pictureFile('score.svg', 1, 1), 'score.svg');
  assert.equal(pictureFile('score.svg', 2, 3), 'score-2.svg');
  assert.equal(pictureFile('a.b/score', 2, 3), 'a.b/score-2.svg');
});

test('the picture has a point for each score, at the height of what White may expect', () => {
  const scores = [{ cp: 0 }, { cp: 400 }, null, { mate: -3 }];
  const svg = drawScores({ ...gameWith('1. e4 e5 2. Nf3 *', scores), title: 'A & <B>' });
  // The field is 64 to 352 high and 64 to 936 wide; 10/11 of it is 261.8 above its foot.
  assert.match(svg, /<path d="M64 208L354\.7 90\.2L936 352" class="line"/);
  assert.match(svg, /A &amp; &lt;B&gt;/);
  assert.match(svg, /prefers-color-scheme: dark/);
});

test('the picture is made of whatever is there', () => {
  const { positions } = gameWith('1. e4 e5 *', []);
  for (const results of [[], [{ score: { cp: 5 } }], [{ score: null }, { score: null }]]) {
    const svg = drawScores({ title: 'x', positions, results });
    assert.doesNotMatch(svg, /NaN|undefined|class="line"/);
  }
  const [{ positions: lone }] = readWork('f', '[White "x"]\n\n*', assert.fail);
  assert.doesNotMatch(drawScores({ title: 'x', positions: lone, results: [] }), /NaN|undefined/);
});

test('the picture marks swings and numbers at most every 40 units', () => {
  const words = Array.from({ length: 400 }, (_, i) => ['Nf3', 'Nf6', 'Ng1', 'Ng8'][i % 4]);
  const scores = Array.from({ length: 401 }, (_, i) => ({ cp: i > 200 ? -500 : 0 }));
  const { positions, results } = gameWith(`${words.join(' ')} *`, scores, Array(401).fill('a3'));
  const swings = swingsOf(positions, results);
  const svg = drawScores({ title: 'long', positions, results, swings });
  assert.match(svg, /class="large"/);
  assert.match(svg, />101\. Nf3\?\?</);
  const marks = [...svg.matchAll(/<line x1="([\d.]+)"[^>]*class="tick"/g)];
  const ticks = marks.map((match) => Number(match[1]));
  assert.ok(ticks.length > 5);
  for (let i = 2; i < ticks.length; i++) assert.ok(ticks[i] - ticks[i - 1] >= 40);
});
