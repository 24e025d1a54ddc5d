// SPDX-License-Identifier: MIT
// Test suites: what counts as solved and when, and runs on the real engine. The expectations come
// from the rules of chess.

import assert from 'node:assert/strict';
import test from 'node:test';
import { parseEpd, taskOf } from '../../tools/lib/epd.mjs';
import { csvRow, readSuite, runRecord, totalsOf, totalsText } from '../../tools/lib/suite.mjs';
import { checkUse, fake, file, linesOf, read, run } from './support.mjs';

const suite = (args, how) => run('suite', args, how);

/** Runs a record on an engine that writes these lines: [milliseconds, move, mate]. */
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

test('the time is that of the first of the last lines that all have the right move', async () => {
  const lines = [[10, 'e2e4'], [20, 'd2d4'], [30, 'e2e4'], [40, 'e2e4']];
  const mates = [[10, 'e2e4', 5], [20, 'e2e4', 3]];
  for (const [operations, shown, time] of [
    ['bm e4;', lines, 30], ['bm e4 Nf3;', lines, 30], ['bm d4;', lines, null],
    ['am d4;', lines, 30], ['bm e4; am e4;', lines, null],
    ['dm 3;', mates, 20], ['dm 5;', mates, 10], ['dm 2;', mates, null],
    ['bm d4; dm 3;', mates, null], ['dm 3;', lines, null], ['dm 3;', [[10, 'e2e4', -2]], null],
    ['dm 3;', [], null],
  ]) {
    const result = await play(operations, shown, 'e2e4');
    assert.deepEqual([result.isSolved, result.time], [time !== null, time], operations);
    assert.deepEqual([result.played, result.asked], ['e4', ['movetime 20']]);
  }
  // A move that is in no line is solved at the end.
  for (const shown of [[], [[5, 'd2d4']]]) {
    const { isSolved, time } = await play('bm e4;', shown, 'e2e4');
    assert.ok(isSolved && time >= 0);
  }
});

test('an engine can be made to use its whole time; an illegal answer is an error', async () => {
  const { isSolved, asked } = await play('bm e4;', [], 'e2e4', { isInfinite: true });
  assert.deepEqual([isSolved, asked], [true, ['infinite']]);
  const illegal = play('bm e4;', [], 'e2e5');
  await assert.rejects(illegal, /^Error: Stub answers "e2e5", which is not a legal move$/);
});

test('totals have the number of solved records, with mean and median of their times', () => {
  const result = (time) => ({ isSolved: time !== null, time });
  const totals = totalsOf([100, null, 700, 200, null, 1000].map(result));
  assert.deepEqual(totals, { solved: 4, total: 6, mean: 500, median: 450 });
  const times = 'time to solution: mean 0.50 s, median 0.45 s';
  assert.equal(totalsText(totals), `4 of 6 solved (66.7 %), ${times}`);
  assert.equal(totalsOf([3, 1, 2].map(result)).median, 2);
  assert.equal(totalsText(totalsOf([null].map(result))), '0 of 1 solved (0.0 %)');
});

test('records that cannot be run are reported with their line; CSV cells are quoted', () => {
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

// Each mate has a single solution; the last record can't be solved.
const records = file('records.epd', `\
6k1/5ppp/8/8/8/8/5PPP/R5K1 w - - bm Ra8#; dm 1; id "back rank";
r1bqkbnr/pppp1ppp/2n5/4p2Q/2B1P3/8/PPPP1PPP/RNB1K1NR w KQkq - bm Qxf7; id "scholar";
7k/8/5K2/8/8/8/8/6R1 b - - bm Kh7; id "only move";
rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - bm a3; id "hopeless, and quoted";
`);

test('a suite is run, and its results are counted and written to a CSV file', async () => {
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

test('a broken engine ends the run, and the results so far are counted', async () => {
  for (const [engine, message] of [
    [fake('dies', 3), 'Fake 1.0 has ended with status 3 (only move)'],
    [fake('rubbish', 3), 'Fake 1.0 answers "e9e9", which is not a legal move (only move)'],
  ]) {
    const { status, out, err } = await suite(['--engine', engine, '--time', '10', records]);
    assert.deepEqual([status, err], [1, `suite: ${message}\n`]);
    assert.match(out, /of 2 solved/);
  }
});

test('an interrupted run counts the results so far', async () => {
  let interrupt = (child) => {
    interrupt = () => {};
    process.kill(child.pid, 'SIGINT');
  };
  const args = ['--engine', fake('waits', 2), '--time', '60000', records];
  const { status, out, err } = await suite(args, { each: (_, child) => interrupt(child) });
  assert.deepEqual([status, err], [130, 'suite: interrupted\n']);
  assert.match(out, /back rank[^]*^\d of 1 solved/m);
});

test('wrong arguments get one line and status 2, missing files one line and status 1', async () => {
  await checkUse([
    ['suite', [], 2, /please name a file of records/],
    ['suite', ['--time', '0', records], 2, /--time takes a whole number from 1/],
    ['suite', ['--expect', 'all', records], 2, /--expect takes a whole number/],
    ['suite', ['/nowhere.epd'], 1, / \/nowhere\.epd: no such file/],
    ['suite', [file('none.epd', '# nothing\n')], 1, /none\.epd: no record to run/],
    ['suite', ['--csv', '/nowhere/x.csv', records], 1, /no such folder/],
    ['suite', ['--engine', '/nowhere/engine', records], 1, /cannot start \/nowhere\/engine/],
  ]);
});
