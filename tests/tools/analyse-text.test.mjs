// SPDX-License-Identifier: MIT
// Chess as text: games and records as people write them, scores as they read them, swings and the
// picture. The expectations are worked out by hand.

import assert from 'node:assert/strict';
import test from 'node:test';
import {
  analysePosition,
  formatRow,
  kindOf,
  pictureFile,
  readWork,
  swingsOf,
} from '../../tools/lib/analysis.mjs';
import {
  endOf,
  expectation,
  numbered,
  playText,
  readFen,
  readGames,
  readScore,
  sanLine,
  scoreText,
  startFen,
} from '../../tools/lib/chess.mjs';
import { formatEpd, movesOf, parseEpd, taskOf } from '../../tools/lib/epd.mjs';
import { drawScores } from '../../tools/lib/score-graph.mjs';

const mate = (value) => ({ kind: 'mate', value });
const cp = (value) => ({ kind: 'cp', value });

test('scores are turned to White, and mates are left as other engines count them', () => {
  assert.deepEqual(readScore(cp(31)), { cp: 31 });
  assert.deepEqual(readScore(cp(31), { isBlack: true }), { cp: -31 });
  assert.deepEqual(readScore(mate(3), { isBlack: true }), { mate: -3 });
  assert.deepEqual(readScore(mate(-2)), { mate: -2 });
  assert.deepEqual(readScore(cp(0), { isBlack: true }), { cp: 0 });
});

test('a lost mate of Quillon is one move shorter than it says', () => {
  assert.deepEqual(readScore(mate(-3), { isQuillon: true }), { mate: -2 });
  assert.deepEqual(readScore(mate(-3), { isQuillon: true, isBlack: true }), { mate: 2 });
  assert.deepEqual(readScore(mate(2), { isQuillon: true }), { mate: 2 });
});

test('a mate of Quillon in centipawns is 32000 less the plies', () => {
  // Mate by the third move is 5 plies away, to be mated by the second one 4.
  assert.deepEqual(readScore(cp(31995), { isQuillon: true }), { mate: 3 });
  assert.deepEqual(readScore(cp(-31996), { isQuillon: true }), { mate: -2 });
  assert.deepEqual(readScore(cp(31999), { isQuillon: true }), { mate: 1 });
  assert.deepEqual(readScore(cp(31995)), { cp: 31995 });
});

test('scores are printed in pawns with a sign, mates with their moves', () => {
  assert.equal(scoreText({ cp: 31 }), '+0.31');
  assert.equal(scoreText({ cp: -150 }), '-1.50');
  assert.equal(scoreText({ cp: 0 }), '0.00');
  assert.equal(scoreText({ mate: 3 }), '#3');
  assert.equal(scoreText({ mate: -3 }), '#-3');
  assert.equal(scoreText({ mate: 0, winner: 'b' }), '0-1');
  assert.equal(scoreText(null), '?');
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
  assert.deepEqual(
    game.moves.map((move) => move.san),
    ['e4', 'e5', 'Nf3', 'Nc6', 'Bb5', 'a6', 'Ba4', 'Nf6', 'O-O'],
  );
  assert.equal(game.tags.get('White'), 'a "b" c');
  assert.equal(game.tags.get('Event'), 'one [two] {three}');
});

test('a game may begin anywhere, and moves are understood as people write them', () => {
  const tag = '[FEN "r3k2r/4P3/8/8/8/8/1p6/4K2R b kq - 0 9"]\n';
  assert.deepEqual(movesOfGame(`${tag}9... 0-0 10. exf8Q+ Rxf8 *`), []);
  assert.deepEqual(movesOfGame(`${tag}9... b1Q+ 10. Ke2 Qa2+ *`), ['b1=Q+', 'Ke2', 'Qa2+']);
  assert.deepEqual(movesOfGame('1. g1f3 d7-d5 2. Nfh4'), ['Nf3', 'd5', 'Nh4']);
});

test('games follow each other with tags, with results, or with both', () => {
  const moves = (text) => readGames(text).map((game) => game.moves.length);
  assert.deepEqual(moves('[White "a"]\n1. e4 e5 1-0\n[White "b"]\n1. d4 *\n'), [2, 1]);
  assert.deepEqual(moves('1. e4 e5 1-0 1. d4 1/2-1/2 1. c4 c5 2. g3'), [2, 1, 3]);
  assert.deepEqual(moves('[White "a"]\n\n1. e4 (1. d4 \n[White "b"]\n\n1. d4 d5\n'), [1, 2]);
  assert.deepEqual(moves('[White "a"]\n[White "b"]\n1. d4\n'), [0, 1]);
  assert.deepEqual(readGames('1. e4 0-1')[0].result, '0-1');
});

test('a game is kept up to an illegal move, which is named with its number', () => {
  const [game, next] = readGames('1. e4 e5 2. Ke3 Nf6 *\n\n1. d4 *');
  assert.equal(game.moves.length, 2);
  assert.equal(game.error, '2. Ke3 is not a legal move');
  assert.equal(next.error, null);
  assert.equal(readGames('1. e4 Nf3')[0].error, '1... Nf3 is not a legal move');
  assert.equal(readGames('1. e4 --')[0].error, '1... -- is not a legal move');
  assert.match(readGames('[FEN "8/8"]\n1. e4')[0].error, /^not a position/);
});

test('a position needs two kings, sense, and nobody who could take a king', () => {
  assert.equal(readFen('startpos').fen(), startFen);
  assert.equal(readFen('4k3/8/8/8/8/8/8/4K3 b - -').fen(), '4k3/8/8/8/8/8/8/4K3 b - - 0 1');
  for (const text of [
    '8/8/8/8/8/8/8/8 w - - 0 1',
    '4k3/8/8/8/8/8/8/4K2P w - - 0 1',
    '4k3/8/8/8/8/8/8 w - - 0 1',
    'startpos moves e2e4',
    '',
    '4k2R/8/8/8/8/8/8/4K3 w - - 0 1',
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

test('a record is a position and operations, whose texts may hold anything but quotes', () => {
  const { fen, operations } = parseEpd(
    '4k3/8/8/8/8/8/8/R3K2R w KQ - bm O-O Ra8+; id "a; b (c)"; c0 ""; hmvc 7; fmvn 40; ce -30',
  );
  assert.equal(fen, '4k3/8/8/8/8/8/8/R3K2R w KQ - 7 40');
  assert.deepEqual(
    [...operations],
    [
      ['bm', 'O-O Ra8+'],
      ['id', 'a; b (c)'],
      ['c0', ''],
      ['hmvc', '7'],
      ['fmvn', '40'],
      ['ce', '-30'],
    ],
  );
  assert.equal(
    parseEpd('4k3/8/8/8/8/8/8/R3K3 w Q - 3 9 bm Ra8#;').fen,
    '4k3/8/8/8/8/8/8/R3K3 w Q - 3 9',
  );
  assert.deepEqual([...movesOf(fen, 'O-O Ra8+! 0-0-0')], ['e1g1', 'a1a8', 'e1c1']);
  assert.equal(
    formatEpd(fen, [
      ['bm', 'O-O'],
      ['acd', 25],
      ['id', 'say "x"'],
    ]),
    '4k3/8/8/8/8/8/8/R3K2R w KQ - bm O-O; acd 25; id "say \'x\'";',
  );
});

test('a record that asks for nothing, or for what cannot be, is refused', () => {
  const task = (operations) => taskOf(parseEpd(`4k3/8/8/8/8/8/8/R3K2R w KQ - ${operations}`));
  assert.throws(() => task('id "x";'), /no "bm", "am" or "dm"/);
  assert.throws(() => task('bm Ra9;'), /Ra9 is not a legal move/);
  assert.throws(() => task('bm;'), /"bm" names no move/);
  assert.throws(() => task('dm three;'), /"dm" takes a number of moves, not "three"/);
  assert.throws(() => task('bm "Ra8;'), /not an operation/);
  assert.throws(() => parseEpd('bm e4;'), /not a position/);
  assert.deepEqual(task('dm 3; am Ra8;'), { best: null, avoid: new Set(['a1a8']), mate: 3 });
});

test('what a text is, is found out by looking', () => {
  assert.equal(kindOf('# comment\n\n4k3/8/8/8/8/8/8/4K3 w - -\n'), 'epd');
  assert.equal(kindOf('[Event "x"]\n1. e4'), 'pgn');
  assert.equal(kindOf('1. e4 e5'), 'pgn');
  const problems = [];
  assert.deepEqual(
    readWork('f', 'Dear Sir, thank you.\n', (text) => problems.push(text)),
    [],
  );
  assert.deepEqual(
    readWork('f', ' \n', (text) => problems.push(text)),
    [],
  );
  assert.deepEqual(problems, ['f: neither positions nor games', 'f: there is nothing in it']);
});

test('a record that is wrong is named with its line, and the others stay', () => {
  const problems = [];
  const text = '4k3/8/8/8/8/8/8/R3K3 w - - id "r";\n8/8/8/8/8/8/8/8 w - -\n\nstartpos\n';
  const [work] = readWork('f.epd', text, (problem) => problems.push(problem));
  assert.deepEqual(
    work.positions.map(({ name }) => name),
    ['r', '2'],
  );
  assert.deepEqual(problems, ['f.epd, line 2: not a position: missing white king']);
});

/** Positions and results of a game with these scores. */
function gameWith(text, scores, bests = []) {
  const [work] = readWork('f', text, assert.fail);
  const results = scores.map((score, i) => ({
    score,
    best: bests[i] ?? null,
    line: [],
    depth: 12,
  }));
  return { ...work, results };
}

test('a swing is what the mover gives away, for either side', () => {
  // From 0 to 4 pawns is 0.5 to 10/11 of the point: 0.41 lost by Black. Back again: lost by White.
  const { positions, results } = gameWith(
    '1. e4 e5 2. Nf3 *',
    [{ cp: 0 }, { cp: 0 }, { cp: 400 }, { cp: 0 }],
    ['e4', 'c5', 'd4'],
  );
  const swings = swingsOf(positions, results);
  assert.deepEqual(
    swings.map(({ index, mark }) => [index, mark]),
    [
      [1, '??'],
      [2, '??'],
    ],
  );
  assert.ok(Math.abs(swings[0].loss - (10 / 11 - 0.5)) < 1e-12);
  assert.equal(swings[0].text, '1... e5?? (0.00 -> +4.00; better 1... c5)');
  assert.equal(swings[1].text, '2. Nf3?? (+4.00 -> 0.00; better 2. d4)');
});

test('small losses, own best moves and positions without a score are no swings', () => {
  const game = (scores, bests) => {
    const { positions, results } = gameWith('1. e4 e5 2. Nf3 *', scores, bests);
    return swingsOf(positions, results).length;
  };
  // Half a pawn is 7 % of the point.
  assert.equal(game([{ cp: 0 }, { cp: -50 }, { cp: 0 }, { cp: 0 }], ['d4', 'c5', 'd4']), 0);
  assert.equal(game([{ cp: 0 }, { cp: -400 }], ['e4']), 0);
  assert.equal(game([{ cp: 0 }, null, { cp: -400 }], ['d4', 'c5']), 0);
  // A pawn in a won game decides nothing: 10/11 to 0.849.
  assert.equal(game([{ cp: 400 }, { cp: 300 }], ['d4']), 0);
  assert.equal(game([{ cp: 0 }], ['d4']), 0);
});

test('only the largest swings are named, in the order of the game', () => {
  const { positions, results } = gameWith(
    '1. e4 e5 2. Nf3 Nc6 *',
    [{ cp: 0 }, { cp: -120 }, { cp: 400 }, { cp: -400 }, { cp: 0 }],
    ['a3', 'a6', 'a3', 'a6'],
  );
  assert.deepEqual(
    swingsOf(positions, results, { count: 2 }).map(({ index }) => index),
    [1, 2],
  );
});

test('a table row has the score, and a mark where there is none', () => {
  const [work] = readWork('f', '1. e4 *', assert.fail);
  const row = (result) => formatRow(work.positions[0], result, 5);
  assert.equal(
    row({ score: { cp: 25 }, depth: 12, best: 'd4', line: ['d4', 'd5'] }),
    '1. e4    +0.25     12  d4       1. d4 d5',
  );
  assert.equal(
    row({ score: null, depth: null, best: 'd4', line: ['d4'] }),
    '1. e4        ?      -  d4       1. d4',
  );
});

/** An engine that answers at once and keeps what it was asked. */
function stub(answer, name = 'Stub') {
  const asked = [];
  const search = (position, limits) => {
    asked.push([position, limits]);
    return typeof answer === 'function' ? answer() : Promise.resolve(answer);
  };
  return { name, asked, search, stop() {} };
}

test('the engine is told of the game only where a move completes a repetition', async () => {
  const text = '1. Nf3 Nf6 2. Ng1 Ng8 3. Nf3 Nf6 4. Ng1 Ng8 *';
  const [work] = readWork('f', text, assert.fail);
  const engine = stub({ best: 'a2a3', info: {} });
  const answers = { b: 'a7a6', w: 'a2a3' };
  for (const position of work.positions.slice(0, -1)) {
    engine.search = (asked) => {
      engine.asked.push(asked);
      return Promise.resolve({ best: answers[position.fen.split(' ')[1]], info: {} });
    };
    await analysePosition(engine, position, { time: 10 });
  }
  // The start has been there before 1. Nf3 and 3. Nf3, so 4... Ng8 makes three of it.
  const told = engine.asked.map((asked) => / moves /.test(asked));
  assert.deepEqual(told, [false, false, false, false, false, false, false, true]);
  assert.equal(work.positions.at(-1).end, 'threefold repetition');
});

const onePosition = () => readWork('startpos', null, assert.fail)[0].positions[0];

test('a search to a depth takes as long as it takes', async (context) => {
  const delays = [];
  const { setTimeout } = globalThis;
  globalThis.setTimeout = (act, delay) => {
    delays.push(delay);
    return setTimeout(() => {}, 0);
  };
  context.after(() => (globalThis.setTimeout = setTimeout));
  const engine = stub({ best: 'e2e4', ponder: null, info: {} });
  await analysePosition(engine, onePosition(), { depth: 30 });
  assert.deepEqual(delays, []);
  assert.deepEqual(engine.asked, [[`fen ${startFen}`, 'depth 30']]);
  await analysePosition(engine, onePosition(), { time: 7, patience: 5 });
  assert.deepEqual(delays, [7, 12]);
});

test('a move without a line has itself and the expected answer as its line', async () => {
  const engine = stub({ best: 'e2e4', ponder: 'e7e5', info: {} });
  assert.deepEqual(await analysePosition(engine, onePosition(), { time: 10 }), {
    score: null,
    depth: null,
    best: 'e4',
    line: ['e4', 'e5'],
  });
  assert.deepEqual(engine.asked, [[`fen ${startFen}`, 'infinite']]);
});

test('a last line that begins with another move keeps its score only', async () => {
  const info = { score: cp(20), depth: 11, pv: ['d2d4', 'd7d5'] };
  const engine = stub({ best: 'e2e4', ponder: null, info });
  assert.deepEqual(await analysePosition(engine, onePosition(), { depth: 11 }), {
    score: { cp: 20 },
    depth: 11,
    best: 'e4',
    line: ['e4'],
  });
});

test('a line goes on as an earlier one did that began like it', async () => {
  const engine = stub();
  const info = { score: cp(20), depth: 12, pv: ['e2e4', 'e7e5'] };
  engine.search = (position, limits, onInfo) => {
    onInfo({ pv: ['e2e4', 'c7c5', 'g1f3', 'd7d6'] });
    onInfo({ pv: ['e2e4', 'e7e5', 'g1f3'] });
    onInfo({ pv: ['e2e4', 'e7e5', 'b1c3', 'g8f6'], multipv: 2 });
    onInfo({ pv: ['e2e4', 'e7e5'] });
    return Promise.resolve({ best: 'e2e4', ponder: null, info });
  };
  const { line } = await analysePosition(engine, onePosition(), { time: 10 });
  assert.deepEqual(line, ['e4', 'e5', 'Nf3']);
});

test('an engine that does not answer is given up', async () => {
  const silent = stub(() => new Promise(() => {}));
  await assert.rejects(
    analysePosition(silent, onePosition(), { time: 1, patience: 50 }),
    /^Error: Stub doesn't answer$/,
  );
});

test('an answer that is no legal move is named', async () => {
  await assert.rejects(
    analysePosition(stub({ best: 'a1a1', info: {} }), onePosition(), { time: 1 }),
    /^Error: Stub answers "a1a1", which is no legal move$/,
  );
});

test('pictures of several games are numbered', () => {
  assert.equal(pictureFile('score.svg', 1, 1), 'score.svg');
  assert.equal(pictureFile('score.svg', 2, 3), 'score-2.svg');
  assert.equal(pictureFile('a.b/score', 2, 3), 'a.b/score-2.svg');
});

/** The points of the picture's line. */
function lineOf(svg) {
  const [, path] = svg.match(/<path d="M([^"]*)" class="line"/);
  return path.split('L').map((point) => point.split(' ').map(Number));
}

test('the picture has a point for each score, at the height of what White may expect', () => {
  const { positions, results } = gameWith('1. e4 e5 2. Nf3 *', [
    { cp: 0 },
    { cp: 400 },
    null,
    { mate: -3 },
  ]);
  const svg = drawScores({ title: 'A & <B>', positions, results });
  // The field is 64 to 352 high and 64 to 936 wide; 10/11 of it is 261.8 above its foot.
  assert.deepEqual(lineOf(svg), [
    [64, 208],
    [354.7, 90.2],
    [936, 352],
  ]);
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
  const shuffle = ['Nf3', 'Nf6', 'Ng1', 'Ng8'];
  const words = Array.from({ length: 400 }, (_, i) => shuffle[i % 4]);
  const { positions, results } = gameWith(
    `${words.join(' ')} *`,
    Array.from({ length: 401 }, (_, i) => ({ cp: i > 200 ? -500 : 0 })),
    Array(401).fill('a3'),
  );
  const swings = swingsOf(positions, results);
  const svg = drawScores({ title: 'long', positions, results, swings });
  assert.match(svg, /class="large"/);
  assert.match(svg, />101\. Nf3\?\?</);
  const ticks = [...svg.matchAll(/<line x1="([\d.]+)"[^>]*class="tick"/g)].map((match) =>
    Number(match[1]),
  );
  assert.ok(ticks.length > 5);
  for (let i = 2; i < ticks.length; i++) assert.ok(ticks[i] - ticks[i - 1] >= 40);
});

test('a move is played in any usual notation or not at all', () => {
  const chess = readFen('4k3/P7/8/8/8/8/8/R3K2R w KQ - 0 1');
  assert.equal(playText(chess, 'Kd8'), null);
  assert.equal(chess.fen(), '4k3/P7/8/8/8/8/8/R3K2R w KQ - 0 1');
  assert.equal(playText(chess, '0-0-0').san, 'O-O-O');
  chess.undo();
  assert.equal(playText(chess, 'a8Q').san, 'a8=Q+');
});
