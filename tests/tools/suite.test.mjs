// SPDX-License-Identifier: MIT
// Test suites: what counts as solved and when, runs on the real engine, and the suites that come
// with it. The expectations are worked out by hand or by the rules of chess.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { parseEpd, taskOf } from '../../tools/lib/epd.mjs';
import {
  csvRow,
  isRight,
  readSuite,
  runRecord,
  totalsOf,
  totalsText,
} from '../../tools/lib/suite.mjs';
import { readGames } from '../../tools/lib/chess.mjs';
import { findRecord, isClear, isRecapture, worth } from '../../tools/lib/suite-maker.mjs';
import { Chess, fake, file, linesOf, root, run } from './support.mjs';

const suite = (args, how) => run('suite', args, how);

test('best moves, moves to avoid and mates are asked for together', () => {
  const task = { best: new Set(['e2e4', 'd2d4']), avoid: new Set(['d2d4']), mate: null };
  assert.equal(isRight(task, 'e2e4', null), true);
  assert.equal(isRight(task, 'd2d4', null), false);
  assert.equal(isRight(task, 'c2c4', null), false);
  const mate = { best: null, avoid: null, mate: 3 };
  assert.equal(isRight(mate, 'e2e4', { mate: 3 }), true);
  assert.equal(isRight(mate, 'e2e4', { mate: 2 }), true);
  for (const score of [{ mate: 4 }, { mate: -2 }, { cp: 900 }, null]) {
    assert.equal(isRight(mate, 'e2e4', score), false);
  }
});

/** Runs a record on an engine that shows these lines: [milliseconds, move, mate]. */
function play(operations, lines, best, name = 'Stub') {
  const record = parseEpd(`rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ${operations}`);
  const engine = {
    name,
    search(position, limits, onInfo) {
      for (const [time, move, mate] of lines) {
        const score = mate ? { kind: 'mate', value: mate } : { kind: 'cp', value: 10 };
        onInfo({ time, depth: 10, score, pv: [move] });
      }
      return Promise.resolve({ best });
    },
  };
  return runRecord(engine, { ...record, task: taskOf(record) }, 1000);
}

test('the time is that of the line since which no other move was shown', async () => {
  const lines = [
    [10, 'e2e4'],
    [20, 'd2d4'],
    [30, 'e2e4'],
    [40, 'e2e4'],
  ];
  const { isSolved, time, played } = await play('bm e4;', lines, 'e2e4');
  assert.deepEqual([isSolved, time, played], [true, 30, 'e4']);
  assert.equal((await play('am d4;', lines, 'e2e4')).time, 30);
  const failed = await play('bm d4;', lines, 'e2e4');
  assert.deepEqual([failed.isSolved, failed.time], [false, null]);
});

test('a move that no line has shown is solved at the end', async () => {
  const { isSolved, time } = await play('bm e4;', [], 'e2e4');
  assert.equal(isSolved, true);
  assert.ok(time >= 0);
  assert.equal((await play('bm e4;', [[5, 'd2d4']], 'e2e4')).isSolved, true);
});

test('a mate is solved when it is short enough', async () => {
  const lines = [
    [10, 'e2e4', 5],
    [20, 'e2e4', 3],
  ];
  assert.equal((await play('dm 3;', lines, 'e2e4')).time, 20);
  assert.equal((await play('dm 5;', lines, 'e2e4')).time, 10);
  assert.equal((await play('dm 2;', lines, 'e2e4')).isSolved, false);
  assert.equal((await play('bm d4; dm 3;', lines, 'e2e4')).isSolved, false);
});

test('an engine may be made to search for the whole time', async () => {
  const record = parseEpd('4k3/8/8/8/8/8/8/R3K3 w - - bm Ra8+;');
  const asked = [];
  let answer;
  const engine = {
    name: 'Stub',
    search(position, limits) {
      asked.push(limits);
      return new Promise((resolve) => (answer = resolve));
    },
    stop: () => answer({ best: 'a1a8' }),
  };
  const run = runRecord(engine, { ...record, task: taskOf(record) }, 20, { isInfinite: true });
  assert.equal((await run).isSolved, true);
  assert.deepEqual(asked, ['infinite']);
});

test('an illegal answer is told', async () => {
  await assert.rejects(
    play('bm e4;', [], 'e2e5'),
    /^Error: Stub answers "e2e5", which is no legal move$/,
  );
});

test('totals count what was solved, with mean and median of its times', () => {
  const result = (time) => ({ isSolved: time !== null, time });
  const totals = totalsOf([100, null, 700, 200, null, 1000].map(result));
  assert.deepEqual(totals, { solved: 4, total: 6, mean: 500, median: 450 });
  assert.equal(
    totalsText(totals),
    '4 of 6 solved (66.7 %), time to solution: mean 0.50 s, median 0.45 s',
  );
  assert.equal(totalsOf([3, 1, 2].map(result)).median, 2);
  assert.equal(totalsText(totalsOf([null].map(result))), '0 of 1 solved (0.0 %)');
});

test('records that cannot be run are told with their line', () => {
  const problems = [];
  const records = readSuite(
    '# a comment\n4k3/8/8/8/8/8/8/R3K3 w - - bm Ra8+;\n' +
      '4k3/8/8/8/8/8/8/R3K3 w - - bm Rh8;\n\n8/8 w - -\n',
    (text) => problems.push(text),
  );
  assert.deepEqual(
    records.map(({ id }) => id),
    ['line 2'],
  );
  assert.equal(problems.length, 2);
  assert.equal(problems[0], 'line 3: Rh8 is not a legal move');
  assert.match(problems[1], /^line 5: not a position/);
});

test('cells of a CSV file are quoted where they must be', () => {
  assert.equal(csvRow(['a', 1, null, 'b, c', 'say "x"']), 'a,1,,"b, c","say ""x"""');
});

// Both sides of each mate have no other shortest move; the last record can't be solved.
const records = `6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - bm Ra8#; dm 1; id "back rank";
r1bqkbnr/pppp1ppp/2n5/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7; id "scholar";
7k/8/5K2/8/8/8/8/6R1 b - - bm Kh7; id "only move";
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - bm a3; id "hopeless, and quoted";
`;

test('a suite is run, counted and written down', async () => {
  const csv = file('out.csv');
  const epd = file('records.epd', records);
  const { status, out, err } = await suite(['--time', '200', '--csv', csv, epd]);
  assert.deepEqual([status, err], [0, '']);
  const lines = linesOf(out);
  assert.match(lines[0], /^ok +Ra8# +\d+\.\d\d s +back rank$/);
  assert.match(lines[1], /^ok +Qxf7# +\d+\.\d\d s +scholar$/);
  assert.match(lines[2], /^ok +Kh7 /);
  assert.match(lines[3], /^FAILED +\w+ +hopeless, and quoted +\(bm a3\)$/);
  assert.match(lines[4], /^3 of 4 solved \(75\.0 %\), time to solution: mean /);
  const rows = linesOf(fs.readFileSync(csv, 'utf8'));
  assert.equal(rows.length, 5);
  assert.match(rows[1], /^records\.epd,back rank,6k1.*,bm Ra8# dm 1,Ra8#,1,\d+,\d+,#1$/);
  assert.match(rows[4], /^records\.epd,"hopeless, and quoted",.*,bm a3,\w+,0,,/);

  const two = await suite(['--time', '20', '--expect', '9', epd, epd]);
  assert.equal(two.status, 1);
  assert.match(two.err, /^suite: \d solved, 9 expected\n$/);
  assert.match(two.out, /^records\.epd: \d of 4 solved[^]*^all: \d of 8 solved/m);
  assert.equal((await suite(['--time', '20', '--expect', '2', epd])).status, 0);
});

test('a broken engine ends the run, and what was found is counted', async () => {
  const epd = file('dying.epd', records);
  const dead = await suite(['--engine', fake('dies', '3'), '--time', '10', epd]);
  assert.equal(dead.status, 1);
  assert.equal(dead.err, 'suite: Fake 1.0 has ended with status 3 (only move)\n');
  assert.match(dead.out, /of 2 solved/);
  const rubbish = await suite(['--engine', fake('rubbish'), '--time', '10', epd]);
  assert.equal(rubbish.status, 1);
  assert.equal(rubbish.err, 'suite: Fake 1.0 answers "e9e9", which is no legal move (back rank)\n');
});

test('an interrupted run counts what was found', async () => {
  const epd = file('interrupted.epd', records);
  const args = ['--engine', fake('waits', '2'), '--time', '60000', epd];
  let isSent = false;
  const { status, out, err } = await suite(args, {
    each(text, child) {
      if (isSent) return;
      isSent = true;
      process.kill(child.pid, 'SIGINT');
    },
  });
  assert.deepEqual([status, err], [130, 'suite: interrupted\n']);
  assert.match(out, /back rank[^]*^\d of 1 solved/m);
});

test('wrong use gets one line and status 2, missing things one line and status 1', async () => {
  const epd = file('good.epd', records);
  const games = file('g.pgn', '1. e4 *');
  const judge = ['--judge', fake('plain')];
  const cases = [
    ['suite', [], 2, /^suite: please name a file of records/],
    ['suite', ['--time', '0', epd], 2, /^suite: --time takes a whole number from 1/],
    ['suite', ['--expect', 'all', epd], 2, /^suite: --expect takes a whole number/],
    ['suite', ['/nowhere.epd'], 1, /^suite: \/nowhere\.epd: there is no such file/],
    ['suite', [file('none.epd', '# nothing\n')], 1, /none\.epd: no record to run/],
    ['suite', ['--csv', '/nowhere/x.csv', epd], 1, /no such folder/],
    ['suite', ['--engine', '/nowhere/engine', epd], 1, /^suite: cannot start \/nowhere\/engine/],
    ['make-suite', [], 2, /^make-suite: please name a judge/],
    ['make-suite', [...judge], 2, /^make-suite: please name a file of games/],
    ['make-suite', [...judge, '--kind', 'jokes', games], 2, /"tactics" or "mates", not "jokes"/],
    [
      'make-suite',
      [...judge, '--mates', '8-2', games],
      2,
      /^make-suite: --mates takes two numbers/,
    ],
    ['make-suite', [...judge, games], 1, /^make-suite: Fake 1\.0 has no option MultiPV/],
    ['make-suite', ['--judge', '/nowhere/engine', games], 1, /^make-suite: cannot start/],
  ];
  await Promise.all(
    cases.map(async ([tool, args, expected, message]) => {
      const { status, out, err } = await run(tool, args);
      assert.equal(status, expected, err);
      assert.match(err, message);
      assert.equal(linesOf(err).length, 1, err);
      assert.equal(out, '');
    }),
  );
  for (const tool of ['suite', 'make-suite']) {
    const { status, out } = await run(tool, ['--help']);
    assert.equal(status, 0);
    assert.ok(out.startsWith(`usage: tools/${tool}`));
  }
});

test('a position is clear when one move decides and no other does', () => {
  const tactics = { kind: 'tactics', gap: 150, mates: [2, 8] };
  const mates = { ...tactics, kind: 'mates' };
  const lines = (...scores) => scores.map((score) => ({ move: 'e2e4', score }));
  assert.ok(isClear(lines({ cp: 300 }, { cp: 150 }), tactics));
  assert.ok(!isClear(lines({ cp: 300 }, { cp: 151 }), tactics));
  assert.ok(!isClear(lines({ cp: 900 }, { cp: 400 }), tactics), 'both win');
  assert.ok(!isClear(lines({ cp: -200 }, { cp: -900 }), tactics), 'both lose');
  assert.ok(isClear(lines({ cp: 0 }, { mate: -3 }), tactics));
  assert.ok(!isClear(lines({ mate: 3 }, { cp: 0 }), tactics));
  assert.ok(!isClear(lines({ cp: 300 }), tactics), 'the only legal move');
  assert.ok(isClear(lines({ mate: 3 }, { mate: 4 }), mates));
  assert.ok(isClear(lines({ mate: 3 }, { cp: 900 }), mates));
  assert.ok(!isClear(lines({ mate: 3 }, { mate: 3 }), mates));
  assert.ok(!isClear(lines({ mate: 9 }, { cp: 0 }), mates));
  assert.ok(!isClear(lines({ mate: 1 }, { cp: 0 }), mates));
  assert.ok(!isClear(lines({ cp: 900 }, { cp: 0 }), mates));
  assert.ok(worth({ mate: 2 }) > worth({ mate: 3 }) && worth({ mate: 9 }) > worth({ cp: 9999 }));
  assert.ok(
    worth({ mate: -2 }) < worth({ mate: -3 }) && worth({ mate: -9 }) < worth({ cp: -9999 }),
  );
});

test('to take back what was just taken is no tactical shot', () => {
  const chess = new Chess();
  const moves = ['e4', 'd5', 'exd5'].map((san) => chess.move(san));
  assert.ok(isRecapture(moves[2], 'd8d5'));
  assert.ok(!isRecapture(moves[2], 'g8f6'));
  assert.ok(!isRecapture(moves[1], 'e4d5'));
  assert.ok(!isRecapture(undefined, 'e2e4'));
});

/** A judge that prefers 1. e4 by two pawns at all depths but those named, and what it was told. */
function judgeOf(otherDepths) {
  const told = [];
  let lines = 2;
  return {
    told,
    newGame: () => Promise.resolve(),
    setOption: (name, value) => (lines = value),
    search(position, limits, onInfo) {
      const depth = Number(limits.match(/depth (\d+)/)[1]);
      told.push(`${limits} lines ${lines}`);
      const moves = otherDepths.includes(depth) ? ['d2d4', 'e2e4'] : ['e2e4', 'd2d4'];
      for (let i = 0; i < lines; i++) {
        const score = { kind: 'cp', value: i ? 0 : 200 };
        onInfo({ depth, multipv: i + 1, score, pv: [moves[i]] });
      }
      return Promise.resolve({ best: moves[0], info: {} });
    },
  };
}

test('a record is one whose move stays best at each depth up to the last', async () => {
  const [game] = readGames('1. c4 *');
  const wanted = { kind: 'tactics', gap: 150, mates: [2, 8], quick: 8, depth: 24, hard: 0 };
  const all = { ...wanted, nodes: 1600, isNew: () => true, hasRoom: () => true };
  const judge = judgeOf([]);
  const record = await findRecord(judge, game, all);
  assert.deepEqual(
    [record.san, record.ply, record.score, record.depth],
    ['e4', 0, { cp: 200 }, 24],
  );
  assert.deepEqual(judge.told, [
    'depth 8 lines 2',
    'depth 12 nodes 100 lines 2',
    'depth 16 nodes 400 lines 2',
    'depth 24 nodes 1600 lines 2',
  ]);
  for (const depth of [12, 16, 24]) {
    assert.equal(await findRecord(judgeOf([depth]), game, all), null, String(depth));
  }
  // What is found at once is no test; a judge that changes its mind after depth 4 is wanted.
  assert.equal(await findRecord(judgeOf([]), game, { ...all, hard: 4 }), null);
  assert.equal((await findRecord(judgeOf([4]), game, { ...all, hard: 4 })).san, 'e4');

  const alone = judgeOf([]);
  assert.equal((await findRecord(alone, game, { ...all, isAlone: true })).depth, 24);
  assert.equal(alone.told.at(-1), 'depth 24 nodes 1600 lines 1');
  assert.equal(await findRecord(judgeOf([24]), game, { ...all, isAlone: true }), null);
});

test('a suite is made of games, one record of each, and goes on where it ended', async () => {
  const judge = '/usr/games/stockfish';
  assert.ok(fs.existsSync(judge), 'please install the package stockfish');
  const scholar = '1. e4 e5 2. Bc4 Nc6 3. Qh5 Nf6 4. Qxf7# 1-0\n\n';
  // Black doesn't see the mate at first, so this game has two positions that would do.
  const fool = '1. f3 e5 2. g4 a6 3. a3 Qh4# 0-1\n\n';
  const grob = '1. e4 g5 2. d4 f6 3. Qh5# 1-0\n\n';
  const pgn = file('games.pgn', `${scholar}${scholar}${fool}1. e4 e5 *\n\n`);
  const output = file('made.epd');
  const wanted = [
    '--judge',
    judge,
    '--kind',
    'mates',
    '--mates',
    '1-1',
    '--depth',
    '6',
    '--quick',
    '4',
    '--hash',
    '1',
    pgn,
    '--count',
  ];
  const make = (count) => run('make-suite', [...wanted, count, '--output', output]);
  const sources = () =>
    linesOf(fs.readFileSync(output, 'utf8')).map((line) =>
      line.match(/ (bm .*?);.* (game \d+),.*, (.*)"/).slice(1),
    );
  const first = await make('20');
  assert.equal(first.status, 0);
  assert.equal(first.err, 'make-suite: the games make only 2 of 20 records\n');
  assert.equal(
    linesOf(fs.readFileSync(output, 'utf8'))[0],
    'r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7#; dm 1; ' +
      'ce 32766; acd 6; id "mates.001"; c0 "games.pgn game 1, White - Black, half-move 7";',
  );
  const two = [
    ['bm Qxf7#', 'game 1', 'half-move 7'],
    ['bm Qh4#', 'game 3', 'half-move 4'],
  ];
  assert.deepEqual(sources(), two);
  // More games have come: the file grows by theirs only.
  fs.appendFileSync(pgn, grob);
  await make('20');
  assert.deepEqual(sources(), [...two, ['bm Qh5#', 'game 5', 'half-move 5']]);
  const done = await make('3');
  assert.deepEqual([done.status, done.err, sources().length], [0, '', 3]);
  const short = await run('make-suite', [...wanted, '1']);
  assert.deepEqual([short.status, linesOf(short.out).length], [0, 1]);
});

/** Whether every reply to a move allows mate at once. */
function matesInTwo(fen, san) {
  const chess = new Chess(fen);
  chess.move(san);
  return chess.moves().every((reply) => {
    chess.move(reply);
    const isMate = chess.moves().some((move) => move.endsWith('#'));
    chess.undo();
    return isMate;
  });
}

for (const [name, least] of [
  ['tactics', 100],
  ['mates', 40],
]) {
  test(`the suite of ${name} has different positions with one best move each`, () => {
    const text = fs.readFileSync(path.join(root, 'data', 'suites', `${name}.epd`), 'utf8');
    const suiteRecords = readSuite(text, assert.fail);
    assert.ok(suiteRecords.length >= least);
    assert.equal(new Set(suiteRecords.map(({ fen }) => fen)).size, suiteRecords.length);
    assert.equal(new Set(suiteRecords.map(({ id }) => id)).size, suiteRecords.length);
    for (const { id, fen, operations, task } of suiteRecords) {
      assert.equal(task.best.size, 1, id);
      assert.ok(Number(operations.get('acd')) >= 25, id);
      assert.ok(new Chess(fen).moves().length > 1, id);
      if (name === 'tactics') assert.equal(task.mate, null, id);
      else assert.ok(task.mate >= 2 && task.mate <= 8, id);
      if (task.mate === 2) assert.ok(matesInTwo(fen, operations.get('bm')), id);
    }
  });
}
