// SPDX-License-Identifier: MIT
// Test suites: what counts as solved and when, runs on the real engine, and the suites that come
// with it. The expectations are worked out by hand or by the rules of chess.

import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import test from 'node:test';
import { Chess, readGames } from '../../tools/lib/chess.mjs';
import { parseEpd, taskOf } from '../../tools/lib/epd.mjs';
import {
  csvRow, isRight, readSuite, runRecord, totalsOf, totalsText,
} from '../../tools/lib/suite.mjs';
import { findRecord, isClear, isRecapture, worth } from '../../tools/lib/suite-maker.mjs';
import { checkUse, fake, file, linesOf, read, root, run } from './support.mjs';

const suite = (args, how) => run('suite', args, how);

test('best moves, moves to avoid and mates are asked for together', () => {
  const task = { best: new Set(['e2e4', 'd2d4']), avoid: new Set(['d2d4']), mate: null };
  const mate = { best: null, avoid: null, mate: 3 };
  for (const [what, move, score, expected] of [
    [task, 'e2e4', null, true], [task, 'd2d4', null, false], [task, 'c2c4', null, false],
    [mate, 'e2e4', { mate: 3 }, true], [mate, 'e2e4', { mate: 2 }, true],
    [mate, 'e2e4', { mate: 4 }, false], [mate, 'e2e4', { mate: -2 }, false],
    [mate, 'e2e4', { cp: 900 }, false], [mate, 'e2e4', null, false],
  ]) {
    assert.equal(isRight(what, move, score), expected);
  }
});

/** Runs a record on an engine that shows these lines: [milliseconds, move, mate]. */
function play(operations, lines, best, how) {
  const record = parseEpd(`rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - ${operations}`);
  const asked = [];
  let stop;
  const engine = {
    name: 'Stub',
    stop: () => stop(),
    async search(position, limits, onInfo) {
      asked.push(limits);
      for (const [time, move, mate] of lines) {
        const score = mate ? { kind: 'mate', value: mate } : { kind: 'cp', value: 10 };
        onInfo({ time, depth: 10, score, pv: [move] });
      }
      if (limits === 'infinite') await new Promise((resolve) => (stop = resolve));
      return { best };
    },
  };
  return runRecord(engine, { ...record, task: taskOf(record) }, 20, how)
    .then((result) => ({ ...result, asked }));
}

test('the time is that of the line since which no other move was shown', async () => {
  const lines = [[10, 'e2e4'], [20, 'd2d4'], [30, 'e2e4'], [40, 'e2e4']];
  const mates = [[10, 'e2e4', 5], [20, 'e2e4', 3]];
  for (const [operations, shown, time] of [
    ['bm e4;', lines, 30], ['am d4;', lines, 30], ['bm d4;', lines, null],
    // A mate is solved when it is short enough.
    ['dm 3;', mates, 20], ['dm 5;', mates, 10], ['dm 2;', mates, null], ['bm d4; dm 3;', mates,
      null],
  ]) {
    const result = await play(operations, shown, 'e2e4');
    assert.deepEqual([result.isSolved, result.time], [time !== null, time], operations);
    assert.deepEqual([result.played, result.asked], ['e4', ['movetime 20']]);
  }
  // A move that no line has shown is solved at the end.
  for (const shown of [[], [[5, 'd2d4']]]) {
    const { isSolved, time } = await play('bm e4;', shown, 'e2e4');
    assert.ok(isSolved && time >= 0);
  }
});

test('an engine may be made to search for the whole time; an illegal answer is told', async () => {
  const { isSolved, asked } = await play('bm e4;', [], 'e2e4', { isInfinite: true });
  assert.deepEqual([isSolved, asked], [true, ['infinite']]);
  const illegal = play('bm e4;', [], 'e2e5');
  await assert.rejects(illegal, /^Error: Stub answers "e2e5", which is not a legal move$/);
});

test('totals count what was solved, with mean and median of its times', () => {
  const result = (time) => ({ isSolved: time !== null, time });
  const totals = totalsOf([100, null, 700, 200, null, 1000].map(result));
  assert.deepEqual(totals, { solved: 4, total: 6, mean: 500, median: 450 });
  const times = 'time to solution: mean 0.50 s, median 0.45 s';
  assert.equal(totalsText(totals), `4 of 6 solved (66.7 %), ${times}`);
  assert.equal(totalsOf([3, 1, 2].map(result)).median, 2);
  assert.equal(totalsText(totalsOf([null].map(result))), '0 of 1 solved (0.0 %)');
});

test('records that cannot be run are told with their line; cells of a CSV file are quoted', () => {
  const problems = [];
  const text =
    '# a comment\n4k3/8/8/8/8/8/8/R3K3 w - - bm Ra8+;\n' +
    '4k3/8/8/8/8/8/8/R3K3 w - - bm Rh8;\n\n8/8 w - -\n';
  const records = readSuite(text, (problem) => problems.push(problem));
  assert.deepEqual(records.map(({ id }) => id), ['line 2']);
  assert.equal(problems.length, 2);
  assert.equal(problems[0], 'line 3: Rh8 is not a legal move');
  assert.match(problems[1], /^line 5: not a position/);
  assert.equal(csvRow(['a', 1, null, 'b, c', 'say "x"']), 'a,1,,"b, c","say ""x"""');
});

// Both sides of each mate have no other shortest move; the last record can't be solved.
const records = file('records.epd', `\
6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - bm Ra8#; dm 1; id "back rank";
r1bqkbnr/pppp1ppp/2n5/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7; id "scholar";
7k/8/5K2/8/8/8/8/6R1 b - - bm Kh7; id "only move";
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - bm a3; id "hopeless, and quoted";
`);

test('a suite is run, counted and written down', async () => {
  const csv = file('out.csv');
  const { status, out, err } = await suite(['--time', '200', '--csv', csv, records]);
  assert.deepEqual([status, err], [0, '']);
  for (const [i, pattern] of [
    /^ok +Ra8# +\d+\.\d\d s +back rank$/,
    /^ok +Qxf7# +\d+\.\d\d s +scholar$/,
    /^ok +Kh7 /,
    /^FAILED +\w+ +hopeless, and quoted +\(bm a3\)$/,
    /^3 of 4 solved \(75\.0 %\), time to solution: mean /,
  ].entries()) {
    assert.match(linesOf(out)[i], pattern);
  }
  const rows = linesOf(read(csv));
  assert.equal(rows.length, 5);
  assert.match(rows[1], /^records\.epd,back rank,6k1.*,bm Ra8# dm 1,Ra8#,1,\d+,\d+,#1$/);
  assert.match(rows[4], /^records\.epd,"hopeless, and quoted",.*,bm a3,\w+,0,,/);

  const two = await suite(['--time', '20', '--expect', '9', records, records]);
  assert.equal(two.status, 1);
  assert.match(two.err, /^suite: \d solved, 9 expected\n$/);
  assert.match(two.out, /^records\.epd: \d of 4 solved[^]*^all: \d of 8 solved/m);
  assert.equal((await suite(['--time', '20', '--expect', '2', records])).status, 0);
});

test('a broken engine ends the run, and what was found is counted', async () => {
  for (const [engine, message] of [
    [fake('dies', 3), 'Fake 1.0 has ended with status 3 (only move)'],
    [fake('rubbish', 3), 'Fake 1.0 answers "e9e9", which is not a legal move (only move)'],
  ]) {
    const { status, out, err } = await suite(['--engine', engine, '--time', '10', records]);
    assert.deepEqual([status, err], [1, `suite: ${message}\n`]);
    assert.match(out, /of 2 solved/);
  }
});

test('an interrupted run counts what was found', async () => {
  let isSent = false;
  const args = ['--engine', fake('waits', 2), '--time', '60000', records];
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
  const games = file('g.pgn', '1. e4 *');
  const judge = ['--judge', fake()];
  await checkUse([
    ['suite', [], 2, /please name a file of records/],
    ['suite', ['--time', '0', records], 2, /--time takes a whole number from 1/],
    ['suite', ['--expect', 'all', records], 2, /--expect takes a whole number/],
    ['suite', ['/nowhere.epd'], 1, / \/nowhere\.epd: no such file/],
    ['suite', [file('none.epd', '# nothing\n')], 1, /none\.epd: no record to run/],
    ['suite', ['--csv', '/nowhere/x.csv', records], 1, /no such folder/],
    ['suite', ['--engine', '/nowhere/engine', records], 1, /cannot start \/nowhere\/engine/],
    ['make-suite', [], 2, /please name a judge/],
    ['make-suite', [...judge], 2, /please name a file of games/],
    ['make-suite', [...judge, '--kind', 'jokes', games], 2, /"tactics" or "mates", not "jokes"/],
    ['make-suite', [...judge, '--mates', '8-2', games], 2, /--mates takes two numbers/],
    ['make-suite', [...judge, games], 1, /Fake 1\.0 has no option MultiPV/],
    ['make-suite', ['--judge', '/nowhere/engine', games], 1, /cannot start/],
  ]);
});

test('a position is clear when one move decides and no other does', () => {
  const wanted = { gap: 150, mates: [2, 8] };
  for (const [kind, scores, expected] of [
    ['tactics', [{ cp: 300 }, { cp: 150 }], true],
    ['tactics', [{ cp: 300 }, { cp: 151 }], false],
    ['tactics', [{ cp: 900 }, { cp: 400 }], false], // both win
    ['tactics', [{ cp: -200 }, { cp: -900 }], false], // both lose
    ['tactics', [{ cp: 0 }, { mate: -3 }], true],
    ['tactics', [{ mate: 3 }, { cp: 0 }], false],
    ['tactics', [{ cp: 300 }], false], // the only legal move
    ['mates', [{ mate: 3 }, { mate: 4 }], true],
    ['mates', [{ mate: 3 }, { cp: 900 }], true],
    ['mates', [{ mate: 3 }, { mate: 3 }], false],
    ['mates', [{ mate: 9 }, { cp: 0 }], false],
    ['mates', [{ mate: 1 }, { cp: 0 }], false],
    ['mates', [{ cp: 900 }, { cp: 0 }], false],
  ]) {
    const lines = scores.map((score) => ({ move: 'e2e4', score }));
    assert.equal(isClear(lines, { kind, ...wanted }), expected, JSON.stringify(scores));
  }
  const order = [{ mate: -2 }, { mate: -3 }, { mate: -9 }, { cp: -9999 }, { cp: 9999 }, { mate: 9 },
    { mate: 3 }, { mate: 2 }].map(worth);
  assert.deepEqual(order, [...order].sort((a, b) => a - b));
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
  const { san, ply, score, depth } = await findRecord(judge, game, all);
  assert.deepEqual([san, ply, score, depth], ['e4', 0, { cp: 200 }, 24]);
  assert.deepEqual(judge.told, [
    'depth 8 lines 2',
    'depth 12 nodes 100 lines 2',
    'depth 16 nodes 400 lines 2',
    'depth 24 nodes 1600 lines 2',
  ]);
  const isFound = async (otherDepths, more) =>
    (await findRecord(judgeOf(otherDepths), game, { ...all, ...more })) !== null;
  for (const other of [12, 16, 24]) assert.ok(!(await isFound([other])), String(other));
  // What is found at once is no test; a judge that changes its mind after depth 4 is wanted.
  assert.ok(!(await isFound([], { hard: 4 })));
  assert.ok(await isFound([4], { hard: 4 }));

  const alone = judgeOf([]);
  assert.equal((await findRecord(alone, game, { ...all, isAlone: true })).depth, 24);
  assert.equal(alone.told.at(-1), 'depth 24 nodes 1600 lines 1');
  assert.ok(!(await isFound([24], { isAlone: true })));
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
  const options = '--kind mates --mates 1-1 --depth 6 --quick 4 --hash 1 --count';
  const wanted = (count) => ['--judge', judge, pgn, ...options.split(' '), count];
  const make = (count) => run('make-suite', [...wanted(count), '--output', output]);
  const sources = () =>
    linesOf(read(output)).map((line) => line.match(/ (bm .*?);.* (game \d+),.*, (.*)"/).slice(1));
  const first = await make('20');
  assert.equal(first.status, 0);
  assert.equal(first.err, 'make-suite: the games make only 2 of 20 records\n');
  assert.equal(
    linesOf(read(output))[0],
    'r1bqkb1r/pppp1ppp/2n2n2/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7#; dm 1; ' +
      'ce 32766; acd 6; id "mates.001"; c0 "games.pgn game 1, White - Black, half-move 7";',
  );
  const two = [['bm Qxf7#', 'game 1', 'half-move 7'], ['bm Qh4#', 'game 3', 'half-move 4']];
  assert.deepEqual(sources(), two);
  // More games have come: the file grows by theirs only.
  fs.appendFileSync(pgn, grob);
  await make('20');
  assert.deepEqual(sources(), [...two, ['bm Qh5#', 'game 5', 'half-move 5']]);
  const done = await make('3');
  assert.deepEqual([done.status, done.err, sources().length], [0, '', 3]);
  const short = await run('make-suite', wanted('1'));
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

for (const [name, least] of [['tactics', 100], ['mates', 40]]) {
  test(`the suite of ${name} has different positions with one best move each`, () => {
    const all = readSuite(read(path.join(root, 'data', 'suites', `${name}.epd`)), assert.fail);
    assert.ok(all.length >= least);
    for (const key of ['fen', 'id']) {
      assert.equal(new Set(all.map((one) => one[key])).size, all.length);
    }
    for (const { id, fen, operations, task } of all) {
      assert.equal(task.best.size, 1, id);
      assert.ok(Number(operations.get('acd')) >= 25, id);
      assert.ok(new Chess(fen).moves().length > 1, id);
      if (name === 'tactics') assert.equal(task.mate, null, id);
      else assert.ok(task.mate >= 2 && task.mate <= 8, id);
      if (task.mate === 2) assert.ok(matesInTwo(fen, operations.get('bm')), id);
    }
  });
}
